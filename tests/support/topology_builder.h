#pragma once
// Builders for topology and path tests: a simulated host assembled router by
// router and adapter by adapter, hand-made registry shapes the simulation
// never publishes, and short names for registry entries so that expectation
// tables read like the diagram above them.
//
//   TopologyBuilder b({0x0, 0x1});
//   b.adapter(0x0, 11, kDPIn).hop(0x0, 11, 8, 1, 9).lane(0x0, 1, 1);
//   ScopedHost host(b.json());
#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/registry.h"
#include "platform/registry_helpers.h"
#include "platform/text.h"
#include "support/scoped_host.h"

namespace tbt::test {

/// Adapter types as port space double word 2 holds them.
inline constexpr uint32_t kLane = 0x000001;
inline constexpr uint32_t kNHI = 0x000002;
inline constexpr uint32_t kDPIn = 0x0E0101;
inline constexpr uint32_t kDPOut = 0x0E0102;
inline constexpr uint32_t kPCIDown = 0x100101;
inline constexpr uint32_t kPCIUp = 0x100102;

/// The adapter that every built host router uses as its host interface.
inline constexpr uint32_t kHostInterfaceAdapter = 5;

/// A valid hardware path entry leaving by dstPort with dstHopID.
inline uint32_t pathEntry(uint32_t dstPort, uint32_t dstHopID) { return 0x80000000u | dstPort << 11 | dstHopID; }

/// A host of one controller assembled in code (see hostWithRouters for the
/// routes' shape); the host router has its host interface at adapter 5.
class TopologyBuilder {
 public:
  explicit TopologyBuilder(std::initializer_list<uint64_t> routes, uint64_t uid = 0)
      : host_(hostWithRouters(routes, uid)) {
    adapter(0, kHostInterfaceAdapter, kNHI);
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
  /// the hardware path entry that agrees with it.
  TopologyBuilder& hop(uint64_t route, uint32_t port, uint32_t hopID, uint32_t dstPort, uint32_t dstHopID,
                       bool efi = false, bool agree = true) {
    nlohmann::json& table = portOf(route, port)["registry"]["Hop Table"];
    table.push_back({{"Hop ID", hopID}, {"Dst Port", dstPort}, {"Dst Hop ID", dstHopID}, {"Inherited From EFI", efi}});
    if (agree) pathSpace(route, port, hopID, pathEntry(dstPort, dstHopID));
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

/// A hand-made registry entry, for shapes the simulated driver never
/// publishes (a lane adapter with two child ports, ...).
class FakeNode : public RegistryNode, public std::enable_shared_from_this<FakeNode> {
 public:
  explicit FakeNode(std::vector<std::string> classes) : classes_(std::move(classes)) {}

  /// Adds a child of the given classes (most derived first) and returns it.
  std::shared_ptr<FakeNode> add(std::vector<std::string> classes) {
    auto child = std::make_shared<FakeNode>(std::move(classes));
    child->parent_ = weak_from_this();
    children_.push_back(child);
    return child;
  }
  FakeNode& set(const std::string& key, uint64_t value) {
    properties_.set(key, Property::number(value));
    return *this;
  }
  RegistryEntry entry() { return RegistryEntry(shared_from_this()); }

  std::string className() const override { return classes_.front(); }
  bool conformsTo(std::string_view name) const override {
    for (const std::string& c : classes_)
      if (c == name) return true;
    return false;
  }
  std::optional<Property> property(std::string_view key) const override {
    const Property* p = properties_.find(key);
    return p ? std::optional<Property>(*p) : std::nullopt;
  }
  std::vector<std::string> propertyKeys() const override {
    std::vector<std::string> keys;
    for (const auto& item : properties_.items()) keys.push_back(item.first);
    return keys;
  }
  std::vector<RegistryEntry> children() const override {
    return std::vector<RegistryEntry>(children_.begin(), children_.end());
  }
  std::vector<RegistryEntry> parents() const override {
    if (auto p = parent_.lock()) return {RegistryEntry(p)};
    return {};
  }
  std::string path() const override { return "Fake:/" + className(); }

 private:
  std::vector<std::string> classes_;
  PropertyDict properties_;
  std::weak_ptr<FakeNode> parent_;
  std::vector<std::shared_ptr<FakeNode>> children_;
};

inline std::shared_ptr<FakeNode> fakePort(uint64_t number, uint64_t adapterType) {
  auto port = std::make_shared<FakeNode>(std::vector<std::string>{"IOThunderboltPort"});
  port->set("Port Number", number).set("Adapter Type", adapterType);
  return port;
}

/// A short name of a topology entry, from the registry shape alone:
/// "switch 0x301", "port 0x1:3" (an adapter of switch 0x1), "up 0x301:1" (the
/// upstream adapter switch 0x301 hangs from), "nhi:5" (a host interface
/// adapter), "xdomain", "none", or "?" for anything else.
inline std::string describeEntry(const RegistryEntry& e) {
  auto route = [](const RegistryEntry& sw) { return static_cast<unsigned long long>(routeOfEntry(sw)); };
  auto number = [](const RegistryEntry& p) {
    uint64_t n = 0;
    readRegistryNumber64(p, "Port Number", n);
    return static_cast<unsigned long long>(n);
  };
  if (!e) return "none";
  if (e.conformsTo("IOThunderboltSwitch")) return textf("switch 0x%llx", route(e));
  if (e.conformsTo("IOThunderboltXDomainLink")) return "xdomain";
  if (!e.conformsTo("IOThunderboltPort")) return "?";
  std::vector<RegistryEntry> parents = e.parents();
  if (!parents.empty() && parents.front().conformsTo("IOThunderboltSwitch"))
    return textf("port 0x%llx:%llu", route(parents.front()), number(e));
  for (const RegistryEntry& child : e.children())
    if (child.conformsTo("IOThunderboltSwitch"))
      return parents.empty() || !parents.front().conformsTo("IOThunderboltPort")
                 ? textf("nhi:%llu", number(e))
                 : textf("up 0x%llx:%llu", route(child), number(e));
  return "?";
}

/// The whole text of a file, or "" when it cannot be read.
inline std::string readTextFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

/// The JSON text of fixtures/hosts/NAME.
inline std::string fixtureHost(const std::string& name) {
  return readTextFile(std::string(TBT_FIXTURES_DIR) + "/hosts/" + name);
}

}  // namespace tbt::test
