// The paths report: every path the driver set up, traced hop by hop from its
// first adapter across the links, each hop of the driver's "Hop Table"
// checked against the path space the hardware holds for it.
//
// One report line reads, for a path from a DP In adapter of the host router
// across one link (lane 1 at both ends) to a DP Out adapter of router 0x1:
//   OS: (DP In) [Route 0x0: Port 0xb --> Port 0x1] ==1== [Route 0x1: Port 0x3 --> Port 0xd] (DP Out)
// Each "[Route ...: Port a --> Port b]" is one router, entered by adapter a
// and left by adapter b; the label between two of them is the link crossed.
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "kernel/config_space.h"
#include "kernel/user_client_manager.h"
#include "platform/registry_helpers.h"
#include "platform/text.h"
#include "toolkit/topology_keys.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

// Developer traces of the path walk, written into the report itself at the
// points where the walk decides something. Off in every build.
constexpr bool kTracePathWalk = false;

void trace(std::string& out, const char* text) {
  if constexpr (kTracePathWalk) out += text;
}

// A hardware path entry: path space, two double words per hop ID.
struct PathEntryFields {
  Bits valid{31, 31};
  Bits outputPort{16, 11};
  Bits outputHopID{10, 0};
};
constexpr PathEntryFields kPathEntry{};

uint32_t pathEntryIndex(uint64_t hopID) { return 2 * static_cast<uint32_t>(hopID & 0x7FFFFFFF); }

// One entry of a port's "Hop Table"; a key that is missing reads as 0.
struct Hop {
  uint64_t hopID = 0;
  uint64_t dstPort = 0;
  uint64_t dstHopID = 0;
  bool inheritedFromEFI = false;
};

uint64_t numberIn(const PropertyDict& dict, std::string_view key) {
  const Property* p = dict.find(key);
  return p && p->isNumber() ? p->asNumber() : 0;
}

std::optional<std::vector<Hop>> hopTableOf(const RegistryEntry& port) {
  std::optional<Property> table = port.property(kHopTableKey);
  if (!table || !table->isArray()) return std::nullopt;
  std::vector<Hop> hops;
  for (const Property& item : table->asArray()) {
    static const PropertyDict kEmpty;
    const PropertyDict& dict = item.isDictionary() ? item.asDictionary() : kEmpty;
    const Property* efi = dict.find(kInheritedFromEFIKey);
    hops.push_back({numberIn(dict, kHopIDKey), numberIn(dict, kDstPortKey), numberIn(dict, kDstHopIDKey),
                    efi && efi->isBoolean() && efi->asBoolean()});
  }
  return hops;
}

const char* ownerOf(const Hop& hop) { return hop.inheritedFromEFI ? "EFI" : "OS"; }

// One adapter as the walk sees it: its number, router and name.
struct Adapter {
  RegistryEntry port;
  uint32_t number = 0;
  RegistryEntry sw;
  uint64_t route = 0;
  uint64_t type = 0;
  std::string name;
  bool xdomain = false;
  uint32_t xdomainAdapter = 0;  // the adapter whose link leads to the other host
};

using Utils = ThunderboltUserClientUtils;

// The adapter's number, switch, route, type and name; false when its switch
// or the switch's route cannot be found.
bool describeAdapter(Utils& utils, const RegistryEntry& port, uint8_t routerID, Adapter& a) {
  uint64_t number = 0;
  utils.unsignedLongForRegistryEntry(port, kPortNumberKey, number);
  a.port = port;
  a.number = static_cast<uint32_t>(number);
  a.sw = utils.switchFromPort(port, routerID);
  if (!a.sw || utils.unsignedLongLongForRegistryEntry(a.sw, kRouteStringKey, a.route) != status::kSuccess)
    return false;
  a.type = adapterTypeOfPort(port);
  a.name = adapterTypeName(a.type);
  return true;
}

// A lane adapter that leads to another host is named "XDomain". When it has
// no link of its own but the adapter numbered one lower has one, the two are
// the lanes of one enhanced XDomain link (EDM), named after the lower one.
void lookForXDomain(Utils& utils, Adapter& a, uint8_t routerID, bool checkForEDM, std::string& out) {
  if (a.type != kLaneAdapterType) return;
  if (utils.childXDomainLinkFromPort(a.port, routerID)) {
    trace(out, "{ xdomain_link = true }");
    a.name = "XDomain";
    a.xdomain = true;
    a.xdomainAdapter = a.number;
    return;
  }
  if (!checkForEDM) return;
  const uint32_t lower = a.number - 1;
  if constexpr (kTracePathWalk)
    appendf(out, "{ XD not found on port 0x%lx, trying port 0x%lx }", static_cast<unsigned long>(a.number),
            static_cast<unsigned long>(lower));
  if (utils.childXDomainLinkFromPort(utils.portAtIndex(lower, a.sw, routerID), routerID)) {
    a.name = textf("EDM XDomain on Port %d", static_cast<int>(lower));
    a.xdomain = true;
    a.xdomainAdapter = lower;
  }
}

// True when the hardware's path entry for hopID on (route, port) is valid and
// leaves by dstPort with dstHopID.
bool hardwareAgrees(Utils& utils, uint8_t routerID, uint64_t route, uint32_t port, const Hop& hop) {
  uint32_t entry = 0;
  if (utils.configReadWithRouterID(routerID, route, port, kPathSpace, pathEntryIndex(hop.hopID), entry) !=
      status::kSuccess)
    return false;
  return kPathEntry.valid.of(entry) == 1 && kPathEntry.outputHopID.of(entry) == hop.dstHopID &&
         kPathEntry.outputPort.of(entry) == hop.dstPort;
}

// The label of the link between port and peer by their "Lane" numbers.
std::string laneLabel(Utils& utils, const RegistryEntry& port, const RegistryEntry& peer) {
  uint64_t own = 0;
  uint64_t peerLane = 0;
  utils.unsignedLongForRegistryEntry(port, kLaneKey, own);
  utils.unsignedLongForRegistryEntry(peer, kLaneKey, peerLane);
  if (own != peerLane) return textf("==LANE MISMATCH %d/%d==", static_cast<int>(own), static_cast<int>(peerLane));
  if (own == 0) return "=====";
  return textf("==%d==", static_cast<int>(own));
}

// Where a path arriving on peer with hop ID hop goes next.
struct Crossing {
  enum Outcome { Error, Mismatch, Match } outcome = Error;
  uint64_t peerRoute = 0;
  uint32_t peerNumber = 0;
  RegistryEntry next;
  uint64_t nextHopID = 0;
};

Crossing crossLink(Utils& utils, const RegistryEntry& peer, uint64_t hop, uint8_t routerID) {
  Crossing c;
  if (!peer) return c;
  RegistryEntry peerSwitch = utils.switchFromPort(peer, routerID);
  if (!peerSwitch || utils.unsignedLongLongForRegistryEntry(peerSwitch, kRouteStringKey, c.peerRoute) != status::kSuccess)
    return c;
  std::optional<std::vector<Hop>> table = hopTableOf(peer);
  if (!table) return c;
  const Hop* entry = nullptr;
  for (const Hop& h : *table)
    if (h.hopID == hop) {
      entry = &h;
      break;
    }
  if (!entry) return c;
  c.next = utils.portAtIndex(static_cast<uint32_t>(entry->dstPort), peerSwitch, routerID);
  if (!c.next) return c;
  uint64_t number = 0;
  utils.unsignedLongForRegistryEntry(peer, kPortNumberKey, number);
  c.peerNumber = static_cast<uint32_t>(number);
  c.nextHopID = entry->dstHopID;
  c.outcome = hardwareAgrees(utils, routerID, c.peerRoute, c.peerNumber, *entry) ? Crossing::Match : Crossing::Mismatch;
  return c;
}

}  // namespace

std::string ThunderboltUserClientUtils::paths() {
  std::string out;
  for (const auto& userClient : ThunderboltUserClientManager::sharedInstance().userClientSet()) {
    const uint8_t routerID = userClient->routerID();
    appendf(out, "Router ID %d - Thunderbolt Paths:\n\n", routerID);
    out += pathsFromSwitchWithUpstreamPort(nhiForRouterID(routerID), routerID);
    out += "\n";
  }
  return out;
}

std::vector<TracedPath> ThunderboltUserClientUtils::tracedPaths() {
  std::vector<TracedPath> record;
  for (const auto& userClient : ThunderboltUserClientManager::sharedInstance().userClientSet()) {
    const uint8_t routerID = userClient->routerID();
    pathsFromSwitchWithUpstreamPort(nhiForRouterID(routerID), routerID, &record);
  }
  return record;
}

std::string ThunderboltUserClientUtils::pathsFromSwitchWithUpstreamPort(const RegistryEntry& port,
                                                                        uint8_t andRouterID,
                                                                        std::vector<TracedPath>* record) {
  RegistryEntry sw = switchFromPort(port, andRouterID);
  if (!sw) return "";
  std::string out = pathsFromPort(port, andRouterID, record);
  for (const RegistryEntry& child : sw.children()) {
    if (!child.conformsTo(kPortClass)) continue;
    out += pathsFromPort(child, andRouterID, record);
    if (RegistryEntry downstream = childPortFromPort(child, andRouterID))
      out += pathsFromSwitchWithUpstreamPort(downstream, andRouterID, record);
  }
  return out;
}

std::string ThunderboltUserClientUtils::pathsFromPort(const RegistryEntry& port, uint8_t andRouterID,
                                                      std::vector<TracedPath>* record) {
  Adapter a;
  std::string out;
  if (!describeAdapter(*this, port, andRouterID, a)) return out;
  // A lane adapter starts paths only towards another host.
  lookForXDomain(*this, a, andRouterID, true, out);
  if (a.type == kLaneAdapterType && !a.xdomain) return out;
  std::optional<std::vector<Hop>> table = hopTableOf(port);
  if (!table) return out;
  const auto route = static_cast<unsigned long long>(a.route);
  for (const Hop& hop : *table) {
    RegistryEntry next = portAtIndex(static_cast<uint32_t>(hop.dstPort), a.sw, andRouterID);
    TracedPath* traced = nullptr;
    if (record) {
      traced = &record->emplace_back();
      traced->routerID = andRouterID;
      traced->fromEFI = hop.inheritedFromEFI;
      traced->startRoute = a.route;
      traced->startAdapter = a.number;
      traced->startName = a.name;
      traced->startHopID = hop.hopID;
      traced->startsAtXDomain = a.xdomain;
      traced->startXDomainAdapter = a.xdomainAdapter;
      traced->error = true;  // until the trace reaches an adapter
      traced->endRoute = a.route;
      traced->endHopID = hop.hopID;
    }
    if (!next) {
      appendf(out, "%s: (%s) [Route 0x%llx: Port 0x%x --> ERROR\n", ownerOf(hop), a.name.c_str(), route, a.number);
    } else if (!hardwareAgrees(*this, andRouterID, a.route, a.number, hop)) {
      trace(out, "### append:path_string (b) ###\n");
      appendf(out, "%s: (%s) [Route 0x%llx: Port 0x%x --> ERROR (HW/SW MISMATCH)\n", ownerOf(hop), a.name.c_str(),
              route, a.number);
    } else {
      trace(out, "{ append:path_string (a) }\n");
      appendf(out, "%s: (%s) [Route 0x%llx: Port 0x%x --> %s", ownerOf(hop), a.name.c_str(), route, a.number,
              pathFromPort(next, hop.dstHopID, andRouterID, true, traced).c_str());
    }
  }
  return out;
}

std::string ThunderboltUserClientUtils::pathFromPort(const RegistryEntry& port, uint64_t hop, uint8_t andRouterID,
                                                     bool checkForEDM, TracedPath* record) {
  std::string out;
  // The trace goes on router by router; what the next router adds follows
  // the text of this one. Registry hop tables may send a path round in a
  // circle: entering an adapter with a hop ID it already entered with ends
  // the trace as an error.
  std::set<std::tuple<uint64_t, uint32_t, uint64_t>> entered;  // route, adapter, hop ID
  for (RegistryEntry current = port;;) {
    Adapter a;
    if (!describeAdapter(*this, current, andRouterID, a)) return out;
    lookForXDomain(*this, a, andRouterID, checkForEDM, out);
    if (a.type != kLaneAdapterType || a.xdomain) {
      trace(out, "{ append:path_string (1) }\n");
      appendf(out, "Port 0x%x] (%s)\n", a.number, a.name.c_str());
      if (record) {
        record->error = false;
        record->endRoute = a.route;
        record->endAdapter = a.number;
        record->endName = a.name;
        record->endHopID = hop;
        record->endsAtXDomain = a.xdomain;
        record->endXDomainAdapter = a.xdomainAdapter;
      }
      return out;
    }
    // A lane adapter without another host behind it: the path crosses the link.
    RegistryEntry peer = peerForNULLPort(current, andRouterID);
    const std::string label = laneLabel(*this, current, peer);
    Crossing c = crossLink(*this, peer, hop, andRouterID);
    if (c.outcome != Crossing::Error && !entered.emplace(c.peerRoute, c.peerNumber, hop).second)
      c.outcome = Crossing::Error;
    switch (c.outcome) {
      case Crossing::Error:
        trace(out, "{ append:path_string (2) }\n");
        if (record) record->endHopID = hop;
        appendf(out, "Port 0x%x] %s ERROR\n", a.number, label.c_str());
        return out;
      case Crossing::Mismatch:
        trace(out, "{ append:path_string (2) }\n");
        if (record) record->endHopID = hop;
        appendf(out, "Port 0x%x] %s ERROR (HW/SW MISMATCH)\n", a.number, label.c_str());
        return out;
      case Crossing::Match:
        trace(out, "{ append:path_string (3) }\n");
        if (record) {
          record->links.push_back({a.route, a.number, c.peerRoute, c.peerNumber, hop});
          record->endRoute = c.peerRoute;
        }
        appendf(out, "Port 0x%x] %s [Route 0x%llx: Port 0x%x --> ", a.number, label.c_str(),
                static_cast<unsigned long long>(c.peerRoute), c.peerNumber);
        current = c.next;
        hop = c.nextHopID;
        break;
    }
  }
}

}  // namespace tbt
