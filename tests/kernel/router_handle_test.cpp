#include <gtest/gtest.h>

#include "kernel/config_space.h"
#include "kernel/router_handle.h"
#include "sim/faults.h"
#include "support/scoped_host.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::ScopedHost;

TEST(RouterHandle, BaseHandleReachesNothing) {
  ScopedHost host(hostWithRouters({0x0}).dump());
  RouterHandle handle;
  uint32_t value = 0x55;
  EXPECT_EQ(handle.configReadWithPort(0, kDeviceSpace, 0, value), status::kSuccess);
  EXPECT_EQ(value, 0x55u);
  EXPECT_EQ(handle.configWriteWithPort(0, kDeviceSpace, 0, 1), status::kSuccess);
  EXPECT_EQ(host.sim().configAccessCount(), 0u);
}

struct RouteCase {
  uint32_t dword2;
  uint64_t route;
};

class ActualRoute : public ::testing::TestWithParam<RouteCase> {};

TEST_P(ActualRoute, IsDeviceDword2AsRead) {
  ScopedHost host(hostWithRouters({0x0, 0x1, 0x301}, 0x2).dump());
  host.sim().poke(0, 0x301, 0, kDeviceSpace, 2, GetParam().dword2);
  auto handle = LocalRouterHandle::localRouterHandle();
  handle->setRouterID(2);
  handle->setRoute(0x301);
  uint64_t route = 0;
  EXPECT_EQ(handle->actualRoute(route), status::kSuccess);
  EXPECT_EQ(route, GetParam().route);
  EXPECT_EQ(host.sim().configReadsOf(0x301, 0, kDeviceSpace, 2), 1u);
}

// Bit 31 of the double word is kept as the router holds it.
INSTANTIATE_TEST_SUITE_P(, ActualRoute,
                         ::testing::Values(RouteCase{0x301, 0x301}, RouteCase{0x80000001, 0x80000001},
                                           RouteCase{0xFFFFFFFF, 0xFFFFFFFF}));

TEST(RouterHandle, FailedActualRouteLeavesTheRouteAlone) {
  ScopedHost host(hostWithRouters({0x0, 0x1}).dump());
  host.sim().addFault({.op = std::string(sim::kFaultConfigRead), .route = 0x1, .status = status::kDeviceError});
  LocalRouterHandle handle;
  handle.setRoute(0x1);
  uint64_t route = 42;
  EXPECT_EQ(handle.actualRoute(route), status::kDeviceError);
  EXPECT_EQ(route, 42u);
}

TEST(LocalRouterHandle, ReachesTheControllerOfItsRouterID) {
  ScopedHost host(hostWithRouters({0x0, 0x1}, 0x7).dump());
  LocalRouterHandle handle;
  handle.setRoute(0x1);
  uint32_t value = 0;
  EXPECT_EQ(handle.configReadWithPort(0, kDeviceSpace, 3, value), status::kNotFound);
  handle.setRouterID(7);
  EXPECT_EQ(handle.configWriteWithPort(1, kPortSpace, 3, 0xBEEF), status::kSuccess);
  EXPECT_EQ(handle.configReadWithPort(1, kPortSpace, 3, value), status::kSuccess);
  EXPECT_EQ(value, 0xBEEFu);
  EXPECT_EQ(host.sim().peek(0, 0x1, 1, kPortSpace, 3), 0xBEEFu);
}

}  // namespace
}  // namespace tbt
