#include <gtest/gtest.h>

#include <vector>

#include "kernel/config_space.h"
#include "kernel/user_client_manager.h"
#include "support/scoped_host.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::ScopedHost;

// A host with one controller per host-switch UID (JSON text), in that order;
// each host router keeps its controller's position in device-space double word 9.
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

TEST(UserClientManager, KeepsControllersInRegistryOrderAndTheFirstOfARouterIDWins) {
  ScopedHost host(hostWithControllers({"\"0x12\"", "\"0x20\"", "null", "\"0x31\"", "\"0x22\""}));
  auto& manager = ThunderboltUserClientManager::sharedInstance();
  std::vector<uint32_t> routerIDs;
  for (const auto& client : manager.userClientSet()) routerIDs.push_back(client->routerID());
  // The controller without a UID fails to open and is simply absent.
  EXPECT_EQ(routerIDs, (std::vector<uint32_t>{2, 0, 1, 2}));
  // Router ID 0 is looked up like any other; of the two 2s the first wins;
  // only the low byte of the ID counts, all eight bits of it.
  for (auto [routerID, position] : {std::pair<uint32_t, uint32_t>{2, 0}, {0, 1}, {1, 3}, {0x102, 0}}) {
    uint32_t mark = ~0u;
    EXPECT_EQ(manager.configReadWithRouterID(routerID, 0, 0, kDeviceSpace, 9, mark), status::kSuccess);
    EXPECT_EQ(mark, position) << routerID;
  }
  uint32_t unread = 0;
  EXPECT_EQ(manager.configReadWithRouterID(0x82, 0, 0, kDeviceSpace, 9, unread), status::kNotFound);
  EXPECT_EQ(manager.userClientForRouterID(2), manager.userClientSet()[0].get());
  EXPECT_EQ(manager.userClientForRouterID(3), nullptr);
}

}  // namespace
}  // namespace tbt
