#include <gtest/gtest.h>

#include <vector>

#include "platform/host_probes.h"
#include "platform/registry_helpers.h"
#include "support/scoped_host.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::routerOf;
using test::ScopedHost;
using test::switchEntry;

TEST(ReadRegistryData, BoardIdIsCutToTheBuffer) {
  const std::string longId = "Brd-0123456789ABCDEF0123456789ABCDEF";  // 36 bytes
  nlohmann::json json = {{"board-id", longId}};
  ScopedHost host(json.dump());
  std::vector<uint8_t> buffer(33, 0xEE);
  EXPECT_TRUE(readRegistryData(registry().root(), "board-id", kSearchRecursively, buffer.data(), 32));
  EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + 32), longId.substr(0, 32));
  EXPECT_EQ(buffer[32], 0xEE);  // no terminating NUL, nothing past the bound
  // Not on the root itself: only a recursive search finds it.
  EXPECT_FALSE(readRegistryData(registry().root(), "board-id", 0, buffer.data(), 32));
  EXPECT_FALSE(readRegistryData(registry().root(), "no-such-key", kSearchRecursively, buffer.data(), 32));
}

TEST(ReadRegistryNumber, WidthsAndAbsence) {
  nlohmann::json json = hostWithRouters({0x0, 0x1});
  routerOf(json, 0x1)["registry"] = {{"Wide", "0x123456789"}, {"Text", "7"}};
  ScopedHost host(json.dump());
  RegistryEntry entry = switchEntry(0x1);
  uint32_t narrow = 1;
  uint64_t wide = 1;
  EXPECT_TRUE(readRegistryNumber(entry, "Wide", narrow));
  EXPECT_EQ(narrow, 0x23456789u);
  EXPECT_TRUE(readRegistryNumber64(entry, "Wide", wide));
  EXPECT_EQ(wide, 0x123456789u);
  for (const char* key : {"Text", "Missing"}) {
    narrow = 1;
    wide = 1;
    EXPECT_FALSE(readRegistryNumber(entry, key, narrow)) << key;
    EXPECT_FALSE(readRegistryNumber64(entry, key, wide)) << key;
    EXPECT_EQ(narrow, 1u);
    EXPECT_EQ(wide, 1u);
  }
}

TEST(SwitchWalks, FindTheNearestAndTheHostSwitch) {
  nlohmann::json json = hostWithRouters({0x0, 0x1, 0x301}, 0x1236);
  routerOf(json, 0x301)["registry"] = {{"UID", nullptr}};
  ScopedHost host(json.dump());
  RegistryEntry hostSwitch = switchEntry(0x0);
  RegistryEntry display = switchEntry(0x301);
  ASSERT_TRUE(hostSwitch && display);
  // The port of 0x1 that leads to the display.
  RegistryEntry lanePort = switchEntry(0x1).children().at(0);

  EXPECT_EQ(parentSwitchOfEntry(lanePort), switchEntry(0x1));
  EXPECT_EQ(parentSwitchOfEntry(display), switchEntry(0x1));
  EXPECT_EQ(rootSwitchOfEntry(lanePort), hostSwitch);
  EXPECT_EQ(rootSwitchOfEntry(display), hostSwitch);
  for (const RegistryEntry& above : {registry().root(), hostSwitch, RegistryEntry()}) {
    EXPECT_FALSE(parentSwitchOfEntry(above));
    EXPECT_FALSE(rootSwitchOfEntry(above));
  }
  EXPECT_EQ(routeOfEntry(display), 0x301u);
  EXPECT_EQ(routeOfEntry(registry().root()), kNoRoute);
  EXPECT_EQ(routerIDOfEntry(hostSwitch), 6);
  EXPECT_EQ(routerIDOfEntry(display), 0xF);
}

struct PowerCase {
  const char* name;
  const char* host;
  bool externalPower;
  bool lidClosed;
};

class HostProbes : public ::testing::TestWithParam<PowerCase> {};

TEST_P(HostProbes, AnswerFromTheRegistry) {
  ScopedHost host(GetParam().host);
  EXPECT_EQ(isOnExternalPower(), GetParam().externalPower);
  EXPECT_EQ(isLidClosed(), GetParam().lidClosed);
}

INSTANTIATE_TEST_SUITE_P(
    , HostProbes,
    ::testing::Values(PowerCase{"Desktop", "{}", true, false},
                      PowerCase{"OnePluggedIn", R"({"batteries": [{"external-connected": true}]})", true, false},
                      PowerCase{"OneOfTwoUnplugged",
                                R"({"batteries": [{"external-connected": true}, {"external-connected": false}]})",
                                false, false},
                      PowerCase{"StateUnknown", R"({"batteries": [{}]})", false, false},
                      PowerCase{"LidClosed", R"({"lid-closed": true})", true, true},
                      PowerCase{"LidOpen", R"({"lid-closed": false})", true, false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(BootMedia, MatchesTheBootDiskName) {
  {
    ScopedHost host(R"({"boot-disk": "disk1s2"})");
    RegistryEntry media = bootMediaEntry();
    ASSERT_TRUE(media);
    EXPECT_EQ(media.property("BSD Name"), Property::string("disk1s2"));
  }
  ScopedHost host("{}");
  EXPECT_FALSE(bootMediaEntry());
}

}  // namespace
}  // namespace tbt
