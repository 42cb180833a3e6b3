#include "kernel/user_client_manager.h"
#include "toolkit/iecs_bridge.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

// Remote access by route always goes through the first host controller.
constexpr uint8_t kRemoteAccessRouterID = 0;

// The bridge (IECS device 3) on bus of the router at route, through the
// user client's own IECS transfers.
class UserClientBridge : public BridgeTransport {
 public:
  UserClientBridge(ThunderboltKernelUserClient& userClient, uint64_t route, uint32_t bus)
      : userClient_(userClient), route_(route), bus_(bus) {}
  Status read(uint8_t offset, uint32_t length, uint8_t* data) override {
    return userClient_.iecsRead(route_, bus_, kBridgeDevice, offset, length, data);
  }
  Status write(uint8_t offset, uint32_t length, const uint8_t* data) override {
    return userClient_.iecsWrite(route_, bus_, kBridgeDevice, offset, length, data);
  }

 private:
  ThunderboltKernelUserClient& userClient_;
  uint64_t route_;
  uint32_t bus_;
};

ThunderboltKernelUserClient* remoteAccessUserClient() {
  return ThunderboltUserClientManager::sharedInstance().userClientForRouterID(kRemoteAccessRouterID);
}

}  // namespace

Status ThunderboltUserClientUtils::iecsRemoteConfigReadWithRoute(uint64_t route, uint32_t bus, uint32_t port,
                                                                 uint32_t space, uint32_t index, uint32_t& outData) {
  ThunderboltKernelUserClient* userClient = remoteAccessUserClient();
  if (!userClient) return status::kGeneralFailure;
  UserClientBridge bridge(*userClient, route, bus);
  return bridgeConfigRead(bridge, port, space, index, outData);
}

Status ThunderboltUserClientUtils::iecsRemoteConfigWriteWithRoute(uint64_t route, uint32_t bus, uint32_t port,
                                                                  uint32_t space, uint32_t index, uint32_t data) {
  ThunderboltKernelUserClient* userClient = remoteAccessUserClient();
  if (!userClient) return status::kGeneralFailure;
  UserClientBridge bridge(*userClient, route, bus);
  return bridgeConfigWrite(bridge, port, space, index, data);
}

}  // namespace tbt
