// Topology navigation: switches and ports of the Thunderbolt fabric as the
// controller driver publishes them in the service plane.
//
//   controller
//    └─ host-interface port          (nhiForRouterID)
//        └─ host switch, route 0
//            ├─ port 1 (lane adapter)
//            │   └─ upstream port of the router below
//            │       └─ that router's switch
//            │           └─ its ports ...
//            └─ port 2 ...
//
// A router's switch hangs from its upstream port, so a switch's registry
// parent is that port and its other ports are its children.
#include "kernel/user_client_manager.h"
#include "platform/registry_helpers.h"
#include "toolkit/topology_keys.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

// The last child of entry that conforms to className: where the driver
// published more than one, the most recently published one counts.
RegistryEntry lastChildOfClass(const RegistryEntry& entry, std::string_view className) {
  RegistryEntry found;
  for (const RegistryEntry& child : entry.children())
    if (child.conformsTo(className)) found = child;
  return found;
}

RegistryEntry firstParent(const RegistryEntry& entry) {
  std::vector<RegistryEntry> parents = entry.parents();
  return parents.empty() ? RegistryEntry() : parents.front();
}

bool isLaneAdapter(const RegistryEntry& port) { return adapterTypeOfPort(port) == kLaneAdapterType; }

struct AdapterName {
  uint32_t type;
  const char* name;
};
constexpr AdapterName kAdapterNames[] = {
    {kLaneAdapterType, "Port"},       {kNHIAdapterType, "NHI"},          {kDPInAdapterType, "DP In"},
    {kDPOutAdapterType, "DP Out"},    {kPCIDownAdapterType, "PCI Down"}, {kPCIUpAdapterType, "PCI Up"},
};

}  // namespace

const char* adapterTypeName(uint64_t type) {
  for (const AdapterName& entry : kAdapterNames)
    if (entry.type == type) return entry.name;
  return "?";
}

uint64_t adapterTypeOfPort(const RegistryEntry& port) {
  uint64_t type = 0;
  readRegistryNumber64(port, kAdapterTypeKey, type);
  return type;
}

RegistryEntry ThunderboltUserClientUtils::nhiForRouterID(uint8_t routerID) {
  ThunderboltKernelUserClient* userClient =
      ThunderboltUserClientManager::sharedInstance().userClientForRouterID(routerID);
  return userClient ? firstChildOfClass(userClient->controller(), kPortClass) : RegistryEntry();
}

RegistryEntry ThunderboltUserClientUtils::switchFromPort(const RegistryEntry& port, uint8_t) {
  std::vector<RegistryEntry> parents = port.parents();
  if (parents.empty()) return RegistryEntry();
  if (parents.front().conformsTo(kSwitchClass)) return parents.front();
  return lastChildOfClass(port, kSwitchClass);
}

RegistryEntry ThunderboltUserClientUtils::childPortFromPort(const RegistryEntry& port, uint8_t) {
  if (!isLaneAdapter(port)) return RegistryEntry();
  return lastChildOfClass(port, kPortClass);
}

RegistryEntry ThunderboltUserClientUtils::childXDomainLinkFromPort(const RegistryEntry& port, uint8_t) {
  if (!isLaneAdapter(port)) return RegistryEntry();
  return lastChildOfClass(port, kXDomainLinkClass);
}

RegistryEntry ThunderboltUserClientUtils::portAtIndex(uint32_t index, const RegistryEntry& onSwitch, uint8_t) {
  // The port the switch hangs from is its registry parent, not a child.
  uint64_t number = 0;
  RegistryEntry upstream = firstParent(onSwitch);
  unsignedLongForRegistryEntry(upstream, kPortNumberKey, number);
  if (upstream && number == index) return upstream;
  for (const RegistryEntry& child : onSwitch.children()) {
    if (!child.conformsTo(kPortClass)) continue;
    unsignedLongForRegistryEntry(child, kPortNumberKey, number);
    if (number == index) return child;
  }
  return RegistryEntry();
}

RegistryEntry ThunderboltUserClientUtils::switchForRouteFromSwitch(uint64_t route, const RegistryEntry& fromSwitch,
                                                                   uint8_t andRouterID) {
  uint64_t own = 0;
  if (unsignedLongLongForRegistryEntry(fromSwitch, kRouteStringKey, own) != status::kSuccess) return RegistryEntry();
  if (own == route) return fromSwitch;
  // Depth first in registry order, without pruning by route: the first switch
  // that carries the route wins.
  for (const RegistryEntry& child : fromSwitch.children()) {
    if (!child.conformsTo(kPortClass)) continue;
    RegistryEntry downstream = childPortFromPort(child, andRouterID);
    RegistryEntry below = downstream ? switchFromPort(downstream, andRouterID) : RegistryEntry();
    RegistryEntry found = below ? switchForRouteFromSwitch(route, below, andRouterID) : RegistryEntry();
    if (found) return found;
  }
  return RegistryEntry();
}

RegistryEntry ThunderboltUserClientUtils::switchForRouteAndRouterID(uint64_t route, uint8_t andRouterID) {
  RegistryEntry hostSwitch = switchFromPort(nhiForRouterID(andRouterID), andRouterID);
  return hostSwitch ? switchForRouteFromSwitch(route, hostSwitch, andRouterID) : RegistryEntry();
}

RegistryEntry ThunderboltUserClientUtils::peerForNULLPort(const RegistryEntry& port, uint8_t andRouterID) {
  // Seen from the upper end the peer is the child port; seen from the lower
  // end (the port has the router's switch below it) it is the port's parent.
  RegistryEntry peer;
  for (const RegistryEntry& child : port.children()) {
    if (child.conformsTo(kPortClass)) {
      peer = child;
    } else if (child.conformsTo(kSwitchClass)) {
      RegistryEntry parent = firstParent(port);
      if (parent.conformsTo(kPortClass)) peer = parent;
    }
  }
  if (peer) return peer;
  // Otherwise the driver names the far end by route and adapter number.
  uint64_t peerRoute = 0;
  if (unsignedLongLongForRegistryEntry(port, kPeerPortRouteStringKey, peerRoute) != status::kSuccess)
    return RegistryEntry();
  RegistryEntry peerSwitch = switchForRouteAndRouterID(peerRoute, andRouterID);
  if (!peerSwitch) return RegistryEntry();
  uint64_t peerNumber = 0;
  unsignedLongForRegistryEntry(port, kPeerPortNumberKey, peerNumber);
  return portAtIndex(static_cast<uint32_t>(peerNumber), peerSwitch, andRouterID);
}

RegistryEntry ThunderboltUserClientUtils::dualLinkPortForNULLPort(const RegistryEntry&, uint8_t) {
  return RegistryEntry();
}

}  // namespace tbt
