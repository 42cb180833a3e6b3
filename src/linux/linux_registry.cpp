#include "linux/linux_registry.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "platform/registry_keys.h"
#include "platform/text.h"

namespace tbt::linux_host {
namespace {

constexpr size_t kMaxDromBytes = 0x10000;
constexpr uint32_t kRouterConfigDword = 1;
constexpr uint32_t kAdapterTypeDword = 2;
constexpr uint32_t kHostInterfaceAdapter = 2;
constexpr uint32_t kLaneAdapter = 1;


unsigned long long ull(uint64_t v) { return static_cast<unsigned long long>(v); }

// Builds one domain's tree below its controller entry.
class DomainBuilder {
 public:
  DomainBuilder(uint32_t domain, const SysfsTree& tree, DebugfsSpaces& spaces, LinuxFiles& files,
                const std::string& debugfs)
      : domain_(domain), spaces_(spaces), files_(files), debugfs_(debugfs) {
    for (const SysfsRouter& r : tree.routers)
      if (r.at.domain == domain) routers_[r.at.route] = &r;
    for (const RouterName& x : tree.xdomains)
      if (x.domain == domain) xdomains_.insert(x.route);
  }

  void build(LinuxNode& controller) {
    auto host = routers_.find(0);
    if (host == routers_.end()) return;
    const SysfsRouter& r = *host->second;
    std::vector<uint32_t> adapters = adaptersOf(r);
    uint32_t hostInterface = 0;
    for (uint32_t p : adapters)
      if (!hostInterface && adapterType(0, p) == kHostInterfaceAdapter) hostInterface = p;
    std::shared_ptr<LinuxNode> port =
        hostInterface ? addPort(controller, 0, hostInterface)
                      : controller.addChild("IOThunderboltPort", "IOThunderboltPort@host");
    addSwitch(*port, r, hostInterface, adapters);
  }

 private:
  std::optional<uint32_t> adapterType(uint64_t route, uint32_t port) {
    uint32_t dw = 0;
    if (spaces_.read(domain_, route, port, kPortSpace, kAdapterTypeDword, dw) != status::kSuccess) return std::nullopt;
    return dw & 0xffffff;
  }

  // The router's upstream adapter from device-space DW1, 0 when unreadable.
  uint32_t upstreamOf(uint64_t route) {
    uint32_t dw = 0;
    if (route == 0 || spaces_.read(domain_, route, 0, kDeviceSpace, kRouterConfigDword, dw) != status::kSuccess)
      return 0;
    return (dw >> 8) & 0x3f;
  }

  std::optional<uint64_t> childRoute(uint64_t route, uint32_t port) const {
    unsigned depth = depthOfRoute(route);
    if (depth >= 8) return std::nullopt;
    return route | uint64_t{port} << (8 * depth);
  }

  // The adapters with a debugfs folder, and those the kernel links a router or
  // another host through (known from the routes even without debugfs).
  std::vector<uint32_t> adaptersOf(const SysfsRouter& r) {
    std::vector<uint32_t> out = spaces_.adapters(domain_, r.at.route);
    const unsigned depth = depthOfRoute(r.at.route);
    auto addLink = [&](uint64_t below) {
      if (below == r.at.route || depthOfRoute(below) != depth + 1) return;
      if ((below & ((uint64_t{1} << (8 * depth)) - 1)) != r.at.route) return;
      uint32_t p = static_cast<uint32_t>(below >> (8 * depth)) & 0xff;
      if (std::find(out.begin(), out.end(), p) == out.end()) out.push_back(p);
    };
    for (const auto& [route, unused] : routers_) addLink(route);
    for (uint64_t route : xdomains_) addLink(route);
    std::sort(out.begin(), out.end());
    return out;
  }

  std::shared_ptr<LinuxNode> addPort(LinuxNode& parent, uint64_t route, uint32_t port) {
    auto node = parent.addChild("IOThunderboltPort", port ? textf("IOThunderboltPort@%u", port) : "IOThunderboltPort");
    if (port == 0) return node;
    node->properties().set(std::string(kPortNumberKey), Property::number(port));
    std::optional<uint32_t> type = adapterType(route, port);
    // A router or another host hangs only from a lane adapter.
    std::optional<uint64_t> below = childRoute(route, port);
    if (!type && below && (routers_.count(*below) || xdomains_.count(*below))) type = kLaneAdapter;
    if (type) node->properties().set(std::string(kAdapterTypeKey), Property::number(*type));
    return node;
  }

  static void setPeer(LinuxNode& port, uint64_t route, uint32_t number) {
    port.properties().set(std::string(kPeerPortRouteStringKey), Property::number(route));
    if (number) port.properties().set(std::string(kPeerPortNumberKey), Property::number(number));
  }

  void setSwitchProperties(LinuxNode& sw, const SysfsRouter& r) {
    auto& p = sw.properties();
    p.set(std::string(kRouteStringKey), Property::number(r.at.route));
    p.set(std::string(kDepthKey), Property::number(depthOfRoute(r.at.route)));
    if (r.at.route == 0) {
      // The toolkit numbers a controller by the low four bits of its host
      // switch's UID; here a controller is a domain, so they carry its index.
      p.set(std::string(kUIDKey), Property::number((r.uid.value_or(0) & ~uint64_t{0xf}) | (domain_ & 0xf)));
    } else if (r.uid) {
      p.set(std::string(kUIDKey), Property::number(*r.uid));
    }
    if (r.vendor) p.set("Device Vendor ID", Property::number(*r.vendor));
    if (r.device) p.set("Device Model ID", Property::number(*r.device));
    if (r.vendorName) p.set(std::string(kVendorNameKey), Property::string(*r.vendorName));
    if (r.deviceName) p.set(std::string(kModelNameKey), Property::string(*r.deviceName));
    uint32_t identity = 0;
    if (spaces_.read(domain_, r.at.route, 0, kDeviceSpace, 0, identity) == status::kSuccess)
      p.set("Device ID", Property::number(identity >> 16));
    if (r.nvmVersion) {
      p.set("ROM Version", Property::number(r.nvmVersion->first));
      p.set("NVM Revision", Property::number(r.nvmVersion->second));
    }
    std::string drom;
    if (files_.read(debugfs_ + "/" + r.name + "/drom", kMaxDromBytes, drom) == 0 && !drom.empty())
      p.set(std::string(kDromKey), Property::data(std::vector<uint8_t>(drom.begin(), drom.end())));
  }

  void addSwitch(LinuxNode& upstream, const SysfsRouter& r, uint32_t skip, const std::vector<uint32_t>& adapters) {
    if (++built_ > routers_.size()) return;  // every router once, whatever the routes say
    auto sw = upstream.addChild("IOThunderboltSwitch", textf("IOThunderboltSwitch@%llx", ull(r.at.route)));
    setSwitchProperties(*sw, r);
    for (uint32_t p : adapters) {
      if (p == skip) continue;
      auto port = addPort(*sw, r.at.route, p);
      std::optional<uint64_t> below = childRoute(r.at.route, p);
      auto child = below ? routers_.find(*below) : routers_.end();
      if (child != routers_.end()) {
        const SysfsRouter& c = *child->second;
        const uint32_t up = upstreamOf(c.at.route);
        auto childPort = addPort(*port, c.at.route, up);
        setPeer(*port, c.at.route, up);
        setPeer(*childPort, r.at.route, p);
        addSwitch(*childPort, c, up, adaptersOf(c));
      } else if (below && xdomains_.count(*below)) {
        port->addChild("IOThunderboltXDomainLink", "IOThunderboltXDomainLink");
      }
    }
  }

  uint32_t domain_;
  DebugfsSpaces& spaces_;
  LinuxFiles& files_;
  const std::string& debugfs_;
  std::map<uint64_t, const SysfsRouter*> routers_;
  std::set<uint64_t> xdomains_;
  size_t built_ = 0;
};

void addHostProbes(LinuxNode& platform, const HostFacts& f,
                   RegistryAliases& aliases) {
  if (f.boardName) {
    // Published as data with its terminating NUL, as the board id always is.
    std::vector<uint8_t> bytes(f.boardName->begin(), f.boardName->end());
    bytes.push_back(0);
    platform.properties().set("board-id", Property::data(std::move(bytes)));
  }
  if (f.biosVersion || f.biosVendor) {
    auto rom = platform.addChild("IOService", "rom");
    if (f.biosVersion) rom->properties().set("version", Property::string(*f.biosVersion));
    if (f.biosVendor) rom->properties().set("vendor", Property::string(*f.biosVendor));
    aliases["IODeviceTree:/rom"] = rom;
  }
  auto power = platform.addChild("IOPMrootDomain", "IOPMrootDomain");
  if (f.lidClosed) power->properties().set("KelvoClamshellState", Property::boolean(*f.lidClosed));
  for (size_t i = 0; i < f.batteries; ++i) {
    auto battery = power->addChild("KelvoSmartBattery", textf("KelvoSmartBattery@%zu", i));
    if (f.externalPower) battery->properties().set("ExternalConnected", Property::boolean(*f.externalPower));
  }
  if (f.bootDisk) {
    auto media = platform.addChild("IOMedia", *f.bootDisk);
    media->properties().set("BSD Name", Property::string(*f.bootDisk));
  }
}

}  // namespace

LinuxRegistry::LinuxRegistry(const SysfsTree& tree, DebugfsSpaces& spaces, LinuxFiles& files,
                             const std::string& debugfsDirectory, const HostFacts& facts) {
  auto platform = root_->addChild("IOPlatformDevice", "Platform");
  aliases_["IODeviceTree:/"] = platform;
  addHostProbes(*platform, facts, aliases_);
  std::set<uint32_t> domains;
  for (const SysfsRouter& r : tree.routers) domains.insert(r.at.domain);
  for (uint32_t d : domains) {
    auto node = platform->addChild("IOThunderboltController", textf("IOThunderboltController@%u", d));
    node->controllerIndex = d;
    DomainBuilder(d, tree, spaces, files, debugfsDirectory).build(*node);
  }
}

}  // namespace tbt::linux_host
