#include <gtest/gtest.h>

#include <vector>

#include "kernel/config_space.h"
#include "kernel/user_client_manager.h"
#include "support/scoped_host.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::ScopedHost;

// A host with one controller per UID, in that order; each host router keeps
// its controller's position in device-space double word 9.
std::string hostWithControllers(std::initializer_list<const char*> uids) {
  nlohmann::json host = {{"controllers", nlohmann::json::array()}};
  for (const char* uid : uids) {
    nlohmann::json controller = hostWithRouters({0x0})["controllers"][0];
    controller["routers"][0]["registry"]["UID"] = nlohmann::json::parse(uid);
    controller["routers"][0]["device-space"]["9"] = host["controllers"].size();
    host["controllers"].push_back(controller);
  }
  return host.dump();
}

uint32_t markOf(ThunderboltKernelUserClient* client) {
  uint32_t mark = ~0u;
  if (client) client->configReadWithRoute(0, 0, kDeviceSpace, 9, mark);
  return mark;
}

TEST(UserClientManager, KeepsControllersInRegistryOrder) {
  ScopedHost host(hostWithControllers({"\"0x12\"", "\"0x20\"", "null", "\"0x31\""}));
  auto& manager = ThunderboltUserClientManager::sharedInstance();
  std::vector<uint32_t> routerIDs;
  for (const auto& client : manager.userClientSet()) routerIDs.push_back(client->routerID());
  // The controller without a UID fails to open and is simply absent.
  EXPECT_EQ(routerIDs, (std::vector<uint32_t>{2, 0, 1}));
  EXPECT_EQ(markOf(manager.userClientForRouterID(2)), 0u);
  EXPECT_EQ(markOf(manager.userClientForRouterID(0)), 1u);
  EXPECT_EQ(markOf(manager.userClientForRouterID(1)), 3u);
  EXPECT_EQ(manager.userClientForRouterID(3), nullptr);
}

TEST(UserClientManager, FirstOfTwoEqualRouterIDsWins) {
  ScopedHost host(hostWithControllers({"\"0x13\"", "\"0x23\""}));
  auto& manager = ThunderboltUserClientManager::sharedInstance();
  ASSERT_EQ(manager.userClientSet().size(), 2u);
  EXPECT_EQ(manager.userClientForRouterID(3), manager.userClientSet()[0].get());
  uint32_t mark = ~0u;
  EXPECT_EQ(manager.configReadWithRouterID(3, 0, 0, kDeviceSpace, 9, mark), status::kSuccess);
  EXPECT_EQ(mark, 0u);
}

TEST(UserClientManager, NoControllerMeansNoUserClient) {
  ScopedHost host("{}");
  auto& manager = ThunderboltUserClientManager::sharedInstance();
  EXPECT_TRUE(manager.userClientSet().empty());
  EXPECT_EQ(manager.userClientForRouterID(0), nullptr);
  uint32_t value = 7;
  EXPECT_EQ(manager.configReadWithRouterID(0, 0, 0, kDeviceSpace, 0, value), status::kNotFound);
  EXPECT_EQ(manager.configWriteWithRouterID(0, 0, 0, kDeviceSpace, 0, 1), status::kNotFound);
  EXPECT_EQ(value, 7u);
}

TEST(UserClientManager, EachPlatformGetsAFreshManager) {
  {
    ScopedHost first(hostWithControllers({"0"}));
    EXPECT_EQ(ThunderboltUserClientManager::sharedInstance().userClientSet().size(), 1u);
  }
  ScopedHost second(hostWithControllers({"1", "2"}));
  EXPECT_EQ(ThunderboltUserClientManager::sharedInstance().userClientSet().size(), 2u);
}

}  // namespace
}  // namespace tbt
