#include "cli/host_capture.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/platform.h"
#include "platform/registry_keys.h"
#include "platform/text.h"

namespace tbt::cli {
namespace {

using Json = nlohmann::ordered_json;

constexpr uint32_t kPathSpace = 0, kPortSpace = 1, kDeviceSpace = 2, kCounterSpace = 3;
// The DFT capability (ID 5, vendor-specific ID 1) keeps the DROM offset at +12.
constexpr uint32_t kDftKey = 0x010500;
constexpr uint32_t kDromOffsetDword = 12;
constexpr uint32_t kMaxCapabilities = 64;
constexpr uint64_t kDefaultEepromSize = 2048;
constexpr uint64_t kMaxEepromSize = 0x10000;

// Properties the simulated host derives for an entry unless its file gives
// them: a capture names those the captured entry lacks, so that they stay absent.
const char* const kDerivedSwitchKeys[] = {"Route String", "Depth"};
const char* const kDerivedPortKeys[] = {"Port Number", "Adapter Type", "Peer Port Route String", "Peer Port Number"};

std::string hex(uint64_t v) { return textf("0x%llx", static_cast<unsigned long long>(v)); }

std::string hexBytes(const std::vector<uint8_t>& bytes) {
  std::string out;
  for (uint8_t b : bytes) appendf(out, "%02x", b);
  return out;
}

Json propertyJson(const Property& p) {
  switch (p.kind()) {
    case Property::Kind::Number: return hex(p.asNumber());
    case Property::Kind::Boolean: return p.asBoolean();
    case Property::Kind::Data: return Json{{"data", hexBytes(p.asData())}};
    case Property::Kind::String:
    case Property::Kind::Date: return p.asString();
    case Property::Kind::Real: return p.asReal();
    case Property::Kind::Array: {
      Json items = Json::array();
      for (const Property& item : p.asArray()) items.push_back(propertyJson(item));
      return items;
    }
    case Property::Kind::Dictionary: {
      Json dict = Json::object();
      for (const auto& [k, v] : p.asDictionary().items()) dict[k] = propertyJson(v);
      return dict;
    }
  }
  return nullptr;
}

// The entry's properties by key (a host file keeps no order among them).
template <size_t N>
Json registryJson(const RegistryEntry& entry, const char* const (&derived)[N]) {
  std::map<std::string, Json> sorted;
  for (const std::string& key : entry->propertyKeys())
    if (std::optional<Property> p = entry.property(key)) sorted[key] = propertyJson(*p);
  for (const char* key : derived)
    if (!sorted.count(key)) sorted[key] = nullptr;
  Json out = Json::object();
  for (auto& [key, value] : sorted) out[key] = std::move(value);
  return out;
}

std::optional<uint64_t> number(const RegistryEntry& entry, std::string_view key) {
  std::optional<Property> p = entry.property(key);
  if (!p || !p->isNumber()) return std::nullopt;
  return p->asNumber();
}

bool hasChild(const RegistryEntry& entry, std::string_view className) {
  for (const RegistryEntry& child : entry.children())
    if (child.conformsTo(className)) return true;
  return false;
}

// Captures one controller through its device interface.
class ControllerCapture {
 public:
  explicit ControllerCapture(DeviceInterface& device) : device_(device) {}

  /// Every router from the host switch down, depth first.
  void router(const RegistryEntry& sw, Json& routers) {
    std::optional<uint64_t> route = number(sw, kRouteStringKey);
    if (!route || !seen_.insert(*route).second) return;
    Json r = Json::object();
    r["route"] = hex(*route);
    r["registry"] = registryJson(sw, kDerivedSwitchKeys);
    std::map<uint32_t, uint32_t> device = words(*route, 0, kDeviceSpace);
    r["device-space"] = wordsJson(device);
    Json ports = Json::object();
    std::vector<RegistryEntry> below;
    std::vector<RegistryEntry> parents = sw.parents();
    if (!parents.empty() && parents.front().conformsTo(kPortClass)) port(*route, parents.front(), ports);
    for (const RegistryEntry& child : sw.children()) {
      if (!child.conformsTo(kPortClass)) continue;
      port(*route, child, ports);
      for (const RegistryEntry& downstream : child.children())
        if (downstream.conformsTo(kPortClass))
          for (const RegistryEntry& next : downstream.children())
            if (next.conformsTo(kSwitchClass)) below.push_back(next);
    }
    r["ports"] = std::move(ports);
    eeprom(sw, device, r);
    routers.push_back(std::move(r));
    for (const RegistryEntry& next : below) router(next, routers);
  }

 private:
  std::map<uint32_t, uint32_t> words(uint64_t route, uint32_t port, uint32_t space) {
    std::map<uint32_t, uint32_t> out;
    for (uint32_t index = 0; index < kCaptureIndexLimit; ++index) {
      uint8_t buffer[4];
      if (device_.configRead(route, port, space, index, 1, buffer) != status::kSuccess) continue;
      uint32_t value = uint32_t{buffer[0]} << 24 | uint32_t{buffer[1]} << 16 | uint32_t{buffer[2]} << 8 | buffer[3];
      // A simulated host reads 0 wherever its file says nothing.
      if (value != 0) out[index] = value;
    }
    return out;
  }

  static Json wordsJson(const std::map<uint32_t, uint32_t>& words) {
    Json out = Json::object();
    for (auto [index, value] : words) out[hex(index)] = textf("0x%08x", value);
    return out;
  }

  void port(uint64_t route, const RegistryEntry& entry, Json& ports) {
    std::optional<uint64_t> n = number(entry, kPortNumberKey);
    if (!n || *n == 0 || *n > 63) return;
    const uint32_t p = static_cast<uint32_t>(*n);
    Json out = Json::object();
    out["port-space"] = wordsJson(words(route, p, kPortSpace));
    out["path-space"] = wordsJson(words(route, p, kPathSpace));
    out["counter-space"] = wordsJson(words(route, p, kCounterSpace));
    out["registry"] = registryJson(entry, kDerivedPortKeys);
    if (hasChild(entry, kXDomainLinkClass)) out["xdomain"] = true;
    ports[std::to_string(p)] = std::move(out);
  }

  // The DROM offset from the DFT capability in the device space read, or 0.
  static uint32_t dromOffset(const std::map<uint32_t, uint32_t>& device) {
    auto at = [&](uint32_t i) {
      auto it = device.find(i);
      return it == device.end() ? 0u : it->second;
    };
    uint32_t cap = at(1) & 0xff;
    for (uint32_t steps = 0; cap != 0 && steps < kMaxCapabilities; ++steps) {
      const uint32_t header = at(cap);
      if ((header & 0xffff00) == kDftKey) return at(cap + kDromOffsetDword);
      cap = header & 0xff;
    }
    return 0;
  }

  static void eeprom(const RegistryEntry& sw, const std::map<uint32_t, uint32_t>& device, Json& r) {
    std::optional<Property> drom = sw.property(kDromKey);
    const uint32_t offset = dromOffset(device) & 0xffff;
    if (!drom || !drom->isData() || drom->asData().empty() || offset == 0) return;
    const uint64_t end = uint64_t{offset} + drom->asData().size();
    if (end > kMaxEepromSize) return;
    uint64_t size = kDefaultEepromSize;
    while (size < end) size *= 2;
    r["eeprom"] = Json{{"size", size}, {"fill", "0xff"}, {"bytes", Json{{hex(offset), hexBytes(drom->asData())}}}};
  }

  DeviceInterface& device_;
  std::set<uint64_t> seen_;
};

void captureFacts(Json& doc) {
  std::optional<Property> board = searchProperty(registry().root(), "board-id", kSearchRecursively);
  if (board && (board->isData() || board->isString())) {
    std::string text =
        board->isData() ? std::string(board->asData().begin(), board->asData().end()) : board->asString();
    doc["board-id"] = text.substr(0, text.find('\0'));
  }
  if (RegistryEntry rom = registry().fromPath("IODeviceTree:/rom")) {
    Json out = Json::object();
    for (const char* key : {"version", "vendor"}) {
      std::optional<Property> p = rom.property(key);
      if (p && p->isString()) out[key] = p->asString();
    }
    doc["rom"] = out;
  }
  for (const RegistryEntry& root : registry().matching("IOPMrootDomain")) {
    std::optional<Property> lid = root.property("KelvoClamshellState");
    if (lid && lid->isBoolean()) doc["lid-closed"] = lid->asBoolean();
    break;
  }
  Json batteries = Json::array();
  for (const RegistryEntry& battery : registry().matching("KelvoSmartBattery")) {
    Json out = Json::object();
    std::optional<Property> external = battery.property("ExternalConnected");
    if (external && external->isBoolean()) out["external-connected"] = external->asBoolean();
    batteries.push_back(out);
  }
  if (!batteries.empty()) doc["batteries"] = batteries;
  if (std::optional<std::string> disk = host().bootDiskName()) doc["boot-disk"] = *disk;
}

Json captureController(const RegistryEntry& controller) {
  Json out = Json::object();
  std::unique_ptr<ControllerPlugIn> plugIn;
  if (platform().controllerDriver().createPlugIn(controller, plugIn) != status::kSuccess || !plugIn) return out;
  uint32_t version = kDeviceInterfaceV2;
  std::unique_ptr<DeviceInterface> device = plugIn->queryInterface(version);
  if (!device) device = plugIn->queryInterface(version = kDeviceInterfaceV1);
  if (!device) return out;
  out["interface-version"] = version;
  Json routers = Json::array();
  ControllerCapture capture(*device);
  for (const RegistryEntry& port : controller.children()) {
    if (!port.conformsTo(kPortClass)) continue;
    for (const RegistryEntry& sw : port.children())
      if (sw.conformsTo(kSwitchClass)) capture.router(sw, routers);
    break;
  }
  out["routers"] = std::move(routers);
  return out;
}

}  // namespace

std::string captureHost() {
  Json doc = Json::object();
  captureFacts(doc);
  Json controllers = Json::array();
  for (const RegistryEntry& controller : registry().matching(kControllerClass))
    controllers.push_back(captureController(controller));
  doc["controllers"] = std::move(controllers);
  return doc.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace tbt::cli
