// Deriving the registry from the machine: the host probes below the platform
// entry, and for each controller the tree that its driver publishes:
// controller -> host interface port -> host switch -> its ports -> (for a
// connected lane adapter) the downstream router's upstream port -> that
// router's switch -> its other ports, and so on; a lane adapter that leads to
// another host gets an "IOThunderboltXDomainLink" child.
#include "platform/text.h"
#include "sim/register_fields.h"
#include "sim/sim_host.h"
#include "sim/sim_registry.h"

namespace tbt::sim {

namespace {

/// Applies the host file's registry properties over the derived ones: given
/// values replace, left-out keys go.
void applyRegistry(SimNode& node, const RegistryOverrides* overrides) {
  if (!overrides) return;
  for (const auto& [k, v] : overrides->set.items()) node.properties().set(k, v);
  for (const auto& k : overrides->removed) node.properties().erase(k);
}

class TreeBuilder {
 public:
  explicit TreeBuilder(const Controller& c) : controller_(c) {}

  /// The tree below a controller entry.
  void build(SimNode& controllerNode) {
    auto host = controller_.routers.find(0);
    if (host == controller_.routers.end()) return;
    const Router& r = *host->second;
    hostInterface_ = 0;
    for (uint32_t p : r.ports())
      if (!hostInterface_ && r.adapterType(p) == kHostInterfaceAdapter) hostInterface_ = p;
    std::shared_ptr<SimNode> port;
    if (hostInterface_) {
      port = addPort(controllerNode, r, hostInterface_);
    } else {
      // The file describes no host interface adapter: the entry is still there.
      port = controllerNode.addChild("IOThunderboltPort", "IOThunderboltPort@host");
    }
    addSwitch(*port, r);
  }

 private:
  const Router* routerAt(std::optional<uint64_t> route) const {
    auto it = route ? controller_.routers.find(*route) : controller_.routers.end();
    return it == controller_.routers.end() ? nullptr : it->second.get();
  }
  const Router* childAt(const Router& r, uint32_t port) const { return routerAt(r.childRoute(port)); }

  std::shared_ptr<SimNode> addPort(SimNode& parent, const Router& r, uint32_t port) {
    auto node = parent.addChild("IOThunderboltPort", textf("IOThunderboltPort@%u", port));
    auto& props = node->properties();
    props.set("Port Number", Property::number(port));
    props.set("Adapter Type", Property::number(r.adapterType(port)));
    const Router* peer = nullptr;
    uint32_t peerPort = 0;
    if (const Router* child = childAt(r, port)) {
      peer = child;
      peerPort = child->upstreamPort();
    } else if (r.route() != 0 && port == r.upstreamPort()) {
      peer = routerAt(r.parentRoute());
      peerPort = r.parentAdapter();
    }
    if (peer) {
      props.set("Peer Port Route String", Property::number(peer->route()));
      props.set("Peer Port Number", Property::number(peerPort));
    }
    applyRegistry(*node, r.portRegistry(port));
    return node;
  }

  void addSwitch(SimNode& upstream, const Router& r) {
    auto sw = upstream.addChild("IOThunderboltSwitch", textf("IOThunderboltSwitch@%llx",
                                                             static_cast<unsigned long long>(r.route())));
    sw->properties().set("Route String", Property::number(r.route()));
    sw->properties().set("Depth", Property::number(r.depth()));
    applyRegistry(*sw, &r.registry());
    uint32_t skip = r.route() == 0 ? hostInterface_ : r.upstreamPort();
    for (uint32_t p : r.ports()) {
      if (p == skip) continue;
      auto port = addPort(*sw, r, p);
      if (const Router* child = childAt(r, p)) {
        auto childPort = addPort(*port, *child, child->upstreamPort());
        addSwitch(*childPort, *child);
      } else if (r.leadsToHost(p)) {
        port->addChild("IOThunderboltXDomainLink", "IOThunderboltXDomainLink");
      }
    }
  }

  const Controller& controller_;
  uint32_t hostInterface_ = 0;
};

void addHostProbes(SimNode& platform, const HostFacts& f,
                   RegistryAliases& aliases) {
  if (f.boardId) {
    // The board id is published as data with its terminating NUL.
    std::vector<uint8_t> bytes(f.boardId->begin(), f.boardId->end());
    bytes.push_back(0);
    platform.properties().set("board-id", Property::data(std::move(bytes)));
  }
  if (f.hasRom) {
    auto rom = platform.addChild("IOService", "rom");
    if (f.romVersion) rom->properties().set("version", Property::string(*f.romVersion));
    if (f.romVendor) rom->properties().set("vendor", Property::string(*f.romVendor));
    aliases["IODeviceTree:/rom"] = rom;
  }
  auto power = platform.addChild("IOPMrootDomain", "IOPMrootDomain");
  power->properties().set("KelvoClamshellState", Property::boolean(f.lidClosed));
  for (size_t i = 0; i < f.batteries.size(); ++i) {
    auto battery = power->addChild("KelvoSmartBattery", textf("KelvoSmartBattery@%zu", i));
    if (f.batteries[i]) battery->properties().set("ExternalConnected", Property::boolean(*f.batteries[i]));
  }
  if (f.bootDisk) {
    auto media = platform.addChild("IOMedia", *f.bootDisk);
    media->properties().set("BSD Name", Property::string(*f.bootDisk));
  }
}

}  // namespace

SimRegistry::SimRegistry(const SimHost& host) {
  auto platform = root_->addChild("IOPlatformDevice", "Platform");
  aliases_["IODeviceTree:/"] = platform;
  addHostProbes(*platform, host.facts(), aliases_);
  for (size_t c = 0; c < host.controllers().size(); ++c) {
    auto node = platform->addChild("IOThunderboltController", textf("IOThunderboltController@%zu", c));
    node->controllerIndex = c;
    TreeBuilder(host.controllers()[c]).build(*node);
  }
}

}  // namespace tbt::sim
