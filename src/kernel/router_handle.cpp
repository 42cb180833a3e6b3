#include "kernel/router_handle.h"

#include "kernel/config_space.h"
#include "kernel/user_client_manager.h"

namespace tbt {

Status RouterHandle::configReadWithPort(uint32_t, uint32_t, uint32_t, uint32_t&) { return status::kSuccess; }

Status RouterHandle::configWriteWithPort(uint32_t, uint32_t, uint32_t, uint32_t) { return status::kSuccess; }

Status RouterHandle::actualRoute(uint64_t& outRoute) {
  // The route is one double word read into the low half of a two-word
  // result; the high half stays 0, so the value is the double word as the
  // router holds it, bit 31 included. Callers compare it that way.
  uint32_t words[2] = {0, 0};
  Status s = configReadWithPort(0, kDeviceSpace, kDeviceRouteDword, words[0]);
  if (s != status::kSuccess) return s;
  outRoute = uint64_t{words[1] & 0x7FFFFFFFu} << 32 | words[0];
  return status::kSuccess;
}

std::unique_ptr<LocalRouterHandle> LocalRouterHandle::localRouterHandle() {
  return std::make_unique<LocalRouterHandle>();
}

Status LocalRouterHandle::configReadWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t& outData) {
  return ThunderboltUserClientManager::sharedInstance().configReadWithRouterID(routerID(), route(), port, space, index,
                                                                               outData);
}

Status LocalRouterHandle::configWriteWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t data) {
  return ThunderboltUserClientManager::sharedInstance().configWriteWithRouterID(routerID(), route(), port, space,
                                                                                index, data);
}

}  // namespace tbt
