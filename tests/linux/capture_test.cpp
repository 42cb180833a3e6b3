// tbkit capture: the default simulated host round-trips byte for byte, and a
// capture of the Linux fixture, loaded as a simulated host, answers every
// register read and the topology commands as the Linux host did.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "cli/host_capture.h"
#include "cli/tbkit_run.h"
#include "platform/registry_helpers.h"
#include "support/scoped_host.h"
#include "support/scoped_linux_host.h"

namespace tbt::test {
namespace {

TEST(Capture, DefaultSimulatedHostRoundTripsByteForByte) {
  std::string first;
  {
    ScopedHost host{DefaultHost{}};
    first = cli::captureHost();
  }
  ScopedHost again(first);
  EXPECT_EQ(cli::captureHost(), first);
}

// The device interface of the first controller of a platform.
std::unique_ptr<DeviceInterface> deviceOf(Platform& p) {
  std::unique_ptr<ControllerPlugIn> plugIn;
  EXPECT_EQ(p.controllerDriver().createPlugIn(p.registry().matching(kControllerClass).at(0), plugIn),
            status::kSuccess);
  return plugIn ? plugIn->queryInterface(kDeviceInterfaceV2) : nullptr;
}

TEST(Capture, LinuxCaptureReplaysEveryRegisterRead) {
  ScopedLinuxHost linux;
  const std::string text = cli::captureHost();
  std::string error;
  auto replay = sim::loadHost(text, &error);
  ASSERT_TRUE(replay) << error;
  auto real = deviceOf(linux.platform());
  auto simulated = deviceOf(*replay);
  ASSERT_TRUE(real && simulated);
  size_t compared = 0;
  for (const RegistryEntry& port : registry().matching(kPortClass)) {
    uint64_t number = 0;
    if (!readRegistryNumber64(port, kPortNumberKey, number)) continue;
    const RegistryEntry parent = port.parents().at(0);
    RegistryEntry sw = parent.conformsTo(kSwitchClass) ? parent : firstChildOfClass(port, kSwitchClass);
    const uint64_t route = routeOfEntry(sw);
    for (uint32_t space = 0; space < 4; ++space) {
      const uint32_t adapter = space == 2 ? 0 : static_cast<uint32_t>(number);
      for (uint32_t index = 0; index < cli::kCaptureIndexLimit; ++index) {
        uint8_t a[4] = {}, b[4] = {};
        if (real->configRead(route, adapter, space, index, 1, a) != status::kSuccess) continue;
        ASSERT_EQ(simulated->configRead(route, adapter, space, index, 1, b), status::kSuccess);
        ASSERT_EQ(std::vector<uint8_t>(a, a + 4), std::vector<uint8_t>(b, b + 4))
            << "route " << route << " adapter " << adapter << " space " << space << " index " << index;
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 200u);
}

std::string tbkit(const std::vector<std::string>& args) {
  const cli::Outcome run = cli::tbkit(args);
  EXPECT_EQ(run.status, 0) << run.err;
  return run.out;
}

TEST(Capture, TopologyCommandsAgreeOnTheCapture) {
  ScopedLinuxHost linux;  // a private copy of the tree to read
  const std::string file = linux.root() + "/captured.json";
  const std::string host = "--host=linux:" + linux.root();
  EXPECT_EQ(tbkit({"capture", host, "-o", file}), "wrote " + std::to_string(cli::captureHost().size()) +
                                                     " bytes to " + file + "\n");
  const std::vector<std::vector<std::string>> commands = {
      {"list"},
      {"paths"},
      {"read", "--route", "0x1", "--port", "10", "--space", "port", "--index", "0x4f", "--count", "4"},
      {"read", "--route", "0x0", "--port", "1", "--space", "path", "--index", "0x10", "--count", "2"},
      {"report", "all"},
  };
  for (std::vector<std::string> command : commands) {
    SCOPED_TRACE(command[0]);
    std::vector<std::string> onSim = command;
    command.push_back(host);
    onSim.push_back("--host=sim:" + file);
    EXPECT_EQ(tbkit(command), tbkit(onSim));
  }
  const cli::Outcome missing = cli::tbkit({"list", "--host=linux:" + linux.root() + "/none"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("/none/sys/bus/thunderbolt does not exist"), std::string::npos) << missing.err;
  // The router's DROM file is the replayed EEPROM's content at the DROM offset.
  const std::string drom = linux.root() + "/sys/kernel/debug/thunderbolt/0-1/drom";
  EXPECT_NE(tbkit({"drom", "parse", drom}).find("0xd45f2f9db08200"), std::string::npos);
  std::ifstream in(drom, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::istringstream dump(tbkit({"eeprom", "read", "--host=sim:" + file, "--route", "0x1", "--offset", "0x100",
                                 "--length", std::to_string(bytes.size())}));
  std::string replayed;
  for (std::string line; std::getline(dump, line);) {
    std::istringstream hexBytes(line.substr(line.find(':') + 1));
    for (unsigned byte = 0; hexBytes >> std::hex >> byte;) replayed.push_back(static_cast<char>(byte));
  }
  EXPECT_EQ(replayed, bytes);
}

}  // namespace
}  // namespace tbt::test
