#include "compare/host_diff.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "platform/text.h"
#include "sim/config_bridge_model.h"
#include "sim/router.h"
#include "sim/sim_host.h"

namespace tbt::compare {
namespace {

// A bridge reaches a router at least one link further down; a route string
// crosses at most seven links, and a link controller counts its bridges' buses in four bits.
constexpr size_t kMaxBridgeChain = 7;
constexpr uint32_t kBridgeBuses = 16;

// Every router of a host by place: those on a controller's routes and those behind their bridges.
using Routers = std::map<RouterPlace, const sim::Router*>;

void addBridged(const sim::Router& router, RouterPlace place, Routers& out) {
  if (place.buses.size() >= kMaxBridgeChain) return;
  for (uint32_t bus = 0; bus < kBridgeBuses; ++bus) {
    const sim::Router* far = sim::farRouter(router, bus);
    if (!far) continue;
    RouterPlace next = place;
    next.buses.push_back(bus);
    out[next] = far;
    addBridged(*far, std::move(next), out);
  }
}

Routers routersOf(const sim::SimHost& host, const DiffScope& scope) {
  Routers out;
  for (size_t c = 0; c < host.controllers().size(); ++c)
    for (const auto& [route, router] : host.controllers()[c].routers) {
      if (scope.route && *scope.route != route) continue;
      RouterPlace place{c, route, {}};
      out[place] = router.get();
      addBridged(*router, place, out);
    }
  return out;
}

Identity identityOf(const sim::Router& router) {
  Identity id;
  if (!router.readFailure(0, sim::kDeviceSpace, 0) && (router.isSet(0, sim::kDeviceSpace, 0) || !router.unlistedStatus()))
    id.vendorDevice = router.peek(0, sim::kDeviceSpace, 0);
  if (const Property* uid = router.registry().set.find("UID"); uid && uid->isNumber()) id.uid = uid->asNumber();
  return id;
}

// How the captured router answers a read of the double word.
Answer answerOf(const sim::Router& router, uint32_t port, uint32_t space, uint32_t index) {
  if (std::optional<Status> failed = router.readFailure(port, space, index)) return {false, 0, *failed};
  if (router.isSet(port, space, index)) return {true, router.peek(port, space, index), 0};
  if (router.unlistedStatus()) return {false, 0, *router.unlistedStatus()};
  return {true, 0, 0};
}

// The indexes either router lists in (port, space), ascending, each once.
std::vector<IndexRange> listedByEither(const sim::Router& a, const sim::Router& b, uint32_t port, uint32_t space) {
  std::vector<IndexRange> ranges = a.listedIndexes(port, space);
  const std::vector<IndexRange> more = b.listedIndexes(port, space);
  ranges.insert(ranges.end(), more.begin(), more.end());
  std::sort(ranges.begin(), ranges.end(), [](IndexRange x, IndexRange y) { return x.first < y.first; });
  std::vector<IndexRange> joined;
  for (IndexRange r : ranges) {
    if (!joined.empty() && r.first <= joined.back().last + 1) joined.back().last = std::max(joined.back().last, r.last);
    else joined.push_back(r);
  }
  return joined;
}

void compareSpace(const sim::Router& a, const sim::Router& b, uint32_t port, uint32_t space, RouterDifference& out) {
  for (IndexRange r : listedByEither(a, b, port, space)) {
    for (uint64_t index = r.first; index <= r.last; ++index) {
      const uint32_t i = static_cast<uint32_t>(index);
      const Answer x = answerOf(a, port, space, i);
      const Answer y = answerOf(b, port, space, i);
      if (x.read && y.read && x.value != y.value) out.words.push_back({{port, space, i}, x, y});
      else if (x.read != y.read) out.unreadable.push_back({{port, space, i}, x, y});
    }
  }
}

void compareRouters(const sim::Router& a, const sim::Router& b, const DiffScope& scope, RouterDifference& out) {
  if (!scope.port || *scope.port == 0) compareSpace(a, b, 0, sim::kDeviceSpace, out);
  std::vector<uint32_t> ports = a.ports();
  ports.insert(ports.end(), b.ports().begin(), b.ports().end());
  std::sort(ports.begin(), ports.end());
  ports.erase(std::unique(ports.begin(), ports.end()), ports.end());
  for (uint32_t port : ports) {
    if (scope.port && *scope.port != port) continue;
    for (uint32_t space : {sim::kPortSpace, sim::kPathSpace, sim::kCounterSpace})
      if (space != sim::kCounterSpace || scope.counters) compareSpace(a, b, port, space, out);
  }
}

}  // namespace

bool RouterPlace::operator<(const RouterPlace& other) const {
  return std::tie(controller, route, buses) < std::tie(other.controller, other.route, other.buses);
}

std::string placeText(const RouterPlace& place) {
  std::string text = textf("0x%llx", static_cast<unsigned long long>(place.route));
  for (uint32_t bus : place.buses) appendf(text, " bus %u", bus);
  return text;
}

std::string identityText(const Identity& identity) {
  std::string text = identity.vendorDevice ? textf("vendor 0x%04x device 0x%04x", *identity.vendorDevice & 0xffff,
                                                   *identity.vendorDevice >> 16)
                                           : std::string("identity unreadable");
  if (identity.uid) appendf(text, ", UID 0x%016llx", static_cast<unsigned long long>(*identity.uid));
  return text;
}

std::vector<RouterDifference> compareHosts(const sim::SimHost& a, const sim::SimHost& b, const DiffScope& scope) {
  const Routers left = routersOf(a, scope);
  const Routers right = routersOf(b, scope);
  std::vector<RouterDifference> out;
  auto l = left.begin();
  auto r = right.begin();
  while (l != left.end() || r != right.end()) {
    RouterDifference d;
    if (r == right.end() || (l != left.end() && l->first < r->first)) {
      d.place = l->first;
      d.kind = RouterDifference::Kind::OnlyInA;
      d.a = identityOf(*l++->second);
    } else if (l == left.end() || r->first < l->first) {
      d.place = r->first;
      d.kind = RouterDifference::Kind::OnlyInB;
      d.b = identityOf(*r++->second);
    } else {
      d.place = l->first;
      d.a = identityOf(*l->second);
      d.b = identityOf(*r->second);
      if (d.a != d.b) d.kind = RouterDifference::Kind::Replaced;
      else compareRouters(*l->second, *r->second, scope, d);
      ++l, ++r;
      if (d.kind == RouterDifference::Kind::Registers && d.words.empty() && d.unreadable.empty()) continue;
    }
    out.push_back(std::move(d));
  }
  return out;
}

}  // namespace tbt::compare
