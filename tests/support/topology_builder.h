#pragma once
// Builders for topology and path tests: a simulated host assembled router by
// router and adapter by adapter, and short names for registry entries so
// that expectation tables read like the diagram above them.
//
//   TopologyBuilder b({0x0, 0x1});
//   b.adapter(0x0, 11, kDPInAdapterType).hop(0x0, 11, 8, 1, 9).lane(0x0, 1, 1);
//   ScopedHost host(b.json());
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "kernel/config_space.h"
#include "platform/registry.h"
#include "platform/registry_helpers.h"
#include "platform/text.h"
#include "support/scoped_host.h"
#include "support/temp_dir.h"

namespace tbt::test {

/// The adapter that every built host router uses as its host interface.
inline constexpr uint32_t kHostInterfaceAdapter = 5;

/// A host of one controller assembled in code (see hostWithRouters for the
/// routes' shape); the host router has its host interface at adapter 5.
class TopologyBuilder {
 public:
  explicit TopologyBuilder(std::initializer_list<uint64_t> routes) : host_(hostWithRouters(routes)) {
    adapter(0, kHostInterfaceAdapter, kNHIAdapterType);
  }

  /// Gives (route, port) an adapter type.
  TopologyBuilder& adapter(uint64_t route, uint32_t port, uint32_t type) {
    portOf(route, port)["port-space"]["2"] = hex(type);
    return *this;
  }
  /// Sets a registry property of (route, port).
  TopologyBuilder& property(uint64_t route, uint32_t port, const std::string& key, nlohmann::json value) {
    portOf(route, port)["registry"][key] = std::move(value);
    return *this;
  }
  TopologyBuilder& lane(uint64_t route, uint32_t port, int lane) { return property(route, port, "Lane", lane); }
  /// Marks (route, port) as leading to another host.
  TopologyBuilder& xdomain(uint64_t route, uint32_t port) {
    portOf(route, port)["xdomain"] = true;
    return *this;
  }
  /// Adds a "Hop Table" entry to (route, port) and, unless agree is false,
  /// the valid hardware path entry that agrees with it.
  TopologyBuilder& hop(uint64_t route, uint32_t port, uint32_t hopID, uint32_t dstPort, uint32_t dstHopID,
                       bool efi = false, bool agree = true) {
    nlohmann::json& table = portOf(route, port)["registry"]["Hop Table"];
    table.push_back({{"Hop ID", hopID}, {"Dst Port", dstPort}, {"Dst Hop ID", dstHopID}, {"Inherited From EFI", efi}});
    if (agree) pathSpace(route, port, hopID, 0x80000000u | dstPort << 11 | dstHopID);
    return *this;
  }
  /// Sets the hardware path entry of hopID on (route, port).
  TopologyBuilder& pathSpace(uint64_t route, uint32_t port, uint32_t hopID, uint32_t value) {
    portOf(route, port)["path-space"][std::to_string(2 * hopID)] = hex(value);
    return *this;
  }

  nlohmann::json& host() { return host_; }
  std::string json() const { return host_.dump(); }

 private:
  nlohmann::json& portOf(uint64_t route, uint32_t port) {
    return routerOf(host_, route)["ports"][std::to_string(port)];
  }

  nlohmann::json host_;
};

/// A short name of a topology entry, from the registry shape alone:
/// "switch 0x301", "port 0x1:3" (an adapter of switch 0x1), "up 0x301:1" (the
/// upstream adapter switch 0x301 hangs from), "nhi:5" (a host interface
/// adapter), "xdomain", "none", or "?" for anything else.
inline std::string describeEntry(const RegistryEntry& e) {
  auto route = [](const RegistryEntry& sw) { return static_cast<unsigned long long>(routeOfEntry(sw)); };
  uint64_t number = 0;
  readRegistryNumber64(e, kPortNumberKey, number);
  if (!e) return "none";
  if (e.conformsTo(kSwitchClass)) return textf("switch 0x%llx", route(e));
  if (e.conformsTo(kXDomainLinkClass)) return "xdomain";
  if (!e.conformsTo(kPortClass)) return "?";
  std::vector<RegistryEntry> parents = e.parents();
  const RegistryEntry parent = parents.empty() ? RegistryEntry() : parents.front();
  if (parent.conformsTo(kSwitchClass)) return textf("port 0x%llx:%llu", route(parent), static_cast<unsigned long long>(number));
  RegistryEntry below = firstChildOfClass(e, kSwitchClass);
  if (!below) return "?";
  return parent.conformsTo(kPortClass) ? textf("up 0x%llx:%llu", route(below), static_cast<unsigned long long>(number))
                                       : textf("nhi:%llu", static_cast<unsigned long long>(number));
}

/// The JSON text of fixtures/hosts/NAME.
inline std::string fixtureHost(const std::string& name) {
  return readFile(std::string(TBT_FIXTURES_DIR) + "/hosts/" + name);
}

/// The text of tests/golden/NAME.
inline std::string goldenFile(const std::string& name) {
  return readFile(std::string(TBT_FIXTURES_DIR) + "/../tests/golden/" + name);
}

}  // namespace tbt::test
