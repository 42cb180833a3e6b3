#include "kernel/user_client_manager.h"
#include "toolkit/iecs_bridge.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

// Remote access by route always goes through the first host controller.
constexpr uint8_t kRemoteAccessRouterID = 0;

// The bridge (IECS device 3) on bus of the router at route, through the
// user client's own IECS transfers.
BridgeTransport userClientBridge(ThunderboltKernelUserClient& userClient, uint64_t route, uint32_t bus) {
  return BridgeTransport{[&userClient, route, bus](uint8_t offset, uint32_t length, uint8_t* data) {
                           return userClient.iecsRead(route, bus, kBridgeDevice, offset, length, data);
                         },
                         [&userClient, route, bus](uint8_t offset, uint32_t length, const uint8_t* data) {
                           return userClient.iecsWrite(route, bus, kBridgeDevice, offset, length, data);
                         }};
}

}  // namespace

Status ThunderboltUserClientUtils::iecsRemoteConfigReadWithRoute(uint64_t route, uint32_t bus, uint32_t port,
                                                                 uint32_t space, uint32_t index, uint32_t& outData) {
  ThunderboltKernelUserClient* userClient =
      ThunderboltUserClientManager::sharedInstance().userClientForRouterID(kRemoteAccessRouterID);
  if (!userClient) return status::kGeneralFailure;
  return bridgeConfigRead(userClientBridge(*userClient, route, bus), port, space, index, outData);
}

Status ThunderboltUserClientUtils::iecsRemoteConfigWriteWithRoute(uint64_t route, uint32_t bus, uint32_t port,
                                                                  uint32_t space, uint32_t index, uint32_t data) {
  ThunderboltKernelUserClient* userClient =
      ThunderboltUserClientManager::sharedInstance().userClientForRouterID(kRemoteAccessRouterID);
  if (!userClient) return status::kGeneralFailure;
  return bridgeConfigWrite(userClientBridge(*userClient, route, bus), port, space, index, data);
}

}  // namespace tbt
