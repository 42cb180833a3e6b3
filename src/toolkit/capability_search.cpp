#include "toolkit/capability_search.h"

#include <algorithm>
#include <array>
#include <bitset>

#include "kernel/config_space.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

// Early host controllers (vendor 0x8086, device IDs 0x1513, 0x151A, 0x1547,
// 0x1548, as their identity double word reads) report a first capability
// pointer of their DP Out adapters that cannot be read.
constexpr std::array<uint32_t, 4> kFixedStartControllers = {0x15138086, 0x151A8086, 0x15478086, 0x15488086};
// Where those adapters' capability chain actually starts.
constexpr uint8_t kFixedCapabilityStart = 0x39;

// The first capability of such an adapter: when the pointer the adapter
// reports cannot be read, the chain is known to start at a fixed double
// word. The probing reads never change the walk's status.
uint8_t portCapabilityStart(RouterHandle& handle, uint32_t port, uint8_t reported) {
  uint32_t probe = 0;
  if (handle.configReadWithPort(port, kPortSpace, reported, probe) == status::kSuccess) return reported;
  handle.configReadWithPort(port, kPortSpace, reported + 1u, probe);
  uint32_t identity = 0;
  uint32_t adapter = 0;
  if (handle.configReadWithPort(port, kPortSpace, kIdentityDword, identity) == status::kSuccess)
    handle.configReadWithPort(port, kPortSpace, kAdapterTypeDword, adapter);
  const bool listed = std::find(kFixedStartControllers.begin(), kFixedStartControllers.end(), identity) !=
                      kFixedStartControllers.end();
  return listed && kAdapterType.of(adapter) == kDPOutAdapterType ? kFixedCapabilityStart : reported;
}

// Double word 2 of either space, read around the first capability pointer.
constexpr uint32_t kDword2 = 2;

// The first capability pointer of the space. Double word 2 is read before
// and again after double word 1 (the second time whatever happened); the
// extra reads are harmless and keep the access pattern routers have always
// seen from this search.
Status firstCapability(RouterHandle& handle, uint32_t port, uint32_t space, uint8_t& current) {
  uint32_t header = 0;
  Status s = handle.configReadWithPort(port, space, kDword2, header);
  if (s == status::kSuccess) s = handle.configReadWithPort(port, space, kFirstCapabilityDword, header);
  uint32_t unused = 0;
  handle.configReadWithPort(port, space, kDword2, unused);
  if (s != status::kSuccess) return s;
  current = static_cast<uint8_t>(kFirstCapabilityPointer.of(header));
  if (space == kPortSpace) current = portCapabilityStart(handle, port, current);
  return s;
}

}  // namespace

Status walkCapabilities(RouterHandle& handle, uint32_t port, uint32_t space, const CapabilityVisitor& visit) {
  uint8_t current = 0;
  Status s = firstCapability(handle, port, space, current);
  uint32_t header = 0;
  // Device data may chain capabilities into a loop; a capability met a
  // second time ends the walk as a pointer to itself does.
  std::bitset<256> visited;
  while (s == status::kSuccess && current != 0 && !visited.test(current)) {
    visited.set(current);
    s = handle.configReadWithPort(port, space, current, header);
    if (s != status::kSuccess) break;
    uint32_t following = 0;
    handle.configReadWithPort(port, space, current + 1u, following);
    // Matched before any end-of-chain test, so the last capability counts too.
    if (visit(current, header)) break;
    uint32_t next = kCapabilityNext.of(header);
    if (next == 0 && kVsecLength.of(header) == 0) {
      // A long vendor-specific header keeps its next pointer in the second
      // double word.
      s = handle.configReadWithPort(port, space, current + 1u, header);
      if (s != status::kSuccess) break;
      next = kCapabilityExtendedNext.of(header);
    }
    if (next == current) break;
    // The pointer is 8 bits wide: the low byte of the double word read last,
    // which cuts a long header's 16-bit pointer.
    current = static_cast<uint8_t>(kCapabilityNext.of(header));
  }
  return s;
}

uint32_t ThunderboltUserClientUtils::adapterTypeForRoute(uint64_t route, uint32_t andPort, uint8_t andRouterID) {
  uint32_t word = 0;
  if (configReadWithRouterID(andRouterID, route, andPort, kPortSpace, kAdapterTypeDword, word) != status::kSuccess)
    return 0;
  return kAdapterType.of(word);
}

Status ThunderboltUserClientUtils::findCapabilityAtRouterHandle(uint8_t& outOffset, uint32_t forValue,
                                                                uint32_t andMask, RouterHandle& atRouterHandle,
                                                                uint32_t forPort, uint32_t inSpace) {
  bool found = false;
  Status s = walkCapabilities(atRouterHandle, forPort, inSpace, [&](uint8_t index, uint32_t header) {
    if ((header & andMask) != forValue) return false;
    found = true;
    outOffset = index;
    return true;
  });
  if (s == status::kSuccess && !found) s = status::kNotFound;
  return s;
}

Status ThunderboltUserClientUtils::findCapabilityAtRoute(uint8_t& outOffset, uint32_t forValue, uint32_t andMask,
                                                         uint64_t atRoute, uint32_t forPort, uint32_t inSpace) {
  std::unique_ptr<LocalRouterHandle> handle = LocalRouterHandle::localRouterHandle();
  handle->setRoute(atRoute);
  return findCapabilityAtRouterHandle(outOffset, forValue, andMask, *handle, forPort, inSpace);
}

}  // namespace tbt
