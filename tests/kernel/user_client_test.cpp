#include <gtest/gtest.h>

#include <vector>

#include "kernel/config_space.h"
#include "kernel/user_client.h"
#include "platform/registry_keys.h"
#include "support/param_names.h"
#include "support/scoped_host.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::routerOf;
using test::ScopedHost;

// The user client of the first controller, opened afresh.
struct Opened {
  ThunderboltKernelUserClient client;
  Status status;
  Opened() : status(client.createUserClientForService(registry().matching(kControllerClass).at(0))) {}
};

// Values round-trip whole (the simulated interface is big-endian, so a
// swapped value would not), IECS requests carry the mode the driver expects
// for the bus (the simulation refuses any other), and the I2C register offset
// goes out ahead of the data.
TEST(KernelUserClient, TransfersReachTheDevices) {
  constexpr uint64_t kRoute = 0x3f;  // behind adapter 63, the highest a route's hop can name
  nlohmann::json json = hostWithRouters({0x0, kRoute});
  for (const char* bus : {"9/1", "10/1", "11/1"}) routerOf(json, kRoute)["iecs"][bus] = {{"36", "0102"}};
  routerOf(json, kRoute)["i2c"] = {{"0x50", {{"4", "a0a1a2"}}}};
  ScopedHost host(json.dump());
  Opened opened;
  host.sim().poke(0, kRoute, 0, kDeviceSpace, 5, 0x12345678);
  uint32_t value = 0;
  ASSERT_EQ(opened.client.configReadWithRoute(kRoute, 0, kDeviceSpace, 5, value), status::kSuccess);
  EXPECT_EQ(value, 0x12345678u);
  ASSERT_EQ(opened.client.configWriteWithRoute(kRoute, 0, kDeviceSpace, 6, 0xA1B2C3D4), status::kSuccess);
  EXPECT_EQ(host.sim().peek(0, kRoute, 0, kDeviceSpace, 6), 0xA1B2C3D4u);
  uint8_t bytes[3] = {};
  // Buses up to 10 go out in one mode, those above in the other; a write is read back.
  for (uint32_t bus : {9u, 10u, 11u}) {
    const uint8_t change = static_cast<uint8_t>(0x50 + bus);
    ASSERT_EQ(opened.client.iecsWrite(kRoute, bus, 1, 36, 1, &change), status::kSuccess) << bus;
    ASSERT_EQ(opened.client.iecsRead(kRoute, bus, 1, 36, 2, bytes), status::kSuccess) << bus;
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 2), (std::vector<uint8_t>{change, 0x02})) << bus;
  }
  const uint8_t written[2] = {0x77, 0x88};
  ASSERT_EQ(opened.client.i2cWrite(kRoute, 0x50, 4, 2, written), status::kSuccess);
  ASSERT_EQ(opened.client.i2cRead(kRoute, 0x50, 4, 3, bytes), status::kSuccess);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 3), (std::vector<uint8_t>{0x77, 0x88, 0xA2}));
  EXPECT_EQ(opened.client.iecsRead(kRoute, 1, 2, 0, 1, bytes), status::kNotResponding);
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
                      OpeningCase{"Fifteen", R"({"UID": "0xffffffffffffffff"})", 2, status::kSuccess, 15},
                      OpeningCase{"VersionOneOnly", R"({"UID": "0x3"})", 1, status::kSuccess, 3},
                      OpeningCase{"NoUID", R"({"UID": null})", 2, status::kGeneralFailure, 0},
                      OpeningCase{"NoRouters", nullptr, 2, status::kNotFound, 0}), test::byName);

}  // namespace
}  // namespace tbt
