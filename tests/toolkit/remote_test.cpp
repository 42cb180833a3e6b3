#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "kernel/config_space.h"
#include "sim/config_bridge_model.h"
#include "sim/faults.h"
#include "support/param_names.h"
#include "support/topology_builder.h"
#include "toolkit/remote_router_handle.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::routerOf;
using test::ScopedHost;

// In fixtures/hosts/rich.json router 0x1 (controller 0) has a link
// controller with two mailboxes and a bridge behind each:
//
//   0x1 ── bus 0, direct form ── far router A (0x40 reads 0xa0a0a0a0)
//   │                             └─ bus 0, command form ── far router C (0xc0c0c0c0)
//   └──── bus 1, command form ── far router B (0xb0b0b0b0)
constexpr uint64_t kParentRoute = 0x1;
constexpr uint32_t kProbeIndex = 0x40;

std::shared_ptr<RouterHandle> localHandle(uint64_t route) {
  std::shared_ptr<RouterHandle> handle = LocalRouterHandle::localRouterHandle();
  handle->setRoute(route);
  return handle;
}

// A remote handle reached from router 0x1 through the mailboxes of buses, in order.
std::shared_ptr<RemoteRouterHandle> remoteThrough(const std::vector<uint32_t>& buses) {
  std::shared_ptr<RouterHandle> parent = localHandle(kParentRoute);
  std::shared_ptr<RemoteRouterHandle> handle;
  for (uint32_t bus : buses) {
    handle = RemoteRouterHandle::remoteRouterHandle();
    handle->setParentRouterHandle(parent);
    handle->setBus(bus);
    parent = handle;
  }
  return handle;
}

struct RoundTrip {
  const char* name;
  std::vector<uint32_t> buses;
  bool byRoute;  // through the user client's own IECS transfers instead of the mailboxes
  uint32_t probe;
};

class RemoteRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(RemoteRoundTrip, ReachesTheFarRouter) {
  ScopedHost host(test::fixtureHost("rich.json"));
  const RoundTrip& c = GetParam();
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  auto handle = remoteThrough(c.buses);
  auto read = [&](uint32_t port, uint32_t space, uint32_t index, uint32_t& value) {
    return c.byRoute ? utils.iecsRemoteConfigReadWithRoute(kParentRoute, c.buses[0], port, space, index, value)
                     : handle->configReadWithPort(port, space, index, value);
  };
  uint32_t value = 0;
  ASSERT_EQ(read(0, kDeviceSpace, kProbeIndex, value), status::kSuccess);
  EXPECT_EQ(value, c.probe);
  ASSERT_EQ(c.byRoute ? utils.iecsRemoteConfigWriteWithRoute(kParentRoute, c.buses[0], 3, kPortSpace, 5, 0x12345678)
                      : handle->configWriteWithPort(3, kPortSpace, 5, 0x12345678),
            status::kSuccess);
  sim::Router* far = host.sim().router(0, kParentRoute);
  for (uint32_t bus : c.buses) far = sim::farRouter(*far, bus);
  EXPECT_EQ(far->peek(3, kPortSpace, 5), 0x12345678u);
  EXPECT_EQ(read(3, kPortSpace, 5, value), status::kSuccess);
  EXPECT_EQ(value, 0x12345678u);
}

INSTANTIATE_TEST_SUITE_P(Bridges, RemoteRoundTrip,
                         ::testing::Values(RoundTrip{"DirectForm", {0}, false, 0xa0a0a0a0},
                                           RoundTrip{"CommandForm", {1}, false, 0xb0b0b0b0},
                                           RoundTrip{"TwoLevelsOfParents", {0, 0}, false, 0xc0c0c0c0},
                                           RoundTrip{"DirectFormByRoute", {0}, true, 0xa0a0a0a0},
                                           RoundTrip{"CommandFormByRoute", {1}, true, 0xb0b0b0b0}), test::byName);

// A chain is at most as deep as a route has hops. Up to that depth a chain
// below far router C is set up level by level and fails where nothing
// answers; a deeper one is refused before any access, and however long it
// is, it is neither set up nor let go of by one level nesting the next.
struct ChainDepth {
  uint32_t levels;
  Status status;
  bool accesses;
};

class RemoteChain : public ::testing::TestWithParam<ChainDepth> {};

TEST_P(RemoteChain, IsAsDeepAsARoute) {
  ScopedHost host(test::fixtureHost("rich.json"));
  const ChainDepth& c = GetParam();
  auto handle = remoteThrough(std::vector<uint32_t>(c.levels, 0));
  uint32_t value = 0;
  EXPECT_EQ(handle->configReadWithPort(0, kDeviceSpace, kProbeIndex, value), c.status);
  EXPECT_EQ(host.sim().configAccessCount() > 0, c.accesses);
}

INSTANTIATE_TEST_SUITE_P(Levels, RemoteChain,
                         ::testing::Values(ChainDepth{6, status::kNotFound, true},
                                           ChainDepth{7, status::kNotFound, true},
                                           ChainDepth{8, status::kBadArgument, false}),
                         [](const ::testing::TestParamInfo<ChainDepth>& info) {
                           return "Levels" + std::to_string(info.param.levels);
                         });

// A remote handle whose parent, router 0x1, has no link controller.
class PlainParent : public ::testing::Test {
 protected:
  std::unique_ptr<RemoteRouterHandle> handleOnParent() {
    auto handle = RemoteRouterHandle::remoteRouterHandle();
    handle->setParentRouterHandle(localHandle(0x1));
    host_.sim().resetCounters();
    host_.sim().clearOutput();
    return handle;
  }
  ScopedHost host_{hostWithRouters({0x0, 0x1}).dump()};
};

// A parent whose identity double word is one of a port micro-controller has
// no mailbox: nothing is transferred and the bridge is unsupported. Only the
// whole double word counts.
TEST_F(PlainParent, PortMicroModeRefusesWithoutTransfers) {
  for (auto [identity, portMicroMode] : {std::pair<uint32_t, bool>{0x1513, true}, {0x15138086, false}}) {
    host_.sim().poke(0, 0x1, 0, kDeviceSpace, 0, identity);
    auto handle = handleOnParent();
    uint32_t value = 7;
    // Without port micro mode the parent still has no link controller.
    EXPECT_EQ(handle->configReadWithPort(0, kDeviceSpace, 0, value),
              portMicroMode ? status::kUnsupported : status::kNotFound);
    EXPECT_EQ(handle->portMicroMode(), portMicroMode) << std::hex << identity;
    EXPECT_EQ(value, 7u);
    EXPECT_EQ(host_.sim().configWriteCount(), 0u);
    EXPECT_EQ(host_.sim().logLines().at(0), textf("RemoteRouterHandle - initializeIECS - portMicroMode = %d", portMicroMode));
  }
}

// Router 0x1 with a link controller at 0x8 announcing three mailboxes 0x40
// apart from lcOffset 0x10, and IECS device 1 on bus 2 as a plain register
// file; device 2 on bus 2 reports an error, device 3 keeps the mailbox busy.
class Mailbox : public ::testing::Test {
 protected:
  static std::string mailboxHost() {
    nlohmann::json json = hostWithRouters({0x0, 0x1});
    routerOf(json, 0x1)["device-space"] = {{"0", "0x15ef8086"}, {"1", "0x108"}, {"8", "0x20060500"}, {"10", "0x00400803"}};
    routerOf(json, 0x1)["iecs"] = {{"2/1", nlohmann::json::object()}};
    json["faults"] = {{{"op", "lc-mailbox"}, {"bus", 2}, {"device", 2}, {"status", "0xe00002e9"}},
                      {{"op", "lc-mailbox"}, {"bus", 2}, {"device", 3}, {"status", "0xe00002d6"}}};
    return json.dump();
  }
  void SetUp() override {
    handle_->setParentRouterHandle(localHandle(0x1));
    handle_->setBus(2);
    ASSERT_EQ(handle_->initializeIECS(), status::kSuccess);
  }
  static constexpr uint32_t kBase = 0x10 + 2 * 0x40;
  ScopedHost host_{mailboxHost()};
  std::unique_ptr<RemoteRouterHandle> handle_ = RemoteRouterHandle::remoteRouterHandle();
};

TEST_F(Mailbox, FiveByteWriteSendsAllSixteenDataWords) {
  EXPECT_EQ(std::pair(handle_->lcHeader(), handle_->lcCount()), std::pair(0x8u, 3u));
  host_.sim().setAccessLogEnabled(true);
  const std::vector<uint8_t> data = {0x11, 0x22, 0x33, 0x44, 0x55};
  ASSERT_EQ(handle_->lcIECSWriteWithDevice(1, 4, 5, data.data()), status::kSuccess);
  std::vector<uint32_t> written;
  for (const sim::AccessRecord& r : host_.sim().accessLog())
    if (r.kind == sim::AccessKind::ConfigWrite) written.push_back(r.index);
  std::vector<uint32_t> expected;
  for (uint32_t i = 0; i < 16; ++i) expected.push_back(kBase + 100 + i);
  expected.push_back(kBase + 99);
  EXPECT_EQ(written, expected);
  EXPECT_EQ(host_.sim().peek(0, 0x1, 0, kDeviceSpace, kBase + 99) & 0x7FFFFFFF, 0x40850401u)
      << "write, length 5, offset 4, device code 1, busy bit clear";
  EXPECT_EQ(host_.sim().router(0, 0x1)->iecsRegisterFile(2, 1)->bytes().read(4, 6),
            (std::vector<uint8_t>{0x11, 0x22, 0x33, 0x44, 0x55, 0}));
  std::vector<uint8_t> back(5);
  ASSERT_EQ(handle_->lcIECSReadWithDevice(1, 4, 5, back.data()), status::kSuccess);
  EXPECT_EQ(back, data);
}

TEST_F(Mailbox, TransferStatuses) {
  struct Case {
    uint32_t bus, device, length;
    Status status;
    uint64_t commandPolls;  // 0: refused before any access
  };
  const Case cases[] = {
      {2, 4, 4, status::kBadArgument, 0},    {2, 1, 65, status::kBadArgument, 0},
      {2, 1, 64, status::kSuccess, 2},       // busy at the first poll, done 10 ms later
      {1, 1, 4, status::kNotResponding, 2},  // nothing on bus 1: bit 25
      {2, 2, 4, status::kDeviceError, 2},    // the fault sets bit 24
      {2, 3, 4, status::kTimeout, 50},       // the fault keeps the mailbox busy
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "bus " << c.bus << " device " << c.device << " length " << c.length);
    host_.sim().resetCounters();
    handle_->setBus(c.bus);
    uint8_t data[65] = {};
    EXPECT_EQ(handle_->lcIECSReadWithDevice(c.device, 0, c.length, data), c.status);
    EXPECT_EQ(host_.sim().configReadsOf(0x1, 0, kDeviceSpace, 0x10 + c.bus * 0x40 + 99), c.commandPolls);
    if (c.commandPolls == 0) {
      EXPECT_EQ(host_.sim().configAccessCount(), 0u);
    }
  }
}

}  // namespace
}  // namespace tbt
