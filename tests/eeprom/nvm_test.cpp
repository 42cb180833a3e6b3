// The DROM's location and NVM reads through the simulated link controller's
// mailbox (or the EEPROM, without one).
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "kernel/config_space.h"
#include "platform/text.h"
#include "sim/faults.h"
#include "sim/nvm_mailbox_model.h"
#include "support/host_builder.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

constexpr uint64_t kSwitch = 0x1;
constexpr uint8_t kDft = 0x40;
constexpr uint8_t kLinkController = 0x50;
constexpr uint32_t kMailboxBase = kLinkController + 0x10;
constexpr uint32_t kCommand = kMailboxBase + 156;
constexpr uint32_t kPins = kDft + 4;
constexpr uint32_t kByteCountController = 0x15478086;
constexpr uint32_t kShiftedCountController = 0x15678086;

// Byte a of the NVM image (and of the EEPROM) is pattern(a).
uint8_t pattern(uint32_t address) { return static_cast<uint8_t>(address * 7 + 3); }
std::string patternHex(uint32_t size) {
  std::string hex;
  for (uint32_t a = 0; a < size; ++a) appendf(hex, "%02x", pattern(a));
  return hex;
}
uint32_t patternDword(uint32_t address) {
  return pattern(address) | pattern(address + 1) << 8 | pattern(address + 2) << 16 | uint32_t{pattern(address + 3)} << 24;
}

struct Switch {
  uint32_t identity = kShiftedCountController;
  bool linkController = true;
  uint32_t length = 200;  // of the link-controller capability
  bool nvm = true;
  bool dft = true;
  uint32_t dromOffset = 0x100;
};

class Nvm : public ::testing::Test {
 protected:
  void start(const Switch& s) {
    test::SwitchHostBuilder b(kSwitch);
    b.identity(s.identity).eeprom(2048, {{0, patternHex(0x200)}});
    if (s.dft) b.dft(kDft, s.dromOffset);
    if (s.linkController) b.linkController(kLinkController, kMailboxBase - kLinkController, s.length);
    if (s.nvm) b.nvm({{0, patternHex(0x1400)}});
    host_.emplace(b.json());
    handle_.setRoute(kSwitch);
  }
  sim::SimHost& sim() { return host_->sim(); }
  std::vector<uint32_t> requests() {
    sim::NvmMailboxModel* mailbox = sim::nvmMailboxOf(*sim().router(0, kSwitch));
    return mailbox ? mailbox->requests() : std::vector<uint32_t>();
  }
  ThunderboltUserClientUtils& utils() { return ThunderboltUserClientUtils::sharedInstance(); }

  std::optional<test::ScopedHost> host_;
  LocalRouterHandle handle_;
};

struct RequestCase {
  const char* name;
  uint32_t identity, offset, dwords;
  uint32_t request;  // the word the controller receives
};

class NvmRequest : public Nvm, public ::testing::WithParamInterface<RequestCase> {};

TEST_P(NvmRequest, TheControllerGetsItsOwnRequestForm) {
  const RequestCase& c = GetParam();
  start({.identity = c.identity});
  std::vector<uint32_t> out(17, 0x5A5A5A5A);
  ASSERT_EQ(utils().nvmReadLCTunneled(handle_, c.offset, c.dwords, out.data(), kMailboxBase), status::kSuccess);
  EXPECT_EQ(requests(), std::vector<uint32_t>{c.request});
  const uint32_t read = std::min(c.dwords, 16u);
  for (uint32_t i = 0; i < read; ++i) EXPECT_EQ(out[i], patternDword((c.offset & 0xFFFC) + 4 * i)) << i;
  EXPECT_EQ(out[read], 0x5A5A5A5Au);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, NvmRequest,
    ::testing::Values(RequestCase{"byteCountFull", kByteCountController, 0x1236, 16, 0x81401234},
                      RequestCase{"byteCountShort", kByteCountController, 0x0100, 3, 0x810C0100},
                      RequestCase{"shiftedFullSetsBit30", kShiftedCountController, 0x1236, 16, 0xE0001234},
                      RequestCase{"shiftedShort", kShiftedCountController, 0x0100, 3, 0xAC000100},
                      RequestCase{"shiftedTenOverlapsTheOpcode", kShiftedCountController, 0x0100, 10, 0xA8000100},
                      RequestCase{"countClampedTo16", 0x15688086, 0x0100, 20, 0xE0000100}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(Nvm, SeventyBytesAreAChunkADwordAndTwoBytesOfAnother) {
  start({});
  std::vector<uint8_t> buffer(72, 0xEE);
  ASSERT_EQ(utils().nvmRead(buffer.data(), 70, 0x100, handle_), status::kSuccess);
  EXPECT_EQ(requests(), (std::vector<uint32_t>{0xE0000100, 0xA4000140, 0xA4000144}));
  for (uint32_t i = 0; i < 70; ++i) EXPECT_EQ(buffer[i], pattern(0x100 + i)) << i;
  EXPECT_EQ(buffer[70], 0xEE);
}

TEST_F(Nvm, WithoutALinkControllerTheEepromIsRead) {
  start({.linkController = false});
  std::vector<uint8_t> buffer(5);
  ASSERT_EQ(utils().nvmRead(buffer.data(), 5, 0x10, handle_), status::kSuccess);
  for (uint32_t i = 0; i < 5; ++i) EXPECT_EQ(buffer[i], pattern(0x10 + i)) << i;
}

struct OutcomeCase {
  const char* name;
  Switch hardware;
  std::vector<std::string> faults;  // fault ops, each firing once on the first request
  uint32_t size;
  Status status;
  size_t requests;
};

class NvmOutcome : public Nvm, public ::testing::WithParamInterface<OutcomeCase> {};

TEST_P(NvmOutcome, Status) {
  const OutcomeCase& c = GetParam();
  start(c.hardware);
  for (const std::string& op : c.faults) sim().addFault({.op = op, .route = kSwitch, .times = 1});
  std::vector<uint8_t> buffer(c.size);
  EXPECT_EQ(utils().nvmRead(buffer.data(), c.size, 0, handle_), c.status);
  EXPECT_EQ(requests().size(), c.requests);
  // No outcome falls back to the EEPROM.
  EXPECT_EQ(sim().configReadsOf(kSwitch, 0, kDeviceSpace, kPins), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, NvmOutcome,
    ::testing::Values(
        OutcomeCase{"nothingToRead", {}, {}, 0, status::kSuccess, 0},
        OutcomeCase{"noMailboxOnThisGeneration", {.identity = 0x15498086}, {}, 8, status::kUnsupported, 0},
        OutcomeCase{"capabilityTooShort", {.length = 155}, {}, 8, status::kOverrun, 0},
        OutcomeCase{"controllerReportsAnError", {}, {std::string(sim::kFaultNvmError)}, 8, status::kNotReadable, 1},
        OutcomeCase{"noImageToRead", {.nvm = false}, {}, 8, status::kNotReadable, 1},
        OutcomeCase{"aLaterChunkReplacesAFailedOne", {}, {std::string(sim::kFaultNvmError)}, 128, status::kSuccess,
                    2}),
    [](const auto& info) { return std::string(info.param.name); });

struct StuckCase {
  const char* name;
  bool errorToo;
  Status status;
};

class NvmStuck : public Nvm, public ::testing::WithParamInterface<StuckCase> {};

TEST_P(NvmStuck, AMailboxThatNeverCompletesIsPolledTenThousandTimes) {
  const StuckCase& c = GetParam();
  start({.identity = kByteCountController});
  sim().addFault({.op = std::string(sim::kFaultNvmStuck), .route = kSwitch});
  if (c.errorToo) sim().addFault({.op = std::string(sim::kFaultNvmError), .route = kSwitch});
  uint32_t out[16];
  const uint64_t before = sim().hardwareTimeMicroseconds();
  EXPECT_EQ(utils().nvmReadLCTunneled(handle_, 0, 16, out, kMailboxBase), c.status);
  EXPECT_EQ(sim().configReadsOf(kSwitch, 0, kDeviceSpace, kCommand), 10000u);
  // Identity read, 16 clears, the request, 10000 polls 10 us apart.
  EXPECT_EQ(sim().hardwareTimeMicroseconds() - before, (1 + 16 + 1 + 10000) * 10 + 9999 * 10u);
}

// The error bit is judged before the lack of completion.
INSTANTIATE_TEST_SUITE_P(Cases, NvmStuck,
                         ::testing::Values(StuckCase{"busyOnly", false, status::kNotResponding},
                                           StuckCase{"busyWithErrorBit", true, status::kNotReadable}),
                         [](const auto& info) { return std::string(info.param.name); });

struct DromCase {
  const char* name;
  Switch hardware;
  bool failOffsetRead;
  Status status;
  const char* printed;
};

class DromOffset : public Nvm, public ::testing::WithParamInterface<DromCase> {};

TEST_P(DromOffset, OutputsOnlyOnSuccess) {
  const DromCase& c = GetParam();
  start(c.hardware);
  if (c.failOffsetRead)
    sim().addFault({.op = std::string(sim::kFaultConfigRead), .route = kSwitch, .index = kDft + 12u,
                    .status = status::kDeviceError});
  uint32_t offset = 0xAAAA;
  uint8_t dft = 0xAA;
  EXPECT_EQ(utils().getDROMOffsetWithRouterHandle(handle_, offset, dft), c.status);
  EXPECT_EQ(sim().printed(), c.printed);
  const bool found = c.status == status::kSuccess;
  EXPECT_EQ(offset, found ? c.hardware.dromOffset : 0xAAAA);
  EXPECT_EQ(dft, found ? kDft : 0xAA);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DromOffset,
    ::testing::Values(DromCase{"found", {.dromOffset = 0x123}, false, status::kSuccess, ""},
                      DromCase{"zero", {.dromOffset = 0}, false, status::kAborted,
                               "DROM offset is zero for route 1! Aborting.\n"},
                      DromCase{"unreadable", {}, true, status::kDeviceError, "Could not get serial number\n"},
                      DromCase{"noDftCapability", {.dft = false}, false, status::kNotFound,
                               "Could not get capability\n"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tbt
