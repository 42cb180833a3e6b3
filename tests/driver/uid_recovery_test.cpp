// The switch UID repair against the simulated EEPROM: what ends up in the
// EEPROM's bytes, what a later read finds, and the bounded retries.
#include <gtest/gtest.h>

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

  // The header bytes now in the EEPROM of the display at route, as hex.
  static std::string eepromHeader(ScopedHost& host, uint64_t route) {
    std::string out;
    for (uint8_t b : host.sim().router(0, route)->eeprom()->read(kDromOffset, 9)) appendf(out, "%02x", b);
    return out;
  }
};

// A corrupt header, or one holding the placeholder, gets the UID built from
// the display's ASN; any other valid one (0 included) is left alone. A later
// read finds the header's UID; the caller's UID changes only on a repair.
TEST_F(UidRecovery, RepairsCorruptOrPlaceholderHeaderFromTheAsn) {
  struct Case {
    uint64_t route, stored;
    bool corrupt;
    Status status;
    uint64_t expected;
    const char* line;
  };
  for (const Case& c : {Case{0x301, kFarRegistryUid, true, status::kRepaired, kFarRepairedUid,
                             "Will set UID to 0x0001001a731ff1d0"},
                        Case{0x1, kPlaceholderUID, false, status::kRepaired, 0x0001001A62E65A20,
                             "Will set UID to 0x0001001a62e65a20"},
                        Case{0x1, kNearUid, false, status::kSuccess, kNearUid,
                             "Switch already has a valid UID (0x0001d15b00a1c301)"},
                        Case{0x1, 0, false, status::kSuccess, 0,
                             "Switch already has a valid UID (0x0000000000000000)"}}) {
    json doc = defaultHostDocument();
    setUidHeader(doc, c.route, c.stored, c.corrupt);
    ScopedHost host(doc.dump());
    uint64_t uid = 7;
    EXPECT_EQ(recoverSwitchUID(switchEntry(c.route), &uid), c.status);
    EXPECT_EQ(uid, c.status == status::kRepaired ? c.expected : 7u);
    EXPECT_TRUE(logged(host.sim(), c.line)) << c.line;
    EXPECT_EQ(eepromHeader(host, c.route), uidHeaderHex(c.expected));
    Status code = status::kGeneralFailure;
    EXPECT_EQ(readSwitchUID(switchEntry(c.route), &code), c.expected);
    EXPECT_EQ(code, status::kSuccess);
  }
}

// Characters 8-11 "ZZZZ" are 36^4 - 1 = 0x19A0FF, of which 15 bits are kept;
// without an ASN there is no replacement and every attempt fails at once.
TEST_F(UidRecovery, AsnSerialIsTruncatedAndAMissingAsnFailsEveryAttempt) {
  json doc = defaultHostDocument();
  routerOf(doc, 0x1)["iecs"]["36/1"]["18"] = "ASCII:C027123ZZZZDHJF1";
  routerOf(doc, 0x301)["iecs"].erase("36/1");
  ScopedHost host(doc.dump());
  EXPECT_EQ(makeUIDFromASN(switchEntry(0x1), 1, 26), 0x0001001A731A0FF0u);
  EXPECT_TRUE(logged(host.sim(), "Truncating serial 0x19a0ff"));
  uint64_t uid = 0;
  EXPECT_EQ(recoverSwitchUID(switchEntry(0x301), &uid), status::kNotWritable);
  EXPECT_EQ(loggedCount(host.sim(), "Error updating UID"), 15u);
  EXPECT_TRUE(logged(host.sim(), "Will set UID to 0x0000000000000000"));
}

}  // namespace
}  // namespace tbt::test
