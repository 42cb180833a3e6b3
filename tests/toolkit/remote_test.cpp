#include <gtest/gtest.h>

#include <vector>

#include "kernel/config_space.h"
#include "sim/config_bridge_model.h"
#include "support/topology_builder.h"
#include "toolkit/remote_router_handle.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

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

sim::Router& farRouterThrough(sim::SimHost& hw, const std::vector<uint32_t>& buses) {
  sim::Router* router = hw.router(0, kParentRoute);
  for (uint32_t bus : buses) router = sim::farRouter(*router, bus);
  return *router;
}

struct RoundTrip {
  const char* name;
  std::vector<uint32_t> buses;
  uint32_t probe;
};

class RemoteRoundTrip : public ::testing::TestWithParam<RoundTrip> {
 protected:
  ScopedHost host_{test::fixtureHost("rich.json")};
};

TEST_P(RemoteRoundTrip, ThroughTheParentsMailboxes) {
  auto handle = remoteThrough(GetParam().buses);
  uint32_t value = 0;
  ASSERT_EQ(handle->configReadWithPort(0, kDeviceSpace, kProbeIndex, value), status::kSuccess);
  EXPECT_EQ(value, GetParam().probe);
  ASSERT_EQ(handle->configWriteWithPort(3, kPortSpace, 5, 0x12345678), status::kSuccess);
  EXPECT_EQ(farRouterThrough(host_.sim(), GetParam().buses).peek(3, kPortSpace, 5), 0x12345678u);
  value = 0;
  EXPECT_EQ(handle->configReadWithPort(3, kPortSpace, 5, value), status::kSuccess);
  EXPECT_EQ(value, 0x12345678u);
}

INSTANTIATE_TEST_SUITE_P(Bridges, RemoteRoundTrip,
                         ::testing::Values(RoundTrip{"DirectForm", {0}, 0xa0a0a0a0},
                                           RoundTrip{"CommandForm", {1}, 0xb0b0b0b0},
                                           RoundTrip{"TwoLevelsOfParents", {0, 0}, 0xc0c0c0c0}),
                         [](const ::testing::TestParamInfo<RoundTrip>& info) { return info.param.name; });

// The same bridges reached with the user client's own IECS transfers.
TEST(RemoteByRoute, BothBridgeForms) {
  ScopedHost host(test::fixtureHost("rich.json"));
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  for (auto [bus, probe] : {std::pair<uint32_t, uint32_t>{0, 0xa0a0a0a0}, {1, 0xb0b0b0b0}}) {
    uint32_t value = 0;
    ASSERT_EQ(utils.iecsRemoteConfigReadWithRoute(kParentRoute, bus, 0, kDeviceSpace, kProbeIndex, value),
              status::kSuccess);
    EXPECT_EQ(value, probe);
    ASSERT_EQ(utils.iecsRemoteConfigWriteWithRoute(kParentRoute, bus, 2, kCounterSpace, 7, 0xCAFE + bus),
              status::kSuccess);
    EXPECT_EQ(farRouterThrough(host.sim(), {bus}).peek(2, kCounterSpace, 7), 0xCAFE + bus);
  }
  uint32_t value = 0;
  EXPECT_EQ(utils.iecsRemoteConfigReadWithRoute(0x301, 0, 0, kDeviceSpace, 0, value), status::kNotResponding)
      << "no bridge there";
}

TEST(RemoteByRoute, OnlyThroughRouterIDZero) {
  ScopedHost host(test::hostWithRouters({0x0}, /*uid=*/1).dump());
  uint32_t value = 0;
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  EXPECT_EQ(utils.iecsRemoteConfigReadWithRoute(0, 0, 0, kDeviceSpace, 0, value), status::kGeneralFailure);
  EXPECT_EQ(utils.iecsRemoteConfigWriteWithRoute(0, 0, 0, kDeviceSpace, 0, value), status::kGeneralFailure);
  EXPECT_EQ(host.sim().iecsAccessCount(), 0u);
}

// A router behind a bridge is described inside its parent's object; the
// host file is checked down to the far router, with one line per error.
TEST(BridgeHostFile, ErrorsNameTheKey) {
  struct Case {
    nlohmann::json bridges;
    const char* error;
  };
  const nlohmann::json far = {{"route", "0x0"}};
  const Case cases[] = {
      {{{"0", {{"form", "diagonal"}, {"router", far}}}}, "routers[1].bridges.0.form: must be \"direct\" or \"command\""},
      {{{"0", {{"form", "direct"}}}}, "routers[1].bridges.0.router: required key is missing"},
      {{{"1", {{"form", "direct"}, {"router", far}}}}, "routers[1].bridges.1: bus 1 device 3 is also described in \"iecs\""},
      {{{"0", {{"form", "command"}, {"router", {{"route", "0x0"}, {"bridges", {{"x", {}}}}}}}}},
       "routers[1].bridges.0.router.bridges.x: "},
  };
  for (const Case& c : cases) {
    nlohmann::json json = test::hostWithRouters({0x0, 0x1});
    test::routerOf(json, 0x1)["iecs"] = {{"1/3", nlohmann::json::object()}};
    test::routerOf(json, 0x1)["bridges"] = c.bridges;
    std::string error;
    EXPECT_FALSE(sim::loadHost(json.dump(), &error));
    EXPECT_NE(error.find(c.error), std::string::npos) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
  }
}

// A bridge in the command form whose request never clears: the access gives
// up after exactly 50 polls of offset 16, 10 ms apart.
TEST(RemoteTimeout, CommandFormThatNeverFinishes) {
  nlohmann::json json = nlohmann::json::parse(test::fixtureHost("rich.json"));
  json["faults"] = {{{"op", "config-bridge"}, {"route", "0x1"}, {"bus", 1}}};
  ScopedHost host(json.dump());
  sim::SimHost& hw = host.sim();
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  hw.setAccessLogEnabled(true);
  const uint64_t start = hw.hardwareTimeMicroseconds();
  const uint64_t accessesBefore = hw.iecsAccessCount();
  uint32_t value = 0x5555;
  EXPECT_EQ(utils.iecsRemoteConfigReadWithRoute(kParentRoute, 1, 0, kDeviceSpace, kProbeIndex, value),
            status::kTimeout);
  EXPECT_EQ(value, 0x5555u);
  size_t polls = 0;
  for (const sim::AccessRecord& r : hw.accessLog()) polls += r.kind == sim::AccessKind::IecsRead && r.offset == 16;
  EXPECT_EQ(polls, 50u);
  EXPECT_EQ(hw.hardwareTimeMicroseconds() - start,
            50 * 10'000 + (hw.iecsAccessCount() - accessesBefore) * hw.accessLatencyMicroseconds());

  // Through the mailbox the same 50 polls each become one mailbox read of offset 16.
  hw.clearAccessLog();
  auto handle = remoteThrough({1});
  EXPECT_EQ(handle->configReadWithPort(0, kDeviceSpace, kProbeIndex, value), status::kTimeout);
  const uint32_t commandIndex = handle->lcOffset() + handle->bus() * handle->lcLength() + kMailboxCommandDword;
  polls = 0;
  for (const sim::AccessRecord& r : hw.accessLog())
    polls += r.kind == sim::AccessKind::ConfigWrite && r.index == commandIndex &&
             kMailboxCommand.offset.of(r.value) == 16 && kMailboxCommand.write.of(r.value) == 0;
  EXPECT_EQ(polls, 50u);
}

// A parent whose identity double word is one of a port micro-controller has
// no mailbox: nothing is transferred and the bridge is unsupported. Only the
// whole double word counts.
TEST(RemotePortMicroMode, RefusedWithoutTransfers) {
  struct Case {
    uint32_t identity;
    bool portMicroMode;
  };
  for (Case c : {Case{0x1513, true}, Case{0x151A, true}, Case{0x1549, true}, Case{0, true}, Case{0x15138086, false}}) {
    ScopedHost host(test::hostWithRouters({0x0, 0x1}).dump());
    host.sim().poke(0, 0x1, 0, kDeviceSpace, 0, c.identity);
    auto handle = RemoteRouterHandle::remoteRouterHandle();
    handle->setParentRouterHandle(localHandle(0x1));
    uint32_t value = 7;
    const Status s = handle->configReadWithPort(0, kDeviceSpace, 0, value);
    EXPECT_EQ(handle->portMicroMode(), c.portMicroMode) << std::hex << c.identity;
    EXPECT_EQ(s, c.portMicroMode ? status::kUnsupported : status::kNotFound) << "no link controller otherwise";
    EXPECT_EQ(value, 7u);
    EXPECT_EQ(host.sim().configWriteCount(), 0u);
    const std::vector<std::string>& log = host.sim().logLines();
    EXPECT_EQ(log.at(0), textf("RemoteRouterHandle - initializeIECS - portMicroMode = %d", c.portMicroMode));
  }
}

TEST(RemoteInitialization, TriedOncePerHandle) {
  nlohmann::json json = test::hostWithRouters({0x0, 0x1});
  json["faults"] = {{{"op", "config-read"}, {"route", "0x1"}, {"space", 2}, {"index", 0}, {"times", 1}}};
  ScopedHost host(json.dump());
  auto handle = RemoteRouterHandle::remoteRouterHandle();
  handle->setParentRouterHandle(localHandle(0x1));
  EXPECT_EQ(handle->initializeIECS(), status::kTimeout);
  const uint64_t reads = host.sim().configReadCount();
  EXPECT_EQ(handle->initializeIECS(), status::kSuccess);
  EXPECT_EQ(host.sim().configReadCount(), reads);
  EXPECT_EQ(host.sim().logLines().back(),
            "RemoteRouterHandle - initializeIECS - lcHeader = 0x0 lcOffset = 0x0 lcCount = 0x0 lcLength = 0x0");
}

// Router 0x1 with a link controller at 0x8 announcing three mailboxes 0x40
// apart from lcOffset 0x10, and IECS device 1 on bus 2 as a plain register file.
class Mailbox : public ::testing::Test {
 protected:
  static std::string mailboxHost() {
    nlohmann::json json = test::hostWithRouters({0x0, 0x1});
    test::routerOf(json, 0x1)["device-space"] = {{"0", "0x15ef8086"}, {"1", "0x108"}, {"8", "0x20060500"}, {"10", "0x00400803"}};
    test::routerOf(json, 0x1)["iecs"] = {{"2/1", nlohmann::json::object()}};
    json["faults"] = {{{"op", "lc-mailbox"}, {"bus", 2}, {"device", 2}, {"status", "0xe00002e9"}},
                      {{"op", "lc-mailbox"}, {"bus", 2}, {"device", 3}, {"status", "0xe00002d6"}}};
    return json.dump();
  }
  ScopedHost host_{mailboxHost()};
  std::shared_ptr<RemoteRouterHandle> handle_ = [] {
    auto handle = RemoteRouterHandle::remoteRouterHandle();
    handle->setParentRouterHandle(localHandle(0x1));
    handle->setBus(2);
    return std::shared_ptr<RemoteRouterHandle>(std::move(handle));
  }();
  static constexpr uint32_t kBase = 0x10 + 2 * 0x40;
};

TEST_F(Mailbox, FiveByteWriteSendsAllSixteenDataWords) {
  ASSERT_EQ(handle_->initializeIECS(), status::kSuccess);
  EXPECT_EQ(handle_->lcHeader(), 0x8u);
  EXPECT_EQ(handle_->lcCount(), 3u);
  host_.sim().setAccessLogEnabled(true);
  const uint8_t data[5] = {0x11, 0x22, 0x33, 0x44, 0x55};
  ASSERT_EQ(handle_->lcIECSWriteWithDevice(1, 4, 5, data), status::kSuccess);
  std::vector<uint32_t> written;
  for (const sim::AccessRecord& r : host_.sim().accessLog())
    if (r.kind == sim::AccessKind::ConfigWrite) written.push_back(r.index);
  ASSERT_EQ(written.size(), 17u);
  for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(written[i], kBase + 100 + i);
  EXPECT_EQ(written[16], kBase + 99);
  EXPECT_EQ(host_.sim().peek(0, 0x1, 0, kDeviceSpace, kBase + 100), 0x44332211u);
  EXPECT_EQ(host_.sim().peek(0, 0x1, 0, kDeviceSpace, kBase + 101), 0x55u);
  EXPECT_EQ(host_.sim().peek(0, 0x1, 0, kDeviceSpace, kBase + 99) & 0x7FFFFFFF, 0x40850401u)
      << "write, length 5, offset 4, device code 1, busy bit clear";
  const sim::ByteMemory& file = host_.sim().router(0, 0x1)->iecsRegisterFile(2, 1)->bytes();
  EXPECT_EQ(file.read(4, 6), (std::vector<uint8_t>{0x11, 0x22, 0x33, 0x44, 0x55, 0}));

  uint8_t back[5] = {};
  ASSERT_EQ(handle_->lcIECSReadWithDevice(1, 4, 5, back), status::kSuccess);
  EXPECT_EQ(std::vector<uint8_t>(back, back + 5), std::vector<uint8_t>(data, data + 5));
}

TEST_F(Mailbox, TransferStatuses) {
  ASSERT_EQ(handle_->initializeIECS(), status::kSuccess);
  struct Case {
    uint32_t bus;
    uint32_t device;
    uint32_t length;
    Status status;
    uint64_t commandPolls;
  };
  const Case cases[] = {
      {2, 4, 4, status::kBadArgument, 0},    {2, 1, 65, status::kBadArgument, 0},
      {2, 1, 64, status::kSuccess, 2},       // busy at the first poll, done 10 ms later
      {1, 1, 4, status::kNotResponding, 2},  // nothing on bus 1: bit 25
      {2, 2, 4, status::kDeviceError, 2},    // the fault sets bit 24
      {2, 3, 4, status::kTimeout, 50},       // the fault keeps the mailbox busy
  };
  for (const Case& c : cases) {
    host_.sim().resetCounters();
    handle_->setBus(c.bus);
    uint8_t data[65] = {};
    EXPECT_EQ(handle_->lcIECSReadWithDevice(c.device, 0, c.length, data), c.status) << c.device << "/" << c.length;
    EXPECT_EQ(host_.sim().configReadsOf(0x1, 0, kDeviceSpace, 0x10 + c.bus * 0x40 + 99), c.commandPolls);
    if (c.commandPolls == 0) {
      EXPECT_EQ(host_.sim().configAccessCount(), 0u);
    }
  }
  // The IECS layer above drops the transfer's status: the caller's data is
  // simply left as it was.
  uint8_t data[4] = {9, 9, 9, 9};
  EXPECT_EQ(handle_->iecsReadWithDevice(3, 0, 4, data), status::kSuccess);
  EXPECT_EQ(data[0], 9);
}

}  // namespace
}  // namespace tbt
