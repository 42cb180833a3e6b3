#include <gtest/gtest.h>

#include <vector>

#include "kernel/config_space.h"
#include "kernel/user_client.h"
#include "kernel/user_client_manager.h"
#include "support/scoped_host.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::routerOf;
using test::ScopedHost;

// What crossed the device interface, seen from above the simulation.
struct Crossing {
  uint32_t bus = 0, direction = 0, mode = 0;
  std::vector<uint8_t> buffer;  // configuration data as it travelled
};

// Passes every device-interface call through to the simulated one and keeps
// the IECS arguments and configuration buffers it saw.
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
  Opened() : status(client.createUserClientForService(registry().matching("IOThunderboltController").at(0))) {}
};

TEST(KernelUserClient, ConfigDataTravelsBigEndian) {
  std::vector<Crossing> log;
  ScopedHost host(hostWithRouters({0x0, 0x1}).dump(), recordingInto(log));
  Opened opened;
  ASSERT_EQ(opened.status, status::kSuccess);
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
  for (uint32_t bus : {0u, 10u, 11u, 12u}) {
    opened.client.iecsWrite(0, bus, 1, 0x24, 1, &byte);
    opened.client.iecsRead(0, bus, 1, 0x24, 1, &byte);
  }
  const std::vector<std::pair<uint32_t, uint32_t>> expected = {{0, 2},  {0, 2},  {10, 2}, {10, 2},
                                                               {11, 1}, {11, 1}, {12, 1}, {12, 1}};
  ASSERT_EQ(log.size(), expected.size());
  for (size_t i = 0; i < log.size(); ++i) {
    EXPECT_EQ(log[i].bus, expected[i].first) << i;
    EXPECT_EQ(log[i].mode, expected[i].second) << i;
    EXPECT_EQ(log[i].direction, i % 2 == 0 ? kIecsDirectionWrite : kIecsDirectionRead) << i;
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
  EXPECT_EQ(bytes[0], 0x01);
  EXPECT_EQ(bytes[1], 0x02);
  ASSERT_EQ(opened.client.i2cRead(0x1, 0x50, 5, 2, bytes), status::kSuccess);
  EXPECT_EQ(bytes[0], 0xA1);
  const uint8_t written[2] = {0x77, 0x88};
  ASSERT_EQ(opened.client.i2cWrite(0x1, 0x50, 4, 2, written), status::kSuccess);
  ASSERT_EQ(opened.client.i2cRead(0x1, 0x50, 4, 3, bytes), status::kSuccess);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 3), (std::vector<uint8_t>{0x77, 0x88, 0xA2}));
  EXPECT_EQ(opened.client.iecsRead(0x1, 1, 2, 0, 1, bytes), status::kNotResponding);
}

TEST(KernelUserClient, VersionOneInterfaceRefusesIecsOnly) {
  ScopedHost host(hostWithRouters({0x0}, 0, 1).dump());
  Opened opened;
  ASSERT_EQ(opened.status, status::kSuccess);
  EXPECT_EQ(opened.client.version(), kDeviceInterfaceV1);
  uint32_t value = 0;
  EXPECT_EQ(opened.client.configReadWithRoute(0, 0, kDeviceSpace, 0, value), status::kSuccess);
  uint8_t byte = 0;
  EXPECT_EQ(opened.client.iecsRead(0, 1, 1, 0, 1, &byte), status::kUnsupported);
  EXPECT_EQ(opened.client.iecsWrite(0, 1, 1, 0, 1, &byte), status::kUnsupported);
  EXPECT_EQ(host.sim().iecsAccessCount(), 0u);
}

struct OpeningCase {
  const char* name;
  const char* hostSwitchRegistry;  // the host switch's "registry" object
  Status status;
  uint8_t routerID;
};

class KernelUserClientOpening : public ::testing::TestWithParam<OpeningCase> {};

TEST_P(KernelUserClientOpening, ReadsTheRouterIDFromTheRootSwitch) {
  nlohmann::json json = hostWithRouters({0x0});
  routerOf(json, 0x0)["registry"] = nlohmann::json::parse(GetParam().hostSwitchRegistry);
  ScopedHost host(json.dump());
  Opened opened;
  EXPECT_EQ(opened.status, GetParam().status);
  EXPECT_EQ(opened.client.userClientActive(), GetParam().status == status::kSuccess);
  if (GetParam().status == status::kSuccess) {
    EXPECT_EQ(opened.client.routerID(), GetParam().routerID);
    EXPECT_EQ(opened.client.version(), kDeviceInterfaceV2);
  }
}

INSTANTIATE_TEST_SUITE_P(, KernelUserClientOpening,
                         ::testing::Values(OpeningCase{"LowNibble", R"({"UID": "0x1234"})", status::kSuccess, 4},
                                           OpeningCase{"Zero", R"({"UID": 0})", status::kSuccess, 0},
                                           OpeningCase{"Fifteen", R"({"UID": "0xffffffffffffffff"})",
                                                       status::kSuccess, 15},
                                           OpeningCase{"NoUID", R"({"UID": null})", status::kGeneralFailure, 0}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(KernelUserClient, AControllerWithoutRoutersIsNotFound) {
  ScopedHost host(R"({"controllers": [{"routers": []}]})");
  auto controllers = registry().matching("IOThunderboltController");
  ASSERT_EQ(controllers.size(), 1u);
  ThunderboltKernelUserClient client;
  EXPECT_EQ(client.createUserClientForService(controllers[0]), status::kNotFound);
  EXPECT_FALSE(client.userClientActive());
  uint32_t value = 0;
  EXPECT_EQ(client.configReadWithRoute(0, 0, kDeviceSpace, 0, value), status::kGeneralFailure);
}

TEST(KernelUserClient, ReopensThroughTheStoredController) {
  ScopedHost host(hostWithRouters({0x0}, 0x3).dump());
  Opened opened;
  opened.client.destroyUserClient();
  opened.client.destroyUserClient();  // closing twice is harmless
  EXPECT_FALSE(opened.client.userClientActive());
  host.sim().poke(0, 0, 0, kDeviceSpace, 9, 0xCAFE);
  uint32_t value = 0;
  EXPECT_EQ(opened.client.configReadWithRoute(0, 0, kDeviceSpace, 9, value), status::kSuccess);
  EXPECT_EQ(value, 0xCAFEu);
  EXPECT_TRUE(opened.client.userClientActive());
  EXPECT_EQ(opened.client.routerID(), 3);
}

TEST(KernelUserClient, IdleTimerIsAFiringDateThatAccessesPushBack) {
  ScopedHost host(hostWithRouters({0x0}).dump());
  {
    Opened withoutPowerSavings;
    EXPECT_FALSE(withoutPowerSavings.client.powerSavingsTimerFireDate());
  }
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
  EXPECT_FALSE(opened.client.userClientActive());
  EXPECT_FALSE(opened.client.powerSavingsTimerFireDate());
  EXPECT_EQ(opened.client.makeActive(), status::kSuccess);
}

}  // namespace
}  // namespace tbt
