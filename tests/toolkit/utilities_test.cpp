#include <gtest/gtest.h>

#include "kernel/config_space.h"
#include "kernel/user_client_manager.h"
#include "support/scoped_host.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::routerOf;
using test::ScopedHost;
using test::switchEntry;

TEST(UtilitiesCore, RouterIDKeepsItsLowEightBits) {
  ScopedHost host(hostWithRouters({0x0, 0x1}, 0x5).dump());
  host.sim().poke(0, 0x1, 0, kDeviceSpace, 4, 0x1234);
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  uint32_t value = 0;
  EXPECT_EQ(utils.configReadWithRouterID(0x105, 0x1, 0, kDeviceSpace, 4, value), status::kSuccess);
  EXPECT_EQ(value, 0x1234u);
  EXPECT_EQ(utils.configWriteWithRouterID(0x205, 0x1, 0, kDeviceSpace, 4, 0x99), status::kSuccess);
  EXPECT_EQ(host.sim().peek(0, 0x1, 0, kDeviceSpace, 4), 0x99u);
  EXPECT_EQ(utils.configReadWithRouterID(0x6, 0x1, 0, kDeviceSpace, 4, value), status::kNotFound);
  EXPECT_EQ(value, 0x1234u);
}

TEST(UtilitiesCore, I2cAndIecsWithoutAUserClientDoNothing) {
  ScopedHost host(hostWithRouters({0x0}).dump());
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  LocalRouterHandle handle;
  handle.setRouterID(9);
  uint8_t bytes[4] = {1, 2, 3, 4};
  EXPECT_EQ(utils.i2cWriteWithLocalRouterHandle(handle, 0x50, 0, 4, bytes), status::kSuccess);
  EXPECT_EQ(utils.i2cReadWithLocalRouterHandle(handle, 0x50, 0, 4, bytes), status::kSuccess);
  EXPECT_EQ(utils.iecsWriteWithLocalRouterHandle(handle, 1, 1, 0, 4, bytes), status::kSuccess);
  EXPECT_EQ(utils.iecsReadWithLocalRouterHandle(handle, 1, 1, 0, 4, bytes), status::kSuccess);
  EXPECT_EQ(bytes[3], 4);
  EXPECT_TRUE(utils.makeUserClientActiveForRID(9));
  EXPECT_EQ(host.sim().i2cAccessCount() + host.sim().iecsAccessCount(), 0u);
  // With the user client present, the same calls reach the devices.
  handle.setRouterID(0);
  EXPECT_EQ(utils.iecsReadWithLocalRouterHandle(handle, 1, 1, 0, 4, bytes), status::kNotResponding);
}

TEST(UtilitiesCore, HostSwitchOfAnEntry) {
  nlohmann::json json = hostWithRouters({0x0, 0x1, 0x301}, 0x1234);
  routerOf(json, 0x1)["registry"] = {{"Route String", nullptr}};
  ScopedHost host(json.dump());
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  auto display = utils.routerHandleFromRegistryEntry(switchEntry(0x301));
  ASSERT_TRUE(display);
  EXPECT_EQ(display->route(), 0x301u);
  EXPECT_EQ(display->routerID(), 4);
  // The switch at 0x1 has lost its route string.
  auto unnamed = utils.routerHandleFromRegistryEntry(switchEntry(kNoRoute));
  ASSERT_TRUE(unnamed);
  EXPECT_EQ(unnamed->route(), kNoRoute);
  // Neither the registry root nor the host switch itself has a host switch above it.
  for (const RegistryEntry& entry : {registry().root(), switchEntry(0x0), RegistryEntry()})
    EXPECT_EQ(utils.routerHandleFromRegistryEntry(entry), nullptr);
  EXPECT_EQ(ThunderboltUserClientUtils::sharedInstanceForEntry(registry().root()), nullptr);

  // Binding to an entry's or a router ID's controller reopens a closed user client.
  ThunderboltKernelUserClient* client = ThunderboltUserClientManager::sharedInstance().userClientForRouterID(4);
  ASSERT_NE(client, nullptr);
  client->destroyUserClient();
  EXPECT_EQ(ThunderboltUserClientUtils::sharedInstanceForEntry(switchEntry(0x301)), &utils);
  EXPECT_TRUE(client->userClientActive());
  client->destroyUserClient();
  EXPECT_EQ(&ThunderboltUserClientUtils::sharedInstanceForRID(4), &utils);
  EXPECT_TRUE(client->userClientActive());
}

}  // namespace
}  // namespace tbt
