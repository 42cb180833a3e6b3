// The reports' reach: the LC memory window, the descent of the all-spaces
// report, a router behind another's link controller, a controller without a
// user client.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "sim/faults.h"
#include "support/param_names.h"
#include "support/topology_builder.h"
#include "toolkit/remote_router_handle.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

size_t lineCount(const std::string& text) { return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')); }

// The link controller of tests/golden/reports/link_controller.json: the
// capability at 0x10, blocks at 0x30 and 0xcc, LC memory set at 0x8000,
// 0x8004, 0xeffc and 0xf000.
constexpr uint32_t kBlock0 = 0x30;

struct DumpCase {
  const char* name;
  uint32_t lc;
  std::vector<sim::Fault> faults;
  const char* head;  // the text's start
  size_t lines;
  const char* tail;  // the text's end
};

void PrintTo(const DumpCase& c, std::ostream* os) { *os << c.name; }

sim::Fault windowFault(const std::string_view op, uint32_t index, uint64_t skip) {
  return {.op = std::string(op), .route = 0, .port = 0, .space = 2, .index = index, .status = status::kTimeout,
          .skip = skip, .times = 1};
}

const DumpCase kDumps[] = {
    {"WholeWindow", 0, {}, "LC 0 Memory Dump for RID 0 and Route 0x0\n0x8000: 0x12345678\n0x8004: 0x9abcdef0\n", 7169,
     "0xeff8: 0x00000000\n0xeffc: 0xcafef00d\n"},
    {"LcEqualToCount", 2, {}, "Error: 0xe00002bc\n", 1, "Error: 0xe00002bc\n"},
    {"FailingDataRead", 0, {windowFault(sim::kFaultConfigRead, kBlock0 + 64, 2)},
     "LC 0 Memory Dump for RID 0 and Route 0x0\n0x8000: 0x12345678\n", 4, "0x8004: 0x9abcdef0\nError: 0xe00002d6\n"},
    {"FailingAddressWrite", 0, {windowFault(sim::kFaultConfigWrite, kBlock0 + 62, 1)},
     "LC 0 Memory Dump", 3, "0x8000: 0x12345678\nError: 0xe00002d6\n"},
    {"FailingControlWrite", 0, {windowFault(sim::kFaultConfigWrite, kBlock0 + 65, 0)}, "LC 0 Memory Dump", 2,
     "Route 0x0\nError: 0xe00002d6\n"},
};

class LcMemoryDump : public ::testing::TestWithParam<DumpCase> {};

TEST_P(LcMemoryDump, ThroughTheWindow) {
  const DumpCase& c = GetParam();
  test::ScopedHost host(test::goldenFile("reports/link_controller.json"));
  for (const sim::Fault& f : c.faults) host.sim().addFault(f);
  LocalRouterHandle handle;
  const std::string text = ThunderboltUserClientUtils::sharedInstance().memoryDumpForLC(c.lc, handle);
  EXPECT_EQ(text.substr(0, std::string(c.head).size()), c.head);
  EXPECT_EQ(lineCount(text), c.lines);
  ASSERT_GE(text.size(), std::string(c.tail).size());
  EXPECT_EQ(text.substr(text.size() - std::string(c.tail).size()), c.tail);
}

INSTANTIATE_TEST_SUITE_P(Cases, LcMemoryDump, ::testing::ValuesIn(kDumps), test::byName);

TEST(LcMemoryDump, ControllersWithoutTheWindowPrintNothing) {
  nlohmann::json host = nlohmann::json::parse(test::goldenFile("reports/link_controller.json"));
  test::routerOf(host, 0x0)["device-space"]["0"] = "0x151a";
  test::ScopedHost scoped(host.dump());
  LocalRouterHandle handle;
  EXPECT_EQ(ThunderboltUserClientUtils::sharedInstance().memoryDumpForLC(0, handle), "");
  EXPECT_EQ(scoped.sim().configAccessCount(), 1u);
}

// A chain of routers from the host router, each below adapter 3 of the one
// before (adapter 1 of the host router).
constexpr uint64_t kSixHops = 0x030303030301;
constexpr uint64_t kSevenHops = 0x03030303030301;

struct DescentCase {
  const char* name;
  uint64_t from;
  bool reachesSevenHops;
  bool onlyItsOwnRoute;  // no child route is tried
};

void PrintTo(const DescentCase& c, std::ostream* os) { *os << c.name; }

class Descent : public ::testing::TestWithParam<DescentCase> {};

TEST_P(Descent, ChildRoutesUseTheLowestFreeRouteByte) {
  const DescentCase& c = GetParam();
  nlohmann::json host = test::hostWithRouters(
      {0x0, 0x1, 0x301, 0x30301, 0x3030301, 0x303030301, kSixHops, kSevenHops});
  // Adapter 3 of the two deepest routers is a lane adapter.
  for (uint64_t route : {kSixHops, kSevenHops}) {
    test::routerOf(host, route)["ports"]["3"]["port-space"]["2"] = "0x1";
    test::routerOf(host, route)["device-space"]["1"] = test::hex(3u << 14 | 1u << 8);
  }
  test::routerOf(host, kSevenHops)["device-space"]["0"] = "0x7777";
  test::ScopedHost scoped(host.dump());
  scoped.sim().setAccessLogEnabled(true);
  LocalRouterHandle handle;
  handle.setRoute(c.from);
  const std::string text = ThunderboltUserClientUtils::sharedInstance().allSpacesForRouterHandle(handle);
  EXPECT_EQ(text.find("Vendor ID=0x7777\n") != std::string::npos, c.reachesSevenHops);
  if (c.onlyItsOwnRoute) {
    for (const auto& access : scoped.sim().accessLog()) EXPECT_EQ(access.route, c.from) << test::hex(access.route);
  }
}

INSTANTIATE_TEST_SUITE_P(Routes, Descent,
                         ::testing::Values(DescentCase{"SixBytesUsed", kSixHops, true, false},
                                           DescentCase{"AllSevenBytesUsed", kSevenHops, true, true}), test::byName);

// Router A of the rich host, reached through the link controller of router
// 0x1, reads as the same router reached by route.
TEST(RemoteReport, SameTextAsByRoute) {
  std::string remoteText;
  {
    test::ScopedHost host(test::fixtureHost("rich.json"));
    auto parent = std::make_shared<LocalRouterHandle>();
    parent->setRoute(0x1);
    std::unique_ptr<RemoteRouterHandle> remote = RemoteRouterHandle::remoteRouterHandle();
    remote->setParentRouterHandle(parent);
    remote->setBus(0);
    auto& utils = ThunderboltUserClientUtils::sharedInstance();
    remoteText = utils.deviceSpaceForRouterHandle(*remote) + utils.allSpacesForRouterHandle(*remote);
  }
  nlohmann::json rich = nlohmann::json::parse(test::fixtureHost("rich.json"));
  nlohmann::json host = test::hostWithRouters({0x0, 0x1, 0x201});
  nlohmann::json far = rich["controllers"][0]["routers"][1]["bridges"]["0"]["router"];
  test::routerOf(host, 0x201)["device-space"] = far["device-space"];
  test::ScopedHost local(host.dump());
  LocalRouterHandle handle;
  handle.setRoute(0x201);
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  const std::string localText = utils.deviceSpaceForRouterHandle(handle) + utils.allSpacesForRouterHandle(handle);
  EXPECT_NE(remoteText.find("Link Controller 0:"), std::string::npos);
  EXPECT_EQ(remoteText, localText);
}

TEST(AbsentUserClient, ReadsFailWithNotFound) {
  test::ScopedHost host(test::fixtureHost("rich.json"));
  LocalRouterHandle handle;
  handle.setRouterID(7);
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  EXPECT_EQ(utils.deviceSpaceForRouterHandle(handle), "ERROR: 0xe00002f0\n");
  EXPECT_EQ(utils.pathSpaceForPort(1, handle), "ERROR: 0xe00002f0\n");
  EXPECT_EQ(utils.deviceCapabilityAtIndex(0x10, handle), "");
}

}  // namespace
}  // namespace tbt
