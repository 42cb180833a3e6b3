// The EEPROM bit-bang against the simulated serial EEPROM behind the DFT
// capability's pin register, NVM reads through the simulated link
// controller's mailbox (or the EEPROM, without one), and the DROM's location.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "kernel/config_space.h"
#include "sim/eeprom_pins_model.h"
#include "sim/faults.h"
#include "sim/nvm_mailbox_model.h"
#include "sim/sim_host.h"
#include "support/host_builder.h"
#include "support/param_names.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

constexpr uint64_t kSwitch = 0x1;
constexpr uint8_t kDft = 0x40;
constexpr uint32_t kPins = kDft + 4;
constexpr uint32_t kClock = 0x01, kChipSelect = 0x02, kDataIn = 0x04, kOwner = 0x10;
constexpr uint8_t kRead = 0x03, kReadStatus = 0x05;
constexpr uint8_t kLinkController = 0x50;
constexpr uint32_t kMailboxBase = kLinkController + 0x10;
constexpr uint32_t kCommand = kMailboxBase + 156;
constexpr uint32_t kByteCountController = 0x15478086, kShiftedCountController = 0x15678086;

// Byte a of the NVM image and of the EEPROM's first 0x200 bytes is pattern(a).
uint8_t pattern(uint32_t address) { return static_cast<uint8_t>(address * 7 + 3); }
std::string patternHex(uint32_t size) {
  std::string hex;
  for (uint32_t a = 0; a < size; ++a) appendf(hex, "%02x", pattern(a));
  return hex;
}
uint32_t patternDword(uint32_t a) {
  return pattern(a) | pattern(a + 1) << 8 | pattern(a + 2) << 16 | uint32_t{pattern(a + 3)} << 24;
}

struct Switch {
  uint32_t identity = kShiftedCountController;
  bool linkController = true;
  uint32_t length = 200;  // of the link-controller capability
  bool nvm = true;
  bool dft = true;
  uint32_t dromOffset = 0x100;
  uint32_t eepromSize = 2048;
};

class Eeprom : public ::testing::Test {
 protected:
  void start(const Switch& s = {}) {
    test::SwitchHostBuilder b(kSwitch);
    b.identity(s.identity).eeprom(s.eepromSize, {{"0", patternHex(0x200)}});
    if (s.dft) b.dft(kDft, s.dromOffset);
    if (s.linkController) b.linkController(kLinkController, kMailboxBase - kLinkController, s.length);
    if (s.nvm) b.nvm({{"0", patternHex(0x1400)}});
    host_.emplace(b.json());
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
  std::vector<uint32_t> requests() {
    sim::NvmMailboxModel* mailbox = sim::nvmMailboxOf(router());
    return mailbox ? mailbox->requests() : std::vector<uint32_t>();
  }
  const sim::SpiEeprom& part() { return sim::eepromPinsOf(router())->eeprom(); }
  // One transaction clocked by hand: take the pins, select, the instruction,
  // then the address and data byte given, or a byte read back; deselect, release.
  uint8_t transaction(uint8_t instruction, std::optional<uint16_t> address = {}, std::optional<uint8_t> data = {}) {
    uint8_t byte = 0xEE;
    utils().eeBB1forRouterHandle(handle_, kDft);
    utils().eeCS0forRouterHandle(handle_, kDft);
    utils().eeDataWrite(instruction, handle_, kDft);
    if (address) utils().eeAddressWrite(*address, handle_, kDft);
    if (data) utils().eeDataWrite(*data, handle_, kDft);
    if (instruction == kRead || instruction == kReadStatus) utils().eeDataRead(byte, handle_, kDft);
    utils().eeCS1forRouterHandle(handle_, kDft);
    utils().eeBB0forRouterHandle(handle_, kDft);
    return byte;
  }

  std::optional<test::ScopedHost> host_;
  LocalRouterHandle handle_;
};

// ---- EEPROM bit-bang ----

// The pin-register writes of the access log as what they do to the wires:
// "BB1"/"BB0" when the host takes/releases the pins, "CS0"/"CS1" when it
// selects/deselects, and each byte clocked in while selected, in hex.
std::vector<std::string> pinEvents(const sim::SimHost& sim, uint32_t pins) {
  std::vector<std::string> events;
  uint32_t bits = 0, count = 0;
  for (const sim::AccessRecord& access : sim.accessLog()) {
    if (access.kind != sim::AccessKind::ConfigWrite || access.index != kPins) continue;
    const uint32_t changed = access.value ^ pins;
    if (changed & kOwner) events.push_back(access.value & kOwner ? "BB1" : "BB0");
    if (changed & kChipSelect) {
      events.push_back(access.value & kChipSelect ? "CS1" : "CS0");
      bits = count = 0;
    }
    if ((changed & kClock) && (access.value & kClock) && !(access.value & kChipSelect)) {
      bits = bits << 1 | ((access.value & kDataIn) ? 1 : 0);
      if (++count == 8) events.push_back(textf("%02x", bits)), bits = count = 0;
    }
    pins = access.value;
  }
  return events;
}

// A byte write is three transactions, each giving back what it took in
// reverse order: deselect, then release the pins, and write disable last.
TEST_F(Eeprom, AByteWriteDrivesTheWiresInOrder) {
  start();
  sim().setAccessLogEnabled(true);
  const uint32_t before = router().peek(0, kDeviceSpace, kPins);
  ASSERT_EQ(utils().eeByteWrite(0x5A, 0x0123, handle_, kDft), status::kSuccess);
  EXPECT_EQ(pinEvents(sim(), before),
            (std::vector<std::string>{"BB1", "CS0", "06", "CS1", "BB0",                          // write enable
                                      "BB1", "CS0", "02", "01", "23", "5a", "CS1", "BB0",       // the write
                                      "BB1", "CS0", "04", "CS1", "BB0"}));                      // write disable
  EXPECT_EQ(stored(0x123), 0x5A);
}

// On a fast host (2 us an access) the write cycle outlasts the write
// disable after a write: only the pause ahead of the next byte operation
// lets the read find the byte. Meanwhile the part answers nothing but its
// status register, which shows the cycle.
TEST_F(Eeprom, AReadAfterAWriteWaitsForTheWriteCycle) {
  start();
  sim().setAccessLatencyMicroseconds(2);
  ASSERT_EQ(utils().eeByteWrite(0x5A, 0x10, handle_, kDft), status::kSuccess);
  ASSERT_TRUE(part().writeInProgress());
  EXPECT_EQ(transaction(kReadStatus) & 1, 1) << "write in progress";
  EXPECT_EQ(transaction(kRead, 0x10), 0x00) << "data out is not driven";
  ASSERT_TRUE(part().writeInProgress());
  uint8_t byte = 0;
  ASSERT_EQ(utils().eeByteRead(byte, 0x10, handle_, kDft), status::kSuccess);
  EXPECT_EQ(byte, 0x5A);
  EXPECT_EQ(transaction(kReadStatus) & 1, 0);
}

// The write cycle lasts exactly its time from the write (accesses here take none).
TEST_F(Eeprom, TheWriteCycleLastsItsTime) {
  start();
  sim().setAccessLatencyMicroseconds(0);
  ASSERT_EQ(utils().eeByteWrite(0x5A, 0x10, handle_, kDft), status::kSuccess);
  sim().advance(sim::kWriteCycleMicroseconds - 1);
  EXPECT_TRUE(part().writeInProgress());
  sim().advance(1);
  EXPECT_FALSE(part().writeInProgress());
}

// The status register round trip prints what it read; a masked write sets
// value bits outside the mask too.
TEST_F(Eeprom, StatusRegisterAndMaskedWrite) {
  start();
  ASSERT_EQ(utils().eeWriteStatusRegister(0x0C, handle_, kDft), status::kSuccess);
  uint8_t value = 0;
  ASSERT_EQ(utils().eeReadStatusRegister(value, handle_, kDft), status::kSuccess);
  EXPECT_EQ(value, 0x0C);
  EXPECT_EQ(sim().printed(), "Data out: 0xc\n");
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

// Written bytes land where the part's address bits put them and read back
// through the pins; afterwards the pins are handed back, the EEPROM
// deselected and the write latch cleared.
TEST_P(EepromWrap, WrittenBytesLandAndReadBack) {
  const WrapCase& c = GetParam();
  start({.eepromSize = c.size});
  const std::array<uint8_t, 3> bytes = {0x11, 0x22, 0x33};
  ASSERT_EQ(utils().eeMultiByteWrite(bytes.data(), 3, c.start, handle_, kDft), status::kSuccess);
  for (size_t i = 0; i < bytes.size(); ++i) EXPECT_EQ(stored(c.landsAt[i]), bytes[i]) << i;
  std::array<uint8_t, 3> back{};
  ASSERT_EQ(utils().eeMultiByteRead(back.data(), 3, c.start, handle_, kDft), status::kSuccess);
  EXPECT_EQ(back, bytes);
  EXPECT_EQ(router().peek(0, kDeviceSpace, kPins) & (kOwner | kChipSelect), kChipSelect);
  EXPECT_FALSE(part().writeEnabled());
}

INSTANTIATE_TEST_SUITE_P(Cases, EepromWrap,
                         ::testing::Values(WrapCase{"the16BitAddressWrapsTo0", 0x10000, 0xFFFF, {0xFFFF, 0, 1}},
                                           WrapCase{"aSmallPartIgnoresHighAddressBits", 2048, 0x0FFF, {0x7FF, 0, 1}}),
                         test::byName);

// Bit 0 of the byte at 0x80 reads wrong on the first read of the first
// `flippedPairs` double reads; on failure the byte holds the last first read.
struct FlipCase {
  const char* name;
  int flippedPairs;
  Status status;
  uint64_t reads;
};

class EepromDoubleRead : public Eeprom, public ::testing::WithParamInterface<FlipCase> {};

TEST_P(EepromDoubleRead, DisagreeingReadsAreRetriedTenTimes) {
  const FlipCase& c = GetParam();
  start();
  const auto flip = std::string(sim::kFaultEepromDataOutFlip);
  for (int pair = 0; pair < c.flippedPairs; ++pair)
    addFault({.op = flip, .index = 0, .address = 0x80, .skip = 2u * pair, .times = 1});
  addFault({.op = flip, .index = 7, .address = 0x80, .times = 0});  // counts the reads of the byte
  uint8_t byte = 0;
  EXPECT_EQ(utils().eeMultiByteRead(&byte, 1, 0x80, handle_, kDft), c.status);
  EXPECT_EQ(byte, c.status == status::kSuccess ? pattern(0x80) : pattern(0x80) ^ 1);
  EXPECT_EQ(sim().faults().back().matched, c.reads);
}

INSTANTIATE_TEST_SUITE_P(Cases, EepromDoubleRead,
                         ::testing::Values(FlipCase{"clean", 0, status::kSuccess, 2},
                                           FlipCase{"tenthPairAgrees", 9, status::kSuccess, 20},
                                           FlipCase{"everyPairDisagrees", 10, status::kNotReadable, 20}), test::byName);

// The pins are awaited at most 10000 reads, 100 us apart; a transaction
// whose pins stay held fails without touching chip select.
struct OwnerCase {
  const char* name;
  int64_t heldReads;  // -1: forever
  Status status;
  uint64_t reads, writes;
};

class EepromOwnership : public Eeprom, public ::testing::WithParamInterface<OwnerCase> {};

TEST_P(EepromOwnership, WaitsForThePins) {
  const OwnerCase& c = GetParam();
  start();
  addFault({.op = std::string(sim::kFaultEepromOwnerHeld), .times = c.heldReads});
  const uint64_t before = sim().hardwareTimeMicroseconds();
  EXPECT_EQ(utils().eeBB1forRouterHandle(handle_, kDft), c.status);
  EXPECT_EQ(sim().configReadsOf(kSwitch, 0, kDeviceSpace, kPins), c.reads);
  EXPECT_EQ(sim().configWritesOf(kSwitch, 0, kDeviceSpace, kPins), c.writes);
  const uint64_t polls = c.heldReads < 0 ? 10000 : c.heldReads + 1;
  EXPECT_EQ(sim().hardwareTimeMicroseconds() - before,
            (c.reads + c.writes) * sim().accessLatencyMicroseconds() + (polls - 1) * 100);
  if (c.heldReads < 0) {
    uint8_t byte = 0;
    EXPECT_EQ(utils().eeByteRead(byte, 0, handle_, kDft), status::kExclusiveAccess);
    EXPECT_EQ(sim().configWritesOf(kSwitch, 0, kDeviceSpace, kPins), 0u);
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, EepromOwnership,
                         ::testing::Values(OwnerCase{"free", 0, status::kSuccess, 2, 1},
                                           OwnerCase{"releasedAtTheLastPoll", 9999, status::kSuccess, 10001, 1},
                                           OwnerCase{"heldForever", -1, status::kExclusiveAccess, 10000, 0}),
                         test::byName);

TEST_F(Eeprom, AFailureWhileClockingIsOnlySeenByTheReadBack) {
  start();
  // The write-enable transaction writes the pins 28 times, the write's own
  // taking and selecting 2 more: the first data-in change of the write
  // instruction fails.
  const sim::Fault failClocking = {.op = std::string(sim::kFaultConfigWrite), .index = kPins,
                                   .status = status::kDeviceError, .skip = 30, .times = 1};
  addFault(failClocking);
  EXPECT_EQ(utils().eeByteWrite(0x42, 0x10, handle_, kDft), status::kSuccess);
  EXPECT_EQ(stored(0x10), pattern(0x10));
  sim().clearFaults();
  addFault(failClocking);
  const uint8_t byte = 0x42;
  EXPECT_EQ(utils().eeMultiByteWrite(&byte, 1, 0x10, handle_, kDft), status::kSuccess);
  EXPECT_EQ(stored(0x10), 0x42);
}

// ---- NVM reads ----

struct RequestCase {
  const char* name;
  uint32_t identity, offset, dwords;
  uint32_t request;  // the word the controller receives
};

class NvmRequest : public Eeprom, public ::testing::WithParamInterface<RequestCase> {};

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
                      RequestCase{"shiftedTenOverlapsTheOpcode", kShiftedCountController, 0x0100, 10, 0xA8000100},
                      RequestCase{"countClampedTo16", 0x15688086, 0x0100, 20, 0xE0000100}), test::byName);

// 64 bytes are a chunk, 68 a chunk and a dword, 70 two bytes of another
// dword more; without a link controller the EEPROM is read instead.
TEST_F(Eeprom, NvmReadsChunksOrTheEeprom) {
  const std::pair<uint32_t, std::vector<uint32_t>> sizes[] = {
      {64, {0xE0000100}}, {68, {0xE0000100, 0xA4000140}}, {70, {0xE0000100, 0xA4000140, 0xA4000144}}};
  for (const auto& [size, mailboxReads] : sizes) {
    for (bool linkController : {true, false}) {
      start({.linkController = linkController});
      std::vector<uint8_t> buffer(size + 2, 0xEE);
      ASSERT_EQ(utils().nvmRead(buffer.data(), size, 0x100, handle_), status::kSuccess);
      EXPECT_EQ(requests(), linkController ? mailboxReads : std::vector<uint32_t>()) << size;
      for (uint32_t i = 0; i < size; ++i) EXPECT_EQ(buffer[i], pattern(0x100 + i)) << i;
      EXPECT_EQ(buffer[size], 0xEE);
    }
  }
}

struct OutcomeCase {
  const char* name;
  Switch hardware;
  bool nvmError;  // the first request completes with the error bit
  uint32_t size;
  Status status;
  size_t requests;
};

class NvmOutcome : public Eeprom, public ::testing::WithParamInterface<OutcomeCase> {};

TEST_P(NvmOutcome, Status) {
  const OutcomeCase& c = GetParam();
  start(c.hardware);
  if (c.nvmError) addFault({.op = std::string(sim::kFaultNvmError), .times = 1});
  std::vector<uint8_t> buffer(c.size);
  EXPECT_EQ(utils().nvmRead(buffer.data(), c.size, 0, handle_), c.status);
  EXPECT_EQ(requests().size(), c.requests);
  EXPECT_EQ(sim().configReadsOf(kSwitch, 0, kDeviceSpace, kPins), 0u) << "no fallback to the EEPROM";
}

INSTANTIATE_TEST_SUITE_P(
    Cases, NvmOutcome,
    ::testing::Values(OutcomeCase{"nothingToRead", {}, false, 0, status::kSuccess, 0},
                      OutcomeCase{"noMailboxOnThisGeneration", {.identity = 0x15498086}, false, 8,
                                  status::kUnsupported, 0},
                      OutcomeCase{"capabilityTooShort", {.length = 155}, false, 8, status::kOverrun, 0},
                      OutcomeCase{"capabilityOfTheMinimumLength", {.length = 156}, false, 8, status::kSuccess, 1},
                      OutcomeCase{"controllerReportsAnError", {}, true, 8, status::kNotReadable, 1},
                      OutcomeCase{"noImageToRead", {.nvm = false}, false, 8, status::kNotReadable, 1},
                      OutcomeCase{"aLaterChunkReplacesAFailedOne", {}, true, 128, status::kSuccess, 2}), test::byName);

// A mailbox that never completes is polled 10000 times, 10 us apart; its
// error bit is judged before the lack of completion.
TEST_F(Eeprom, AStuckMailboxIsPolledTenThousandTimes) {
  for (bool errorToo : {false, true}) {
    start({.identity = kByteCountController});
    addFault({.op = std::string(sim::kFaultNvmStuck)});
    if (errorToo) addFault({.op = std::string(sim::kFaultNvmError)});
    uint32_t out[16];
    const uint64_t before = sim().hardwareTimeMicroseconds();
    EXPECT_EQ(utils().nvmReadLCTunneled(handle_, 0, 16, out, kMailboxBase),
              errorToo ? status::kNotReadable : status::kNotResponding);
    EXPECT_EQ(sim().configReadsOf(kSwitch, 0, kDeviceSpace, kCommand), 10000u);
    // Identity read, 16 clears, the request, 10000 polls 10 us apart.
    EXPECT_EQ(sim().hardwareTimeMicroseconds() - before,
              (1 + 16 + 1 + 10000) * sim().accessLatencyMicroseconds() + 9999 * 10u);
  }
}

// ---- DROM location: the outputs are written only on success ----

struct DromCase {
  const char* name;
  Switch hardware;
  bool failOffsetRead;
  Status status;
  const char* printed;
};

class DromOffset : public Eeprom, public ::testing::WithParamInterface<DromCase> {};

TEST_P(DromOffset, OutputsOnlyOnSuccess) {
  const DromCase& c = GetParam();
  start(c.hardware);
  if (c.failOffsetRead)
    addFault({.op = std::string(sim::kFaultConfigRead), .index = kDft + 12u, .status = status::kDeviceError});
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
                               "Could not get capability\n"}), test::byName);

}  // namespace
}  // namespace tbt
