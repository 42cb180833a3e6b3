// The topology as a Graphviz graph. One cluster per controller holds its
// routers, the links between them (each end labelled with its adapter
// number) and the other hosts its XDomain links lead to; the tunnels of the
// paths report are drawn over them as coloured edges that do not move the
// routers around.
#include "cli/topology_dot.h"

#include <array>
#include <ostream>
#include <vector>

#include "kernel/config_space.h"
#include "kernel/user_client_manager.h"
#include "platform/registry_helpers.h"
#include "platform/text.h"
#include "toolkit/topology_keys.h"
#include "toolkit/utilities.h"

namespace tbt::cli {
namespace {

ThunderboltUserClientUtils& utils() { return ThunderboltUserClientUtils::sharedInstance(); }

unsigned long long ull(uint64_t value) { return static_cast<unsigned long long>(value); }

std::string routerNode(uint8_t routerID, uint64_t route) { return textf("r%u_%llx", routerID, ull(route)); }
std::string peerNode(uint8_t routerID, uint64_t route, uint32_t adapter) {
  return textf("x%u_%llx_%u", routerID, ull(route), adapter);
}

std::string registryString(const RegistryEntry& entry, std::string_view key) {
  std::optional<Property> p = entry.property(key);
  return p && p->isString() ? p->asString() : std::string();
}

// The statements of one controller's cluster, depth first from its host router.
class ClusterWriter {
 public:
  ClusterWriter(std::string& out, uint8_t routerID) : out_(out), routerID_(routerID) {}

  void router(const RegistryEntry& sw) {
    const uint64_t route = routeOfEntry(sw);
    uint64_t depth = 0;
    readRegistryNumber64(sw, kDepthKey, depth);
    std::string label = textf("Router 0x%llx\\n", ull(route));
    uint32_t identity = 0;
    const Status s = utils().configReadWithRouterID(routerID_, route, 0, kDeviceSpace, kIdentityDword, identity);
    if (s == status::kSuccess)
      appendf(label, "vendor 0x%04x device 0x%04x\\n", kVendorID.of(identity), kDeviceID.of(identity));
    else
      appendf(label, "identity unreadable: %s\\n", dotEscaped(describeStatus(s)).c_str());
    const std::string vendor = registryString(sw, kVendorNameKey);
    const std::string model = registryString(sw, kModelNameKey);
    if (!vendor.empty() || !model.empty())
      appendf(label, "%s%s%s\\n", dotEscaped(vendor).c_str(), vendor.empty() || model.empty() ? "" : " ",
              dotEscaped(model).c_str());
    appendf(label, "depth %llu", ull(depth));
    appendf(out_, "    \"%s\" [label=\"%s\"];\n", routerNode(routerID_, route).c_str(), label.c_str());
    for (const RegistryEntry& port : sw.children())
      if (port.conformsTo(kPortClass)) adapter(port, route);
  }

 private:
  void adapter(const RegistryEntry& port, uint64_t route) {
    uint64_t number = 0;
    readRegistryNumber64(port, kPortNumberKey, number);
    RegistryEntry downstream = utils().childPortFromPort(port, routerID_);
    RegistryEntry below = downstream ? utils().switchFromPort(downstream, routerID_) : RegistryEntry();
    if (below) {
      uint64_t far = 0;
      readRegistryNumber64(downstream, kPortNumberKey, far);
      appendf(out_, "    \"%s\" -> \"%s\" [taillabel=\"%llu\", headlabel=\"%llu\"];\n",
              routerNode(routerID_, route).c_str(), routerNode(routerID_, routeOfEntry(below)).c_str(), ull(number),
              ull(far));
      router(below);
    } else if (utils().childXDomainLinkFromPort(port, routerID_)) {
      const std::string peer = peerNode(routerID_, route, static_cast<uint32_t>(number));
      appendf(out_, "    \"%s\" [label=\"another host\\n(XDomain)\", shape=ellipse, style=dashed];\n", peer.c_str());
      appendf(out_, "    \"%s\" -> \"%s\" [taillabel=\"%llu\", style=dashed];\n", routerNode(routerID_, route).c_str(),
              peer.c_str(), ull(number));
    }
  }

  std::string& out_;
  uint8_t routerID_;
};

// Colours told apart on a white page, one per tunnel in turn.
constexpr std::array<const char*, 8> kTunnelColours = {"blue",   "red",    "darkgreen", "darkorange",
                                                       "purple", "brown4", "deeppink3", "cyan4"};

void tunnelEdge(std::string& out, const std::string& from, const std::string& to, const char* colour,
                const std::string& label, const std::string& tooltip, bool dashed) {
  // Links are drawn without arrowheads; a tunnel goes one way.
  appendf(out,
          "    \"%s\" -> \"%s\" [color=\"%s\", fontcolor=\"%s\", label=\"%s\", tooltip=\"%s\", penwidth=2, "
          "dir=forward, constraint=false%s];\n",
          from.c_str(), to.c_str(), colour, colour, label.c_str(), tooltip.c_str(), dashed ? ", style=dashed" : "");
}

// One tunnel: its links, and where it comes from and goes to another host.
void tunnel(std::string& out, const TracedPath& path, size_t index) {
  const char* colour = kTunnelColours[index % kTunnelColours.size()];
  const uint8_t rid = path.routerID;
  const char* owner = path.fromEFI ? "EFI" : "OS";
  const std::string tooltip =
      dotEscaped(path.error ? textf("%s: %s at 0x%llx:%u, ERROR", owner, path.startName.c_str(),
                                    ull(path.startRoute), path.startAdapter)
                            : textf("%s: %s at 0x%llx:%u to %s at 0x%llx:%u", owner, path.startName.c_str(),
                                    ull(path.startRoute), path.startAdapter, path.endName.c_str(),
                                    ull(path.endRoute), path.endAdapter));
  if (path.startsAtXDomain)
    tunnelEdge(out, peerNode(rid, path.startRoute, path.startXDomainAdapter), routerNode(rid, path.startRoute),
               colour, textf("hop %llu", ull(path.startHopID)), tooltip, false);
  for (const TracedLink& link : path.links)
    tunnelEdge(out, routerNode(rid, link.fromRoute), routerNode(rid, link.toRoute), colour,
               textf("hop %llu", ull(link.hopID)), tooltip, false);
  if (path.error) {
    const std::string end = textf("e%zu", index);
    appendf(out, "    \"%s\" [label=\"ERROR\", shape=plaintext, fontcolor=\"%s\"];\n", end.c_str(), colour);
    tunnelEdge(out, routerNode(rid, path.endRoute), end, colour, textf("hop %llu", ull(path.endHopID)), tooltip,
               true);
  } else if (path.endsAtXDomain) {
    tunnelEdge(out, routerNode(rid, path.endRoute), peerNode(rid, path.endRoute, path.endXDomainAdapter), colour,
               textf("hop %llu", ull(path.endHopID)), tooltip, false);
  } else if (path.links.empty() && !path.startsAtXDomain) {
    // A path between two adapters of one router.
    tunnelEdge(out, routerNode(rid, path.startRoute), routerNode(rid, path.endRoute), colour,
               textf("%u to %u, hop %llu", path.startAdapter, path.endAdapter, ull(path.startHopID)), tooltip,
               false);
  }
}

}  // namespace

std::string dotEscaped(std::string_view text) {
  std::string out;
  for (char c : escapeControls(text)) {
    if (c == '\\' || c == '"') out += '\\';
    out += c;
  }
  return out;
}

int runTopologyDot(CommandContext& context, bool tunnels) {
  const auto& userClients = ThunderboltUserClientManager::sharedInstance().userClientSet();
  if (userClients.empty()) return context.failure("no Thunderbolt controller found");
  std::string out =
      "digraph thunderbolt {\n"
      "  graph [rankdir=TB, fontname=\"sans-serif\"];\n"
      "  node [shape=box, style=rounded, fontname=\"sans-serif\"];\n"
      "  edge [dir=none, fontname=\"sans-serif\", fontsize=10];\n";
  const std::vector<TracedPath> paths = tunnels ? utils().tracedPaths() : std::vector<TracedPath>();
  size_t index = 0;
  for (const auto& userClient : userClients) {
    const uint8_t routerID = userClient->routerID();
    appendf(out, "  subgraph \"cluster_%zu\" {\n    label=\"Controller %zu: router ID %u\";\n", index, index,
            routerID);
    ++index;
    RegistryEntry hostSwitch = utils().switchFromPort(utils().nhiForRouterID(routerID), routerID);
    if (hostSwitch)
      ClusterWriter(out, routerID).router(hostSwitch);
    else
      appendf(out, "    \"nohost%u\" [label=\"no host switch\", shape=plaintext];\n", routerID);
    // The tunnels of this controller, each in a colour of its own.
    for (size_t i = 0; i < paths.size(); ++i)
      if (paths[i].routerID == routerID) tunnel(out, paths[i], i);
    out += "  }\n";
  }
  out += "}\n";
  context.out() << out;
  return kExitSuccess;
}

}  // namespace tbt::cli
