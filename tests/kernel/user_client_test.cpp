#include <gtest/gtest.h>

#include <vector>

#include "kernel/config_space.h"
#include "kernel/user_client.h"
#include "platform/registry_keys.h"
#include "support/scoped_host.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::routerOf;
using test::ScopedHost;

// What crossed the device interface, seen from above the simulation: the
// IECS bus and mode, and configuration data as it travelled.
struct Crossing {
  uint32_t bus = 0, direction = 0, mode = 0;
  std::vector<uint8_t> buffer;
};

// Passes every device-interface call through to the simulated one and
// records what it saw. The simulation's own access log has no IECS mode.
struct RecordingInterface : DeviceInterface {
  std::unique_ptr<DeviceInterface> inner;
  std::vector<Crossing>& log;
  RecordingInterface(std::unique_ptr<DeviceInterface> i, std::vector<Crossing>& l) : inner(std::move(i)), log(l) {}
  Status configRead(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t count,
                    uint8_t* buffer) override {
    Status s = inner->configRead(route, port, space, index, count, buffer);
    log.push_back({0, 0, 0, {buffer, buffer + 4 * count}});
    return s;
  }
  Status configWrite(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t count,
                     const uint8_t* buffer) override {
    log.push_back({0, 0, 0, {buffer, buffer + 4 * count}});
    return inner->configWrite(route, port, space, index, count, buffer);
  }
  Status rescanBus() override { return inner->rescanBus(); }
  Status i2cTransaction(uint64_t route, uint8_t address, uint32_t writeLength, const uint8_t* writeBuffer,
                        uint32_t readLength, uint8_t* readBuffer) override {
    return inner->i2cTransaction(route, address, writeLength, writeBuffer, readLength, readBuffer);
  }
  Status iecsTransaction(uint64_t route, uint32_t bus, uint32_t device, uint8_t offset, uint32_t length,
                         uint8_t* buffer, uint32_t direction, uint32_t mode) override {
    log.push_back({bus, direction, mode, {}});
    return inner->iecsTransaction(route, bus, device, offset, length, buffer, direction, mode);
  }
};

struct RecordingPlugIn : ControllerPlugIn {
  std::unique_ptr<ControllerPlugIn> inner;
  std::vector<Crossing>& log;
  RecordingPlugIn(std::unique_ptr<ControllerPlugIn> i, std::vector<Crossing>& l) : inner(std::move(i)), log(l) {}
  std::unique_ptr<DeviceInterface> queryInterface(uint32_t version) override {
    auto device = inner->queryInterface(version);
    return device ? std::make_unique<RecordingInterface>(std::move(device), log) : nullptr;
  }
};

struct RecordingPlatform : Platform, ControllerDriver {
  std::unique_ptr<sim::SimPlatform> inner;
  std::vector<Crossing>& log;
  RecordingPlatform(std::unique_ptr<sim::SimPlatform> i, std::vector<Crossing>& l) : inner(std::move(i)), log(l) {}
  Registry& registry() override { return inner->registry(); }
  HostServices& host() override { return inner->host(); }
  ControllerDriver& controllerDriver() override { return *this; }
  Status createPlugIn(const RegistryEntry& controller, std::unique_ptr<ControllerPlugIn>& out) override {
    std::unique_ptr<ControllerPlugIn> plugIn;
    Status s = inner->controllerDriver().createPlugIn(controller, plugIn);
    if (plugIn) out = std::make_unique<RecordingPlugIn>(std::move(plugIn), log);
    return s;
  }
};

test::PlatformWrapper recordingInto(std::vector<Crossing>& log) {
  return [&log](std::unique_ptr<sim::SimPlatform> p) { return std::make_unique<RecordingPlatform>(std::move(p), log); };
}

// The user client of the first controller, opened afresh.
struct Opened {
  ThunderboltKernelUserClient client;
  Status status;
  Opened() : status(client.createUserClientForService(registry().matching(kControllerClass).at(0))) {}
};

TEST(KernelUserClient, ConfigDataTravelsBigEndian) {
  std::vector<Crossing> log;
  ScopedHost host(hostWithRouters({0x0, 0x1}).dump(), recordingInto(log));
  Opened opened;
  host.sim().poke(0, 0x1, 0, kDeviceSpace, 5, 0x12345678);
  uint32_t value = 0;
  ASSERT_EQ(opened.client.configReadWithRoute(0x1, 0, kDeviceSpace, 5, value), status::kSuccess);
  EXPECT_EQ(value, 0x12345678u);
  ASSERT_EQ(opened.client.configWriteWithRoute(0x1, 0, kDeviceSpace, 6, 0xA1B2C3D4), status::kSuccess);
  EXPECT_EQ(host.sim().peek(0, 0x1, 0, kDeviceSpace, 6), 0xA1B2C3D4u);
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].buffer, (std::vector<uint8_t>{0x12, 0x34, 0x56, 0x78}));
  EXPECT_EQ(log[1].buffer, (std::vector<uint8_t>{0xA1, 0xB2, 0xC3, 0xD4}));
}

TEST(KernelUserClient, IecsModeFollowsTheBus) {
  std::vector<Crossing> log;
  ScopedHost host(hostWithRouters({0x0}).dump(), recordingInto(log));
  Opened opened;
  uint8_t byte = 0x5A;
  for (auto [bus, mode] : {std::pair<uint32_t, uint32_t>{0, 2}, {10, 2}, {11, 1}, {12, 1}}) {
    log.clear();
    opened.client.iecsWrite(0, bus, 1, 0x24, 1, &byte);
    opened.client.iecsRead(0, bus, 1, 0x24, 1, &byte);
    ASSERT_EQ(log.size(), 2u);
    for (const Crossing& c : log) EXPECT_EQ(std::pair(c.bus, c.mode), std::pair(bus, mode));
    EXPECT_EQ(log[0].direction, kIecsDirectionWrite);
    EXPECT_EQ(log[1].direction, kIecsDirectionRead);
  }
}

TEST(KernelUserClient, TransfersReachTheDevices) {
  nlohmann::json json = hostWithRouters({0x0, 0x1});
  routerOf(json, 0x1)["iecs"] = {{"1/1", {{"36", "0102"}}}};
  routerOf(json, 0x1)["i2c"] = {{"0x50", {{"4", "a0a1a2"}}}};
  ScopedHost host(json.dump());
  Opened opened;
  uint8_t bytes[3] = {};
  ASSERT_EQ(opened.client.iecsRead(0x1, 1, 1, 36, 2, bytes), status::kSuccess);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 2), (std::vector<uint8_t>{0x01, 0x02}));
  // The register offset goes out ahead of the data.
  const uint8_t written[2] = {0x77, 0x88};
  ASSERT_EQ(opened.client.i2cWrite(0x1, 0x50, 4, 2, written), status::kSuccess);
  ASSERT_EQ(opened.client.i2cRead(0x1, 0x50, 4, 3, bytes), status::kSuccess);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 3), (std::vector<uint8_t>{0x77, 0x88, 0xA2}));
  EXPECT_EQ(opened.client.iecsRead(0x1, 1, 2, 0, 1, bytes), status::kNotResponding);
}

struct OpeningCase {
  const char* name;
  const char* hostSwitchRegistry;  // the host switch's "registry" object; null: a controller without routers
  uint32_t interfaceVersion;       // the newest device interface the controller offers
  Status status;
  uint8_t routerID;
};

class KernelUserClientOpening : public ::testing::TestWithParam<OpeningCase> {};

// The router ID comes from the root switch's UID, and the newest device
// interface is taken; the first version works but for IECS.
TEST_P(KernelUserClientOpening, ReadsTheRouterIDAndTakesTheNewestInterface) {
  const OpeningCase& c = GetParam();
  nlohmann::json json = hostWithRouters({0x0}, 0, c.interfaceVersion);
  if (c.hostSwitchRegistry)
    routerOf(json, 0x0)["registry"] = nlohmann::json::parse(c.hostSwitchRegistry);
  else
    json["controllers"][0]["routers"] = nlohmann::json::array();
  ScopedHost host(json.dump());
  Opened opened;
  const bool opens = c.status == status::kSuccess;
  EXPECT_EQ(opened.status, c.status);
  EXPECT_EQ(opened.client.userClientActive(), opens);
  uint32_t value = 0;
  EXPECT_EQ(opened.client.configReadWithRoute(0, 0, kDeviceSpace, 0, value),
            opens ? status::kSuccess : status::kGeneralFailure);
  if (!opens) return;
  EXPECT_EQ(opened.client.routerID(), c.routerID);
  EXPECT_EQ(opened.client.version(), c.interfaceVersion);
  uint8_t byte = 0;
  const Status iecs = c.interfaceVersion == kDeviceInterfaceV1 ? status::kUnsupported : status::kNotResponding;
  EXPECT_EQ(opened.client.iecsRead(0, 1, 1, 0, 1, &byte), iecs);
  EXPECT_EQ(opened.client.iecsWrite(0, 1, 1, 0, 1, &byte), iecs);
}

INSTANTIATE_TEST_SUITE_P(
    , KernelUserClientOpening,
    ::testing::Values(OpeningCase{"LowNibble", R"({"UID": "0x1234"})", 2, status::kSuccess, 4},
                      OpeningCase{"Zero", R"({"UID": 0})", 2, status::kSuccess, 0},
                      OpeningCase{"Fifteen", R"({"UID": "0xffffffffffffffff"})", 2, status::kSuccess, 15},
                      OpeningCase{"VersionOneOnly", R"({"UID": "0x3"})", 1, status::kSuccess, 3},
                      OpeningCase{"NoUID", R"({"UID": null})", 2, status::kGeneralFailure, 0},
                      OpeningCase{"NoRouters", nullptr, 2, status::kNotFound, 0}),
    [](const auto& info) { return std::string(info.param.name); });

// The idle timer is a firing date that accesses push back; when it fires the
// connection closes, and the next access reopens it through the stored
// controller with the same router ID.
TEST(KernelUserClient, IdleTimerClosesAndAnAccessReopens) {
  ScopedHost host(hostWithRouters({0x0}, 0x3).dump());
  EXPECT_FALSE(Opened().client.powerSavingsTimerFireDate());
  ThunderboltKernelUserClient::setPowerSavings(true);
  Opened opened;
  ThunderboltKernelUserClient::setPowerSavings(false);
  const uint64_t opening = host.sim().nowMicroseconds();
  EXPECT_EQ(opened.client.powerSavingsTimerFireDate(), opening + 5'000'000);
  host.sim().advance(1'000'000);
  uint32_t value = 0;
  opened.client.configReadWithRoute(0, 0, kDeviceSpace, 0, value);
  EXPECT_EQ(opened.client.powerSavingsTimerFireDate(), opening + 6'000'000);
  opened.client.powerSavingsTimerIntervalExpired();
  opened.client.destroyUserClient();  // closing twice is harmless
  EXPECT_FALSE(opened.client.userClientActive());
  EXPECT_FALSE(opened.client.powerSavingsTimerFireDate());
  host.sim().poke(0, 0, 0, kDeviceSpace, 9, 0xCAFE);
  EXPECT_EQ(opened.client.configReadWithRoute(0, 0, kDeviceSpace, 9, value), status::kSuccess);
  EXPECT_EQ(value, 0xCAFEu);
  EXPECT_TRUE(opened.client.userClientActive());
  EXPECT_EQ(opened.client.routerID(), 3);
}

}  // namespace
}  // namespace tbt
