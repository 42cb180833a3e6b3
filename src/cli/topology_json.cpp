// tbkit list --json and tbkit read --json.
#include <nlohmann/json.hpp>

#include "cli/json_output.h"
#include "kernel/config_space.h"
#include "kernel/user_client_manager.h"
#include "platform/registry_helpers.h"
#include "platform/text.h"
#include "toolkit/topology_keys.h"
#include "toolkit/utilities.h"

namespace tbt::cli {
namespace {

using json = nlohmann::ordered_json;

ThunderboltUserClientUtils& utils() { return ThunderboltUserClientUtils::sharedInstance(); }

std::string routeText(uint64_t route) { return textf("0x%llx", static_cast<unsigned long long>(route)); }
std::string uidText(uint64_t uid) { return textf("0x%016llx", static_cast<unsigned long long>(uid)); }

// The tree below one controller's host router, the same walk as the text list.
class TopologyDocument {
 public:
  explicit TopologyDocument(uint8_t routerID) : routerID_(routerID) {}

  json router(const RegistryEntry& sw) {
    const uint64_t route = routeOfEntry(sw);
    uint64_t depth = 0;
    uint64_t uid = 0;
    readRegistryNumber64(sw, "Depth", depth);
    json node = {{"route", routeText(route)}, {"depth", depth}};
    uint32_t identity = 0;
    const Status s = utils().configReadWithRouterID(routerID_, route, 0, kDeviceSpace, kIdentityDword, identity);
    if (s == status::kSuccess) {
      node["vendorID"] = kVendorID.of(identity);
      node["deviceID"] = kDeviceID.of(identity);
    } else {
      node["identityError"] = describeStatus(s);
    }
    node["uid"] = readRegistryNumber64(sw, kUIDKey, uid) ? json(uidText(uid)) : json(nullptr);
    json adapters = json::array();
    std::vector<RegistryEntry> parents = sw.parents();
    if (!parents.empty() && parents.front().conformsTo(kPortClass))
      adapters.push_back(upstreamAdapter(parents.front(), route == 0 ? "host interface" : "upstream"));
    for (const RegistryEntry& port : sw.children())
      if (port.conformsTo(kPortClass)) adapters.push_back(downstreamAdapter(port));
    node["adapters"] = std::move(adapters);
    return node;
  }

 private:
  static json adapterHead(const RegistryEntry& port) {
    uint64_t number = 0;
    readRegistryNumber64(port, kPortNumberKey, number);
    return {{"number", number}, {"type", adapterTypeName(adapterTypeOfPort(port))}};
  }

  json upstreamAdapter(const RegistryEntry& port, const char* role) {
    json adapter = adapterHead(port);
    RegistryEntry above = utils().switchFromPort(utils().peerForNULLPort(port, routerID_), routerID_);
    adapter["role"] = role;
    adapter["from"] = above ? json(routeText(routeOfEntry(above))) : json(nullptr);
    return adapter;
  }

  json downstreamAdapter(const RegistryEntry& port) {
    json adapter = adapterHead(port);
    RegistryEntry downstream = utils().childPortFromPort(port, routerID_);
    RegistryEntry below = downstream ? utils().switchFromPort(downstream, routerID_) : RegistryEntry();
    if (below) {
      adapter["attached"] = "router";
      adapter["router"] = router(below);
    } else if (utils().childXDomainLinkFromPort(port, routerID_)) {
      adapter["attached"] = "xdomain";
    } else if (adapterTypeOfPort(port) == kLaneAdapterType) {
      adapter["attached"] = "nothing";
    }
    return adapter;
  }

  uint8_t routerID_;
};

}  // namespace

int runListJson(CommandContext& context) {
  const auto& userClients = ThunderboltUserClientManager::sharedInstance().userClientSet();
  if (userClients.empty()) return context.failure("no Thunderbolt controller found");
  json controllers = json::array();
  size_t index = 0;
  for (const auto& userClient : userClients) {
    const uint8_t routerID = userClient->routerID();
    RegistryEntry hostSwitch = utils().switchFromPort(utils().nhiForRouterID(routerID), routerID);
    controllers.push_back({{"index", index++},
                           {"routerID", routerID},
                           {"hostRouter", hostSwitch ? TopologyDocument(routerID).router(hostSwitch) : json(nullptr)}});
  }
  context.out() << json{{"controllers", std::move(controllers)}}.dump(2) << "\n";
  return kExitSuccess;
}

std::string readJson(const char* spaceName, uint32_t port, std::span<const ReadValue> values) {
  json list = json::array();
  for (const ReadValue& v : values) list.push_back({{"index", v.index}, {"value", v.value}});
  return json{{"space", spaceName}, {"port", port}, {"values", std::move(list)}}.dump(2) + "\n";
}

}  // namespace tbt::cli
