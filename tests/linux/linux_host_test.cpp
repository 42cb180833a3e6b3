// The Linux backend on the fixture tree (fixtures/linux/chain):
//
//   0-0  host router (captured DP IN adapter 5, NHI 7)
//    ├─ adapter 1 ── 0-1  dock (captured DP OUT adapter 10, DFT capability, drom)
//    │                └─ adapter 3 ── 0-301  display (failure lines; empty
//    │                                       and header-only adapter files)
//    └─ adapter 3 ── 0-3  another host (XDomain)
//   plus domain0, a retimer 0-0:1.1 and a service 0-1.1, which are no routers.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>

#include "cli/host_capture.h"
#include "kernel/user_client_manager.h"
#include "platform/host_probes.h"
#include "platform/registry_helpers.h"
#include "support/device_interface.h"
#include "support/param_names.h"
#include "support/scoped_host.h"
#include "support/scoped_linux_host.h"

namespace tbt::test {
namespace {

struct SwitchCase {
  const char* name;
  uint64_t route;
  uint64_t depth;
  std::optional<uint64_t> uid, vendor, model, rom, nvmRevision;
  uint64_t deviceId;  // from the device space's first double word
};

class LinuxSwitches : public ::testing::TestWithParam<SwitchCase> {};

TEST_P(LinuxSwitches, CarryTheAttributesTheKernelGives) {
  ScopedLinuxHost host;
  const SwitchCase& c = GetParam();
  RegistryEntry sw = switchEntry(c.route);
  ASSERT_TRUE(sw);
  auto number = [&](std::string_view key) -> std::optional<uint64_t> {
    uint64_t v = 0;
    return readRegistryNumber64(sw, key, v) ? std::optional<uint64_t>(v) : std::nullopt;
  };
  EXPECT_EQ(number(kDepthKey), c.depth);
  EXPECT_EQ(number(kUIDKey), c.uid);
  EXPECT_EQ(number("Device Vendor ID"), c.vendor);
  EXPECT_EQ(number("Device Model ID"), c.model);
  EXPECT_EQ(number("ROM Version"), c.rom);
  EXPECT_EQ(number("NVM Revision"), c.nvmRevision);
  EXPECT_EQ(number("Device ID"), c.deviceId);
}

INSTANTIATE_TEST_SUITE_P(
    Fixture, LinuxSwitches,
    ::testing::Values(
        // The host switch's UID carries the domain index in its low four bits (the router ID).
        SwitchCase{"HostRouterUidCarriesDomain", 0x0, 0, 0x33205d7c0b1e40, 0x8087, 0x9a1f, 0x20, 0x0, 0x9a1f},
        SwitchCase{"DockHexAttributes", 0x1, 1, 0xd45f2f9db08200, 0x16b, 0x9010, 0x56, 0x81, 0x15ef},
        SwitchCase{"DisplayDecimalAttributesNoNvmVersion", 0x301, 2, 0x1d15b00a1c302, 1, 0x8002, std::nullopt,
                   std::nullopt, 0x1547}), byName);

TEST(LinuxRegistry, OnlyRoutersBecomeSwitchesAndPeersAreLinks) {
  ScopedLinuxHost host;
  std::vector<uint64_t> routes;
  for (const RegistryEntry& sw : registry().matching(kSwitchClass)) routes.push_back(routeOfEntry(sw));
  EXPECT_EQ(routes, (std::vector<uint64_t>{0x0, 0x1, 0x301}));
  EXPECT_EQ(registry().matching(kXDomainLinkClass).size(), 1u);
  EXPECT_EQ(registry().matching(kControllerClass).size(), 1u);
  ASSERT_EQ(ThunderboltUserClientManager::sharedInstance().userClientSet().size(), 1u);
  EXPECT_EQ(ThunderboltUserClientManager::sharedInstance().userClientSet()[0]->routerID(), 0);
}

TEST(LinuxRegistry, HostProbesFromTheSystemsFiles) {
  ScopedLinuxHost host;
  char board[32] = {};
  ASSERT_TRUE(readRegistryData(registry().root(), "board-id", kSearchRecursively,
                               reinterpret_cast<uint8_t*>(board), sizeof board));
  EXPECT_STREQ(board, "LX-2210");
  RegistryEntry rom = registry().fromPath("IODeviceTree:/rom");
  EXPECT_EQ(rom.property("version")->asString(), "1.14.0");
  EXPECT_TRUE(isOnExternalPower());
  EXPECT_TRUE(bootMediaEntry());
}

// The lid and the boot disk as the tree's files give them: the lid's state
// line as the kernel pads it, the last of several mounts over "/".
struct HostFacts {
  const char* name;
  const char* lid;
  const char* mounts;
  bool closed;
  const char* bootDisk;
};

class LinuxHostFacts : public ::testing::TestWithParam<HostFacts> {};

TEST_P(LinuxHostFacts, ComeFromTheTreesFiles) {
  const HostFacts& c = GetParam();
  ScopedLinuxHost host("chain", {}, [&](const std::string& root) {
    std::ofstream(root + "/proc/acpi/button/lid/LID0/state") << c.lid;
    std::ofstream(root + "/proc/mounts") << c.mounts;
  });
  EXPECT_EQ(isLidClosed(), c.closed);
  EXPECT_EQ(host.platform().host().bootDiskName(), c.bootDisk);
}

INSTANTIATE_TEST_SUITE_P(
    Files, LinuxHostFacts,
    ::testing::Values(HostFacts{"LidClosed", "state:      closed\n", "/dev/sda1 / ext4 rw 0 0\n", true, "sda1"},
                      HostFacts{"RootMountedTwice", "state:      open\n",
                                "/dev/sda1 / ext4 rw 0 0\n/dev/nvme0n1p3 / btrfs rw 0 0\n", false, "nvme0n1p3"}),
    byName);

// Adapter folders are "port" and a number from 1 to 63 without a leading
// zero; the registers of adapter 63 read as any other adapter's.
TEST(LinuxRegistry, AdapterFoldersAreNumberedFrom1To63) {
  ScopedLinuxHost host("chain", {}, [](const std::string& root) {
    for (const char* folder : {"port0", "port07", "port63", "port64", "port0x5"}) {
      const std::string dir = root + linux_host::kDebugfsDirectory + "/0-1/" + folder;
      std::filesystem::create_directory(dir);
      std::ofstream(dir + "/regs") << "0x0000    0 0x00 0x00 0x0000003f\n";
    }
  });
  std::vector<uint64_t> ports;
  for (const RegistryEntry& port : switchEntry(0x1).children()) {
    uint64_t number = 0;
    if (readRegistryNumber64(port, kPortNumberKey, number)) ports.push_back(number);
  }
  EXPECT_EQ(ports, (std::vector<uint64_t>{3, 10, 63}));
  auto& manager = ThunderboltUserClientManager::sharedInstance();
  uint32_t value = 0;
  EXPECT_EQ(manager.configReadWithRouterID(0, 0x1, 63, 1, 0, value), status::kSuccess);
  EXPECT_EQ(value, 0x3fu);
  EXPECT_EQ(manager.configReadWithRouterID(0, 0x1, 64, 1, 0, value), status::kUnsupported);
}

struct ReadCase {
  const char* name;
  uint64_t route;
  uint32_t port, space, index;
  Status status;
  uint32_t value;
  std::map<std::string, int> failures = {};  // debugfs-relative path -> errno
};

class LinuxReads : public ::testing::TestWithParam<ReadCase> {};

TEST_P(LinuxReads, AnswerFromTheDebugfsFiles) {
  const ReadCase& c = GetParam();
  ScopedLinuxHost host("chain", c.failures);
  uint32_t value = 0;
  EXPECT_EQ(ThunderboltUserClientManager::sharedInstance().configReadWithRouterID(0, c.route, c.port, c.space,
                                                                                  c.index, value),
            c.status);
  EXPECT_EQ(value, c.value);
}

INSTANTIATE_TEST_SUITE_P(
    Fixture, LinuxReads,
    ::testing::Values(ReadCase{"CapturedDockAdapter", 0x1, 10, 1, 0x80, status::kSuccess, 0x06410641},
                      ReadCase{"DeviceSpace", 0x301, 0, 2, 1, status::kSuccess, 0x00218105},
                      ReadCase{"PathSpace", 0x0, 1, 0, 0x10, status::kSuccess, 0x80000410},
                      ReadCase{"CounterSpace", 0x0, 1, 3, 1, status::kSuccess, 0xa5a5},
                      ReadCase{"NoCountersFile", 0x1, 10, 3, 0, status::kUnsupported, 0},
                      ReadCase{"DeviceSpaceOfAnAdapter", 0x1, 3, 2, 0, status::kUnsupported, 0},
                      ReadCase{"NoAdapterFolder", 0x1, 2, 1, 0, status::kNotFound, 0},
                      ReadCase{"NoRouterFolder", 0x5, 0, 2, 0, status::kNotFound, 0},
                      ReadCase{"PermissionDenied", 0x1, 10, 1, 0, status::kNotPermitted, 0,
                               {{"0-1/port10/regs", EACCES}}}),
    byName);

// A whole-host pass (every index of every space) reads each file once; a
// write drops the snapshots of its router only, and reads its file back.
TEST(LinuxSnapshots, EachFileOnceUntilAWriteToItsRouter) {
  ScopedLinuxHost host("chain", {}, nullptr, linux_host::TreeKind::kThisMachine);
  cli::captureHost();
  cli::captureHost();
  for (const auto& [path, reads] : host.files().reads()) EXPECT_EQ(reads, 1u) << path;
  EXPECT_EQ(host.files().readsOf(host.debugfs("0-1/port10/regs")), 1u);
  host.files().resetReads();
  auto& manager = ThunderboltUserClientManager::sharedInstance();
  ASSERT_EQ(manager.configWriteWithRouterID(0, 0x1, 0, 2, 0x9, 0x1), status::kSuccess);
  ASSERT_EQ(host.files().writes.size(), 1u);
  EXPECT_EQ(host.files().writes[0].chunks, std::vector<std::string>{"0x0009 0x00000001\n"});
  uint32_t value = 0;
  ASSERT_EQ(manager.configReadWithRouterID(0, 0x1, 0, 2, 0x9, value), status::kSuccess);
  EXPECT_EQ(value, 1u) << "the new value, not the snapshot taken before the write";
  manager.configReadWithRouterID(0, 0x1, 0, 2, 0, value);
  manager.configReadWithRouterID(0, 0x1, 10, 1, 0, value);
  manager.configReadWithRouterID(0, 0x0, 5, 1, 0, value);
  EXPECT_EQ(host.files().readsOf(host.debugfs("0-1/regs")), 1u) << "read back once, then from the snapshot";
  EXPECT_EQ(host.files().readsOf(host.debugfs("0-1/port10/regs")), 1u);
  EXPECT_EQ(host.files().readsOf(host.debugfs("0-0/port5/regs")), 0u) << "another router's snapshot stays";
}

// A write succeeds only when the read-back shows the written value, but for
// the bits the hardware changes by itself.
struct ReadBackCase {
  const char* name;
  const char* file;  // below the debugfs folder
  uint32_t port, space, index;
  uint32_t flip;     // bits the device changes as it takes the write
  bool ignored;      // the device takes the write without effect
  const char* extraRow;  // appended to the file before the run
  Status status;
};

class LinuxWriteReadBack : public ::testing::TestWithParam<ReadBackCase> {};

TEST_P(LinuxWriteReadBack, AcceptsOnlyTheWrittenValue) {
  const ReadBackCase& c = GetParam();
  ScopedLinuxHost host("chain", {}, [&](const std::string& root) {
    if (*c.extraRow) std::ofstream(root + linux_host::kDebugfsDirectory + "/" + c.file, std::ios::app) << c.extraRow;
  }, linux_host::TreeKind::kThisMachine);
  const std::string path = host.debugfs(c.file);
  if (c.flip) host.files().flips[path] = c.flip;
  if (c.ignored) host.files().ignored.insert(path);
  EXPECT_EQ(ThunderboltUserClientManager::sharedInstance().configWriteWithRouterID(0, 0x1, c.port, c.space, c.index,
                                                                                   0x12345670),
            c.status);
  EXPECT_EQ(host.files().writes.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Table, LinuxWriteReadBack,
    ::testing::Values(
        ReadBackCase{"PlainRegister", "0-1/regs", 0, 2, 0x1, 0, false, "", status::kSuccess},
        ReadBackCase{"PlainRegisterHighBitChanged", "0-1/regs", 0, 2, 0x1, 0x80000000, false, "",
                     status::kNotWritable},
        ReadBackCase{"DeviceIgnoresIt", "0-1/regs", 0, 2, 0x1, 0, true, "", status::kNotWritable},
        ReadBackCase{"UnlistedIndex", "0-1/regs", 0, 2, 0x40, 0, false, "", status::kNotWritable},
        // DFT capability at 5: its pin register (relative 4) has the EEPROM's data out.
        ReadBackCase{"PinRegisterDataOut", "0-1/regs", 0, 2, 0x9, 0x08, false, "", status::kSuccess},
        ReadBackCase{"PinRegisterDataIn", "0-1/regs", 0, 2, 0x9, 0x04, false, "", status::kNotWritable},
        ReadBackCase{"DftOtherRegisterDataOutBit", "0-1/regs", 0, 2, 0x8, 0x08, false, "", status::kNotWritable},
        ReadBackCase{"LinkControllerMailbox", "0-1/regs", 0, 2, 0x40, 0xc0000000, false,
                     "0x0040    0 0x05 0x06 0x00000000\n", status::kSuccess},
        ReadBackCase{"OtherVendorCapability", "0-1/regs", 0, 2, 0x40, 0x1, false,
                     "0x0040    0 0x05 0x07 0x00000000\n", status::kNotWritable},
        ReadBackCase{"Counter", "0-1/port10/counters", 10, 3, 0x0, 0xffff, false,
                     "# offset relative_offset counter_id value\n0x0000    0 0x00 0x00000000\n", status::kSuccess},
        ReadBackCase{"UnparsableFile", "0-1/port10/counters", 10, 3, 0x0, 0, false, "garbage\n", status::kNotWritable}),
    byName);

TEST(LinuxWrites, LongWritesGoInChunksOfWholeLines) {
  // A register file that lists 300 double words, so that each can be read back.
  ScopedLinuxHost host("chain", {}, [](const std::string& root) {
    std::ofstream regs(root + "/sys/kernel/debug/thunderbolt/0-1/regs", std::ios::trunc);
    for (unsigned i = 0; i < 300; ++i) regs << textf("0x%04x %4u 0x00 0x00 0x00000000\n", i, i);
  }, linux_host::TreeKind::kThisMachine);
  std::unique_ptr<DeviceInterface> device = deviceOf(platform());
  ASSERT_TRUE(device);
  std::vector<uint8_t> buffer(4 * 300, 0x5a);
  ASSERT_EQ(device->configWrite(0x1, 0, 2, 0x0, 300, buffer.data()), status::kSuccess);
  ASSERT_EQ(host.files().writes.size(), 1u);
  // The chunks' shape is checked on the text functions themselves.
  EXPECT_EQ(host.files().writes[0].chunks.size(), 2u);
  uint8_t read[4] = {};
  ASSERT_EQ(device->configRead(0x1, 0, 2, 0x11, 1, read), status::kSuccess) << "read back";
  EXPECT_EQ(read[0], 0x5a);
  EXPECT_EQ(device->i2cTransaction(0x1, 0x50, 0, nullptr, 0, nullptr), status::kUnsupported);
  // A write moves at most a whole space (taken, then not read back past the
  // 300 listed double words).
  const std::pair<uint32_t, Status> counts[] = {
      {0x1fff, status::kNotWritable}, {0x2000, status::kNotWritable}, {0x2001, status::kBadArgument}};
  buffer.assign(4 * 0x2001, 0);
  for (auto [count, expected] : counts)
    EXPECT_EQ(device->configWrite(0x1, 0, 2, 0x0, count, buffer.data()), expected) << count;
}

}  // namespace
}  // namespace tbt::test
