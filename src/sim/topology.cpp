// Placing a controller's routers by their route strings. Each byte of a route
// is an adapter number, lowest byte first: route 0x301 hangs from adapter 3 of
// route 0x1, which hangs from adapter 1 of the host router (route 0).
#include <map>

#include "host_loader.h"
#include "platform/text.h"
#include "sim/register_fields.h"

namespace tbt::sim {

namespace {

unsigned long long ull(uint64_t v) { return static_cast<unsigned long long>(v); }

/// A route names adapters 1..63 hop by hop, with no empty hop below the last.
bool checkRouteForm(JsonReader& in, const LoadedRouter& e) {
  uint64_t route = e.router->route();
  std::string at = keyPath(e.path, "route");
  for (unsigned hop = 0; hop < e.router->depth(); ++hop) {
    uint32_t adapter = static_cast<uint32_t>((route >> (8 * hop)) & 0xff);
    if (adapter == 0) return in.fail(at, textf("route 0x%llx has an empty hop below its last one", ull(route)));
    if (adapter > kMaxAdapter)
      return in.fail(at, textf("route 0x%llx names adapter %u, above %u", ull(route), adapter, kMaxAdapter));
  }
  return true;
}

/// Makes an adapter that a link runs through a lane adapter: one whose type
/// the file leaves open becomes a lane adapter; one of another type, or one
/// that leads to another host, cannot carry the link.
bool makeLane(JsonReader& in, Router& r, uint32_t port, const std::string& at, const char* role) {
  if (!r.isSet(port, kPortSpace, kAdapterTypeDword))
    r.poke(port, kPortSpace, kAdapterTypeDword, kLaneAdapter);
  else if (r.adapterType(port) != kLaneAdapter)
    return in.fail(at, textf("%s adapter %u of router 0x%llx is not a lane adapter (adapter type 0x%06x)", role, port,
                             ull(r.route()), r.adapterType(port)));
  if (r.leadsToHost(port))
    return in.fail(at, textf("%s adapter %u of router 0x%llx leads to another host (\"xdomain\")", role, port,
                             ull(r.route())));
  return true;
}

/// Gives a router its upstream adapter. When the file gives no device-space
/// DW1, one is derived: depth from the route, the highest described adapter as
/// Max Port, and as Upstream Port (below the host router) the lowest adapter
/// described as a lane adapter, else adapter 1.
bool placeUpstream(JsonReader& in, LoadedRouter& e) {
  Router& r = *e.router;
  const bool host = r.route() == 0;
  if (r.isSet(0, kDeviceSpace, kRouterConfigDword)) {
    if (!host && r.upstreamPort() == 0)
      return in.fail(keyPath(e.path, "device-space.1"), "Upstream Port is 0 on a router below the host router");
  } else {
    uint32_t upstream = 0;
    if (!host) {
      for (uint32_t p : r.ports())
        if (!upstream && p != 0 && r.adapterType(p) == kLaneAdapter) upstream = p;
      if (!upstream) upstream = 1;
    }
    uint32_t maxPort = r.ports().empty() ? upstream : std::max(r.ports().back(), upstream);
    uint32_t dw1 = kDepthField.set(0, r.depth());
    dw1 = kMaxPortField.set(dw1, maxPort);
    r.poke(0, kDeviceSpace, kRouterConfigDword, kUpstreamPortField.set(dw1, upstream));
  }
  if (host) return true;
  r.addPort(r.upstreamPort());
  return makeLane(in, r, r.upstreamPort(), keyPath(e.path, textf("ports.%u", r.upstreamPort())), "upstream");
}

/// Checks that a router hangs from an existing, free lane adapter of its parent.
bool hangFromParent(JsonReader& in, const LoadedRouter& e, const std::map<uint64_t, Router*>& byRoute) {
  const Router& r = *e.router;
  uint64_t parent = r.parentRoute();
  uint32_t adapter = r.parentAdapter();
  std::string at = keyPath(e.path, "route");
  auto it = byRoute.find(parent);
  if (it == byRoute.end()) return in.fail(at, textf("no router at route 0x%llx to hang from", ull(parent)));
  Router& p = *it->second;
  if (!p.hasPort(adapter))
    return in.fail(at, textf("router 0x%llx has no adapter %u to hang from", ull(parent), adapter));
  if (parent != 0 && p.upstreamPort() == adapter)
    return in.fail(at, textf("adapter %u of router 0x%llx is that router's upstream adapter", adapter, ull(parent)));
  return makeLane(in, p, adapter, at, "parent");
}

}  // namespace

bool placeRouters(JsonReader& in, std::vector<LoadedRouter>& routers, Controller& controller) {
  std::map<uint64_t, Router*> byRoute;
  std::map<uint64_t, const std::string*> pathOf;
  for (auto& e : routers) {
    uint64_t route = e.router->route();
    if (!checkRouteForm(in, e)) return false;
    if (byRoute.count(route))
      return in.fail(keyPath(e.path, "route"),
                     textf("route 0x%llx given twice (also %s)", ull(route), pathOf[route]->c_str()));
    byRoute[route] = e.router.get();
    pathOf[route] = &e.path;
  }
  for (auto& e : routers)
    if (!placeUpstream(in, e)) return false;
  for (auto& e : routers)
    if (e.router->route() != 0 && !hangFromParent(in, e, byRoute)) return false;
  for (auto& e : routers) {
    uint64_t route = e.router->route();
    controller.routers[route] = std::move(e.router);
  }
  return true;
}

}  // namespace tbt::sim
