// The EEPROM bit-bang against the simulated serial EEPROM behind the DFT
// capability's pin register.
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "kernel/config_space.h"
#include "sim/eeprom_pins_model.h"
#include "sim/faults.h"
#include "support/host_builder.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

constexpr uint64_t kSwitch = 0x1;
constexpr uint8_t kDft = 0x40;
constexpr uint32_t kPins = kDft + 4;
constexpr uint32_t kChipSelect = 0x02;
constexpr uint32_t kOwner = 0x10;

class Eeprom : public ::testing::Test {
 protected:
  void start(uint32_t size, const std::map<uint32_t, std::string>& bytes = {}) {
    test::SwitchHostBuilder builder(kSwitch);
    builder.dft(kDft, 0x100).eeprom(size, bytes);
    host_.emplace(builder.json());
    handle_.setRoute(kSwitch);
  }
  sim::SimHost& sim() { return host_->sim(); }
  sim::Router& router() { return *sim().router(0, kSwitch); }
  uint8_t stored(uint32_t address) { return router().eeprom()->read(address); }
  ThunderboltUserClientUtils& utils() { return ThunderboltUserClientUtils::sharedInstance(); }
  void addFault(sim::Fault fault) {
    fault.route = kSwitch;
    sim().addFault(std::move(fault));
  }

  std::optional<test::ScopedHost> host_;
  LocalRouterHandle handle_;
};

TEST_F(Eeprom, WrittenBytesAreStoredAndReadBackThroughThePins) {
  start(2048, {{0x200, "5a"}});
  const std::array<uint8_t, 3> bytes = {0xC0, 0xFF, 0xEE};
  ASSERT_EQ(utils().eeMultiByteWrite(bytes.data(), 3, 0x100, handle_, kDft), status::kSuccess);
  EXPECT_EQ(stored(0x100), 0xC0);
  EXPECT_EQ(stored(0x102), 0xEE);

  std::array<uint8_t, 4> back{};
  ASSERT_EQ(utils().eeMultiByteRead(back.data(), 3, 0x100, handle_, kDft), status::kSuccess);
  ASSERT_EQ(utils().eeMultiByteRead(&back[3], 1, 0x200, handle_, kDft), status::kSuccess);
  EXPECT_EQ(back, (std::array<uint8_t, 4>{0xC0, 0xFF, 0xEE, 0x5A}));
  // The pins are handed back, the EEPROM deselected, the write latch cleared.
  EXPECT_EQ(router().peek(0, kDeviceSpace, kPins) & (kOwner | kChipSelect), kChipSelect);
  EXPECT_FALSE(sim::eepromPinsOf(router())->eeprom().writeEnabled());
}

TEST_F(Eeprom, AWriteWithoutTheWriteEnableLatchIsIgnored) {
  start(2048);
  ASSERT_EQ(utils().eeBB1forRouterHandle(handle_, kDft), status::kSuccess);
  utils().eeCS0forRouterHandle(handle_, kDft);
  utils().eeDataWrite(0x02, handle_, kDft);
  utils().eeAddressWrite(0x10, handle_, kDft);
  utils().eeDataWrite(0x42, handle_, kDft);
  utils().eeCS1forRouterHandle(handle_, kDft);
  utils().eeBB0forRouterHandle(handle_, kDft);
  EXPECT_EQ(stored(0x10), 0xFF);
}

TEST_F(Eeprom, StatusRegisterRoundTripPrintsWhatItRead) {
  start(2048);
  ASSERT_EQ(utils().eeWriteStatusRegister(0x0C, handle_, kDft), status::kSuccess);
  uint8_t value = 0;
  ASSERT_EQ(utils().eeReadStatusRegister(value, handle_, kDft), status::kSuccess);
  EXPECT_EQ(value, 0x0C);
  EXPECT_EQ(sim().printed(), "Data out: 0xc\n");
}

TEST_F(Eeprom, MaskedWriteSetsValueBitsOutsideTheMaskToo) {
  start(2048);
  router().poke(0, kDeviceSpace, kPins, 0x20);
  ASSERT_EQ(utils().eeWriteWithMask(0x101, 0x01, handle_, kDft), status::kSuccess);
  EXPECT_EQ(router().peek(0, kDeviceSpace, kPins), 0x121u);
}

struct WrapCase {
  const char* name;
  uint32_t size;
  uint16_t start;
  std::vector<uint32_t> landsAt;
};

class EepromWrap : public Eeprom, public ::testing::WithParamInterface<WrapCase> {};

TEST_P(EepromWrap, AddressesWrap) {
  const WrapCase& c = GetParam();
  start(c.size);
  const std::array<uint8_t, 3> bytes = {0x11, 0x22, 0x33};
  ASSERT_EQ(utils().eeMultiByteWrite(bytes.data(), 3, c.start, handle_, kDft), status::kSuccess);
  for (size_t i = 0; i < bytes.size(); ++i) EXPECT_EQ(stored(c.landsAt[i]), bytes[i]) << i;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, EepromWrap,
    ::testing::Values(WrapCase{"the16BitAddressWrapsTo0", 0x10000, 0xFFFF, {0xFFFF, 0x0000, 0x0001}},
                      WrapCase{"aSmallPartIgnoresHighAddressBits", 2048, 0x0FFF, {0x07FF, 0x0000, 0x0001}}),
    [](const auto& info) { return std::string(info.param.name); });

// Bit 0 of the byte at 0x80 reads wrong on the first read of the first
// `flippedPairs` double reads.
struct FlipCase {
  const char* name;
  int flippedPairs;
  Status status;
  uint64_t reads;
};

class EepromDoubleRead : public Eeprom, public ::testing::WithParamInterface<FlipCase> {};

TEST_P(EepromDoubleRead, DisagreeingReadsAreRetriedTenTimes) {
  const FlipCase& c = GetParam();
  start(2048, {{0x80, "a5"}});
  const auto flip = std::string(sim::kFaultEepromDataOutFlip);
  for (int pair = 0; pair < c.flippedPairs; ++pair)
    addFault({.op = flip, .index = 0, .address = 0x80, .skip = 2u * pair, .times = 1});
  addFault({.op = flip, .index = 7, .address = 0x80, .times = 0});  // counts the reads of the byte
  uint8_t byte = 0;
  EXPECT_EQ(utils().eeMultiByteRead(&byte, 1, 0x80, handle_, kDft), c.status);
  // On failure the byte holds the last first read.
  EXPECT_EQ(byte, c.status == status::kSuccess ? 0xA5 : 0xA4);
  EXPECT_EQ(sim().faults().back().matched, c.reads);
}

INSTANTIATE_TEST_SUITE_P(Cases, EepromDoubleRead,
                         ::testing::Values(FlipCase{"clean", 0, status::kSuccess, 2},
                                           FlipCase{"oneFlip", 1, status::kSuccess, 4},
                                           FlipCase{"tenthPairAgrees", 9, status::kSuccess, 20},
                                           FlipCase{"everyPairDisagrees", 10, status::kNotReadable, 20}),
                         [](const auto& info) { return std::string(info.param.name); });

struct OwnerCase {
  const char* name;
  int64_t heldReads;  // -1: forever
  Status status;
  uint64_t reads, writes;
};

class EepromOwnership : public Eeprom, public ::testing::WithParamInterface<OwnerCase> {};

TEST_P(EepromOwnership, WaitsForThePinsAtMostTenThousandReads) {
  const OwnerCase& c = GetParam();
  start(2048);
  addFault({.op = std::string(sim::kFaultEepromOwnerHeld), .times = c.heldReads});
  const uint64_t before = sim().hardwareTimeMicroseconds();
  EXPECT_EQ(utils().eeBB1forRouterHandle(handle_, kDft), c.status);
  EXPECT_EQ(sim().configReadsOf(kSwitch, 0, kDeviceSpace, kPins), c.reads);
  EXPECT_EQ(sim().configWritesOf(kSwitch, 0, kDeviceSpace, kPins), c.writes);
  // 100 us between polls, none after the last.
  const uint64_t polls = c.heldReads < 0 ? 10000 : c.heldReads + 1;
  EXPECT_EQ(sim().hardwareTimeMicroseconds() - before, (c.reads + c.writes) * 10 + (polls - 1) * 100);
}

INSTANTIATE_TEST_SUITE_P(Cases, EepromOwnership,
                         ::testing::Values(OwnerCase{"free", 0, status::kSuccess, 2, 1},
                                           OwnerCase{"heldAWhile", 3, status::kSuccess, 5, 1},
                                           OwnerCase{"releasedAtTheLastPoll", 9999, status::kSuccess, 10001, 1},
                                           OwnerCase{"heldForever", -1, status::kExclusiveAccess, 10000, 0}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(Eeprom, PinsHeldForeverFailTheTransactionWithoutTouchingChipSelect) {
  start(2048);
  addFault({.op = std::string(sim::kFaultEepromOwnerHeld)});
  uint8_t byte = 0;
  EXPECT_EQ(utils().eeByteRead(byte, 0, handle_, kDft), status::kExclusiveAccess);
  EXPECT_EQ(sim().configWritesOf(kSwitch, 0, kDeviceSpace, kPins), 0u);
}

TEST_F(Eeprom, AFailureWhileClockingIsOnlySeenByTheReadBack) {
  start(2048);
  // The write-enable transaction writes the pins 28 times, the write's own
  // taking and selecting 2 more: the first data-in change of the write
  // instruction fails.
  auto failClocking = [&] {
    addFault({.op = std::string(sim::kFaultConfigWrite), .index = kPins, .status = status::kDeviceError,
              .skip = 30, .times = 1});
  };
  failClocking();
  EXPECT_EQ(utils().eeByteWrite(0x42, 0x10, handle_, kDft), status::kSuccess);
  EXPECT_EQ(stored(0x10), 0xFF);

  sim().clearFaults();
  failClocking();
  const uint8_t byte = 0x42;
  EXPECT_EQ(utils().eeMultiByteWrite(&byte, 1, 0x10, handle_, kDft), status::kSuccess);
  EXPECT_EQ(stored(0x10), 0x42);
}

}  // namespace
}  // namespace tbt
