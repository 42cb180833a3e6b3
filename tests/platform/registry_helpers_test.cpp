#include <gtest/gtest.h>

#include <vector>

#include "platform/host_probes.h"
#include "platform/registry_helpers.h"
#include "support/param_names.h"
#include "support/scoped_host.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::routerOf;
using test::ScopedHost;
using test::switchEntry;

TEST(ReadRegistryData, BoardIdIsCutToTheBuffer) {
  const std::string longId = "Brd-0123456789ABCDEF0123456789ABCDEF";  // 36 bytes
  ScopedHost host(nlohmann::json{{"board-id", longId}}.dump());
  std::vector<uint8_t> buffer(33, 0xEE);
  EXPECT_TRUE(readRegistryData(registry().root(), "board-id", kSearchRecursively, buffer.data(), 32));
  EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + 32), longId.substr(0, 32));
  EXPECT_EQ(buffer[32], 0xEE);  // no terminating NUL, nothing past the bound
  // Not on the root itself: only a recursive search finds it.
  EXPECT_FALSE(readRegistryData(registry().root(), "board-id", 0, buffer.data(), 32));
  EXPECT_FALSE(readRegistryData(registry().root(), "no-such-key", kSearchRecursively, buffer.data(), 32));
}

TEST(SwitchWalks, FindTheNearestAndTheHostSwitch) {
  nlohmann::json json = hostWithRouters({0x0, 0x1, 0x301}, 0x1236);
  routerOf(json, 0x301)["registry"] = {{"UID", nullptr}};
  ScopedHost host(json.dump());
  RegistryEntry hostSwitch = switchEntry(0x0);
  RegistryEntry display = switchEntry(0x301);
  ASSERT_TRUE(hostSwitch && display);
  RegistryEntry lanePort = switchEntry(0x1).children().at(0);  // the port of 0x1 that leads to the display

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

struct ProbeCase {
  const char* name;
  const char* host;
  bool externalPower;
  bool lidClosed;
  const char* bootMedia = nullptr;  // "BSD Name" of the boot medium found
};

class HostProbes : public ::testing::TestWithParam<ProbeCase> {};

TEST_P(HostProbes, AnswerFromTheRegistry) {
  ScopedHost host(GetParam().host);
  EXPECT_EQ(isOnExternalPower(), GetParam().externalPower);
  EXPECT_EQ(isLidClosed(), GetParam().lidClosed);
  RegistryEntry media = bootMediaEntry();
  EXPECT_EQ(media.property("BSD Name"),
            GetParam().bootMedia ? std::optional(Property::string(GetParam().bootMedia)) : std::nullopt);
}

constexpr const char* kTwoBatteries = R"({"batteries": [{"external-connected": true}, {"external-connected": false}]})";

INSTANTIATE_TEST_SUITE_P(
    , HostProbes,
    ::testing::Values(ProbeCase{"Desktop", "{}", true, false, nullptr},
                      ProbeCase{"OneOfTwoUnplugged", kTwoBatteries, false, false},
                      ProbeCase{"StateUnknown", R"({"batteries": [{}]})", false, false},
                      ProbeCase{"LidClosed", R"({"lid-closed": true})", true, true},
                      ProbeCase{"BootDisk", R"({"boot-disk": "disk1s2"})", true, false, "disk1s2"}), test::byName);

}  // namespace
}  // namespace tbt
