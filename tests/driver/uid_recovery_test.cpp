// The switch UID repair against the simulated EEPROM: what ends up in the
// EEPROM's bytes, what a later read finds, and the bounded retries.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "driver/options.h"
#include "driver/uid_recovery.h"
#include "support/display_host.h"

namespace tbt::test {
namespace {

using nlohmann::json;

class UidRecovery : public ::testing::Test {
 protected:
  void SetUp() override { resetDriverFlags(); }
  void TearDown() override { resetDriverFlags(); }

  // The header bytes now in the EEPROM of the display at route, as hex.
  static std::string eepromHeader(ScopedHost& host, uint64_t route) {
    std::string out;
    for (uint8_t b : host.sim().router(0, route)->eeprom()->read(kDromOffset, 9)) appendf(out, "%02x", b);
    return out;
  }
};

TEST_F(UidRecovery, RepairsCorruptOrPlaceholderHeaderFromTheAsn) {
  struct Case {
    uint64_t route;
    uint64_t stored;
    bool corrupt;
    uint64_t expected;  // built from the display's ASN
  };
  for (const Case& c : {Case{0x301, kFarRegistryUid, true, kFarRepairedUid},
                        Case{0x1, kPlaceholderUID, false, 0x0001001A62E65A20}}) {
    json doc = defaultHostDocument();
    setUidHeader(doc, c.route, c.stored, c.corrupt);
    ScopedHost host(doc.dump());
    uint64_t uid = 0;
    EXPECT_EQ(recoverSwitchUID(switchEntry(c.route), &uid), status::kRepaired);
    EXPECT_EQ(uid, c.expected);
    EXPECT_EQ(eepromHeader(host, c.route), uidHeaderHex(c.expected));
    Status code = status::kGeneralFailure;
    EXPECT_EQ(readSwitchUID(switchEntry(c.route), &code), c.expected);
    EXPECT_EQ(code, status::kSuccess);
  }
}

TEST_F(UidRecovery, ValidHeaderIsLeftAlone) {
  ScopedHost host(DefaultHost{});
  uint64_t uid = 7;
  EXPECT_EQ(recoverSwitchUID(switchEntry(0x1), &uid), status::kSuccess);
  EXPECT_EQ(uid, 7u);
  EXPECT_TRUE(logged(host.sim(), "Switch already has a valid UID (0x0001d15b00a1c301)"));
  EXPECT_EQ(eepromHeader(host, 0x1), uidHeaderHex(kNearUid));
}

// Without leave to repair, every attempt writes nothing and reads back the
// corrupt header: fifteen attempts, each with its waits, in simulated time.
TEST_F(UidRecovery, NoUidGivesUpAfterFifteenAttemptsInSimulatedTime) {
  ScopedHost host(DefaultHost{});
  driverFlags().uid = false;
  const std::string before = eepromHeader(host, 0x301);
  const auto wallStart = std::chrono::steady_clock::now();
  const uint64_t simStart = host.sim().hardwareTimeMicroseconds();
  uint64_t uid = 0;
  EXPECT_EQ(recoverSwitchUID(switchEntry(0x301), &uid), status::kInternalError);
  const uint64_t simulated = host.sim().hardwareTimeMicroseconds() - simStart;
  const auto wall = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - wallStart);
  EXPECT_EQ(loggedCount(host.sim(), "Will not recover UID"), 15u);
  EXPECT_EQ(loggedCount(host.sim(), "Written UID (0x0000000000000000) does not match expected (0x0001001a731ff1d0), "
                                    "error = 0xe00002ca"),
            15u);
  EXPECT_GE(simulated, 15u * (10'000 + 5 * 10'000 + 100'000));
  EXPECT_LT(static_cast<uint64_t>(wall.count()), simulated);
  EXPECT_EQ(eepromHeader(host, 0x301), before) << "nothing written";
}

TEST_F(UidRecovery, AsnSerialIsTruncatedToFifteenBits) {
  json doc = defaultHostDocument();
  routerOf(doc, 0x301)["iecs"]["36/1"]["18"] = "ASCII:C027123ZZZZDHJF1";
  ScopedHost host(doc.dump());
  EXPECT_EQ(makeUIDFromASN(switchEntry(0x301), 1, 26), 0x0001001A731A0FF0u);
  EXPECT_TRUE(logged(host.sim(), "Truncating serial 0x19a0ff"));
}

TEST_F(UidRecovery, UnreadableAsnFailsEveryAttempt) {
  json doc = defaultHostDocument();
  routerOf(doc, 0x301)["iecs"].erase("36/1");
  ScopedHost host(doc.dump());
  uint64_t uid = 0;
  EXPECT_EQ(recoverSwitchUID(switchEntry(0x301), &uid), status::kNotWritable);
  EXPECT_EQ(loggedCount(host.sim(), "Error updating UID"), 15u);
  EXPECT_TRUE(logged(host.sim(), "Will set UID to 0x0000000000000000"));
}

}  // namespace
}  // namespace tbt::test
