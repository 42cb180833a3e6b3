#include <gtest/gtest.h>

#include "kernel/config_space.h"
#include "kernel/router_handle.h"
#include "sim/faults.h"
#include "support/param_names.h"
#include "support/scoped_host.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::ScopedHost;

struct RouteCase {
  const char* name;
  uint32_t dword2;
  Status readStatus;
  uint64_t route;  // what actualRoute gives (42, the caller's value, when the read fails)
};

class ActualRoute : public ::testing::TestWithParam<RouteCase> {};

// One read of device-space double word 2, its bit 31 kept as the router holds it.
TEST_P(ActualRoute, IsDeviceDword2AsRead) {
  ScopedHost host(hostWithRouters({0x0, 0x1, 0x301}, 0x2).dump());
  host.sim().poke(0, 0x301, 0, kDeviceSpace, 2, GetParam().dword2);
  if (GetParam().readStatus != status::kSuccess)
    host.sim().addFault({.op = std::string(sim::kFaultConfigRead), .route = 0x301, .status = GetParam().readStatus});
  auto handle = LocalRouterHandle::localRouterHandle();
  handle->setRouterID(2);
  handle->setRoute(0x301);
  uint64_t route = 42;
  EXPECT_EQ(handle->actualRoute(route), GetParam().readStatus);
  EXPECT_EQ(route, GetParam().route);
  EXPECT_EQ(host.sim().configReadsOf(0x301, 0, kDeviceSpace, 2), 1u);
}

INSTANTIATE_TEST_SUITE_P(, ActualRoute,
                         ::testing::Values(RouteCase{"Plain", 0x301, status::kSuccess, 0x301},
                                           RouteCase{"Bit31Kept", 0x80000001, status::kSuccess, 0x80000001},
                                           RouteCase{"ReadFails", 0x301, status::kDeviceError, 42}), test::byName);

}  // namespace
}  // namespace tbt
