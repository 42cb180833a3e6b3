#include "toolkit/utilities.h"

#include "kernel/platform_singleton.h"
#include "kernel/user_client_manager.h"
#include "platform/platform.h"
#include "platform/registry_helpers.h"

namespace tbt {
namespace {

using SharedUtils = PlatformSingleton<ThunderboltUserClientUtils>;

ThunderboltUserClientManager& manager() { return ThunderboltUserClientManager::sharedInstance(); }

ThunderboltKernelUserClient* userClientFor(const RouterHandle& handle) {
  return manager().userClientForRouterID(handle.routerID());
}

}  // namespace

ThunderboltUserClientUtils::ThunderboltUserClientUtils() {
  // Matching the controllers and opening their user clients is a side effect
  // of the first use of the utilities.
  manager();
}

ThunderboltUserClientUtils& ThunderboltUserClientUtils::sharedInstance() { return SharedUtils::instance(); }

ThunderboltUserClientUtils& ThunderboltUserClientUtils::sharedInstanceForRID(uint8_t rid) {
  // A new instance has just opened every controller; only an existing one
  // needs its controller's connection made active.
  if (ThunderboltUserClientUtils* existing = SharedUtils::existing()) existing->makeUserClientActiveForRID(rid);
  return sharedInstance();
}

ThunderboltUserClientUtils* ThunderboltUserClientUtils::sharedInstanceForEntry(const RegistryEntry& entry) {
  ThunderboltUserClientUtils& utils = sharedInstance();
  RegistryEntry hostSwitch = rootSwitchOfEntry(entry);
  if (!hostSwitch) return nullptr;
  utils.makeUserClientActiveForRID(routerIDOfEntry(hostSwitch));
  return &utils;
}

bool ThunderboltUserClientUtils::makeUserClientActiveForRID(uint8_t rid) {
  ThunderboltKernelUserClient* userClient = manager().userClientForRouterID(rid);
  return !userClient || userClient->makeActive() == status::kSuccess;
}

Status ThunderboltUserClientUtils::configReadWithRouterID(uint32_t routerID, uint64_t route, uint32_t port,
                                                          uint32_t space, uint32_t index, uint32_t& outData) {
  return manager().configReadWithRouterID(routerID, route, port, space, index, outData);
}

Status ThunderboltUserClientUtils::configWriteWithRouterID(uint32_t routerID, uint64_t route, uint32_t port,
                                                           uint32_t space, uint32_t index, uint32_t data) {
  return manager().configWriteWithRouterID(routerID, route, port, space, index, data);
}

Status ThunderboltUserClientUtils::configReadWithRouterHandle(RouterHandle& routerHandle, uint32_t port,
                                                              uint32_t space, uint32_t index, uint32_t& outData) {
  return routerHandle.configReadWithPort(port, space, index, outData);
}

Status ThunderboltUserClientUtils::configWriteWithRouterHandle(RouterHandle& routerHandle, uint32_t port,
                                                               uint32_t space, uint32_t index, uint32_t data) {
  return routerHandle.configWriteWithPort(port, space, index, data);
}

Status ThunderboltUserClientUtils::i2cWriteWithLocalRouterHandle(const LocalRouterHandle& localRouterHandle,
                                                                 uint8_t address, uint8_t offset, uint32_t length,
                                                                 const uint8_t* data) {
  ThunderboltKernelUserClient* userClient = userClientFor(localRouterHandle);
  if (!userClient) return status::kSuccess;
  return userClient->i2cWrite(localRouterHandle.route(), address, offset, length, data);
}

Status ThunderboltUserClientUtils::i2cReadWithLocalRouterHandle(const LocalRouterHandle& localRouterHandle,
                                                                uint8_t address, uint8_t offset, uint32_t length,
                                                                uint8_t* data) {
  ThunderboltKernelUserClient* userClient = userClientFor(localRouterHandle);
  if (!userClient) return status::kSuccess;
  return userClient->i2cRead(localRouterHandle.route(), address, offset, length, data);
}

Status ThunderboltUserClientUtils::iecsWriteWithLocalRouterHandle(const LocalRouterHandle& localRouterHandle,
                                                                  uint32_t bus, uint32_t device, uint8_t offset,
                                                                  uint32_t length, const uint8_t* data) {
  ThunderboltKernelUserClient* userClient = userClientFor(localRouterHandle);
  if (!userClient) return status::kSuccess;
  return userClient->iecsWrite(localRouterHandle.route(), bus, device, offset, length, data);
}

Status ThunderboltUserClientUtils::iecsReadWithLocalRouterHandle(const LocalRouterHandle& localRouterHandle,
                                                                 uint32_t bus, uint32_t device, uint8_t offset,
                                                                 uint32_t length, uint8_t* data) {
  ThunderboltKernelUserClient* userClient = userClientFor(localRouterHandle);
  if (!userClient) return status::kSuccess;
  return userClient->iecsRead(localRouterHandle.route(), bus, device, offset, length, data);
}

Status ThunderboltUserClientUtils::unsignedLongForRegistryEntry(const RegistryEntry& entry, std::string_view andKey,
                                                                uint64_t& outValue) {
  outValue = 0;
  readRegistryNumber64(entry, andKey, outValue);
  return status::kSuccess;
}

Status ThunderboltUserClientUtils::unsignedLongLongForRegistryEntry(const RegistryEntry& entry,
                                                                    std::string_view andKey, uint64_t& outValue) {
  return readRegistryNumber64(entry, andKey, outValue) ? status::kSuccess : status::kGeneralFailure;
}

std::unique_ptr<LocalRouterHandle> ThunderboltUserClientUtils::routerHandleFromRegistryEntry(
    const RegistryEntry& entry) {
  if (!entry) return nullptr;
  RegistryEntry hostSwitch = rootSwitchOfEntry(entry);
  if (!hostSwitch) return nullptr;
  std::unique_ptr<LocalRouterHandle> handle = LocalRouterHandle::localRouterHandle();
  handle->setRoute(routeOfEntry(entry));
  handle->setRouterID(routerIDOfEntry(hostSwitch));
  return handle;
}

}  // namespace tbt
