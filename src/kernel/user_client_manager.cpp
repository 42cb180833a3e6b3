#include "kernel/user_client_manager.h"

#include "kernel/platform_singleton.h"
#include "platform/platform.h"
#include "platform/registry_keys.h"

namespace tbt {
namespace {

uint8_t lowByte(uint32_t routerID) { return static_cast<uint8_t>(routerID & 0xFF); }

}  // namespace

ThunderboltUserClientManager& ThunderboltUserClientManager::sharedInstance() {
  return PlatformSingleton<ThunderboltUserClientManager>::instance();
}

ThunderboltUserClientManager::ThunderboltUserClientManager() { startUserClientMatching(); }

ThunderboltUserClientManager::~ThunderboltUserClientManager() { stopUserClientMatching(); }

Status ThunderboltUserClientManager::startUserClientMatching() {
  matchingIterator_ = registry().matching(kControllerClass);
  // Walking the matches at once both arms the notification and opens the
  // controllers that exist already.
  controllerAdded(*matchingIterator_);
  return status::kSuccess;
}

void ThunderboltUserClientManager::stopUserClientMatching() { matchingIterator_.reset(); }

void ThunderboltUserClientManager::controllerAdded(const std::vector<RegistryEntry>& iterator) {
  for (const RegistryEntry& controller : iterator) createUserClientForService(controller);
}

Status ThunderboltUserClientManager::createUserClientForService(const RegistryEntry& service) {
  auto userClient = std::make_unique<ThunderboltKernelUserClient>();
  Status s = userClient->createUserClientForService(service);
  if (s == status::kSuccess) userClientSet_.push_back(std::move(userClient));
  return s;
}

ThunderboltKernelUserClient* ThunderboltUserClientManager::userClientForRouterID(uint8_t routerID) const {
  for (const auto& userClient : userClientSet_)
    if (userClient->routerID() == routerID) return userClient.get();
  return nullptr;
}

Status ThunderboltUserClientManager::configReadWithRouterID(uint32_t routerID, uint64_t route, uint32_t port,
                                                            uint32_t space, uint32_t index, uint32_t& outData) const {
  ThunderboltKernelUserClient* userClient = userClientForRouterID(lowByte(routerID));
  if (!userClient) return status::kNotFound;
  return userClient->configReadWithRoute(route, port, space, index, outData);
}

Status ThunderboltUserClientManager::configWriteWithRouterID(uint32_t routerID, uint64_t route, uint32_t port,
                                                             uint32_t space, uint32_t index, uint32_t data) const {
  ThunderboltKernelUserClient* userClient = userClientForRouterID(lowByte(routerID));
  if (!userClient) return status::kNotFound;
  return userClient->configWriteWithRoute(route, port, space, index, data);
}

}  // namespace tbt
