// Each decoder family against a small host file and the text expected of it
// (tests/golden/reports/<name>.json and <name>.txt), and the all-spaces
// report of the rich fixture host.
#include <gtest/gtest.h>

#include <functional>

#include "support/topology_builder.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using Report = std::function<std::string(ThunderboltUserClientUtils&, RouterHandle&)>;

struct Golden {
  const char* name;  // the host file and the expected text
  const char* host;
  Report report;
};

const Golden kGoldens[] = {
    {"device_capabilities", "device_capabilities",
     [](ThunderboltUserClientUtils& u, RouterHandle& h) { return u.deviceSpaceForRouterHandle(h); }},
    {"link_controller", "link_controller",
     [](ThunderboltUserClientUtils& u, RouterHandle& h) { return u.deviceCapabilityAtIndex(0x10, h); }},
    {"ports", "ports",
     [](ThunderboltUserClientUtils& u, RouterHandle& h) { return u.portSpaceForPort(1, h) + u.portSpaceForPort(2, h); }},
    {"path_counter", "ports",
     [](ThunderboltUserClientUtils& u, RouterHandle& h) {
       return u.pathSpaceForPort(1, h) + u.counterSpaceForPort(1, h) + u.pathSpaceForPort(2, h) +
              u.counterSpaceForPort(2, h);
     }},
};

void PrintTo(const Golden& g, std::ostream* os) { *os << g.name; }

class ReportGolden : public ::testing::TestWithParam<Golden> {};

TEST_P(ReportGolden, MatchesTheExpectedText) {
  const Golden& g = GetParam();
  test::ScopedHost host(test::goldenFile("reports/" + std::string(g.host) + ".json"));
  const std::string expected = test::goldenFile("reports/" + std::string(g.name) + ".txt");
  LocalRouterHandle handle;
  ASSERT_FALSE(expected.empty());
  EXPECT_EQ(g.report(ThunderboltUserClientUtils::sharedInstance(), handle), expected);
}

INSTANTIATE_TEST_SUITE_P(Families, ReportGolden, ::testing::ValuesIn(kGoldens),
                         [](const auto& info) { return std::string(info.param.name); });

// Two controllers, routers three deep, a link controller with two blocks:
// every router of both controllers, streamed as the same text.
TEST(AllSpacesGolden, RichHost) {
  test::ScopedHost host(test::fixtureHost("rich.json"));
  const std::string expected = test::goldenFile("reports/rich_all_spaces.txt");
  ASSERT_FALSE(expected.empty());
  EXPECT_EQ(ThunderboltUserClientUtils::sharedInstance().allSpaces(), expected);
}

}  // namespace
}  // namespace tbt
