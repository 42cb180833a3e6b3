#include "cli/host_capture.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include <nlohmann/json.hpp>

#include "kernel/config_space.h"
#include "platform/platform.h"
#include "platform/registry_keys.h"
#include "platform/text.h"

namespace tbt::cli {
namespace {

using Json = nlohmann::ordered_json;

// The DFT capability keeps the DROM offset at +12.
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

// What one space of one adapter answered: the values read and the statuses
// of the reads that failed, by double-word index.
struct SpaceScan {
  std::map<uint32_t, uint32_t> values;
  std::map<uint32_t, Status> failures;
};

// Captures one controller through its device interface.
class ControllerCapture {
 public:
  ControllerCapture(DeviceInterface& device, size_t controller, Json& faults)
      : device_(device), controller_(controller), faults_(faults) {}

  /// Every router from the host switch down, depth first.
  void router(const RegistryEntry& sw, Json& routers) {
    std::optional<uint64_t> route = number(sw, kRouteStringKey);
    if (!route || !seen_.insert(*route).second) return;
    route_ = *route;
    scans_.clear();
    Json r = Json::object();
    r["route"] = hex(*route);
    r["registry"] = registryJson(sw, kDerivedSwitchKeys);
    const SpaceScan& device = scan(0, kDeviceSpace);
    std::vector<std::pair<uint32_t, Json>> ports;
    std::vector<RegistryEntry> below;
    std::vector<RegistryEntry> parents = sw.parents();
    if (!parents.empty() && parents.front().conformsTo(kPortClass)) port(parents.front(), ports);
    for (const RegistryEntry& child : sw.children()) {
      if (!child.conformsTo(kPortClass)) continue;
      port(child, ports);
      for (const RegistryEntry& downstream : child.children())
        if (downstream.conformsTo(kPortClass))
          for (const RegistryEntry& next : downstream.children())
            if (next.conformsTo(kSwitchClass)) below.push_back(next);
    }
    // A host that lets only some double words be read fails the others, most
    // of them with one status: the replay fails every double word it was not
    // given with that status, and the few other failures are faults.
    const std::optional<Status> unlisted = mostCommonFailure();
    r["device-space"] = wordsJson(device, unlisted);
    Json portsJson = Json::object();
    for (auto& [p, out] : ports) {
      out["port-space"] = wordsJson(scans_[{p, kPortSpace}], unlisted);
      out["path-space"] = wordsJson(scans_[{p, kPathSpace}], unlisted);
      out["counter-space"] = wordsJson(scans_[{p, kCounterSpace}], unlisted);
      portsJson[std::to_string(p)] = std::move(out);
    }
    r["ports"] = std::move(portsJson);
    if (unlisted) {
      r["unlisted-status"] = textf("0x%08x", *unlisted);
      for (const auto& [where, scanned] : scans_)
        for (const auto& [index, failure] : scanned.failures)
          if (failure != *unlisted)
            faults_.push_back(Json{{"op", "config-read"},  {"controller", controller_}, {"route", hex(route_)},
                                   {"port", where.first},  {"space", where.second},     {"index", hex(index)},
                                   {"status", textf("0x%08x", failure)}});
    }
    eeprom(sw, device.values, r);
    routers.push_back(std::move(r));
    for (const RegistryEntry& next : below) router(next, routers);
  }

 private:
  const SpaceScan& scan(uint32_t port, uint32_t space) {
    SpaceScan& out = scans_[{port, space}];
    for (uint32_t index = 0; index < kCaptureIndexLimit; ++index) {
      uint8_t buffer[4];
      const Status s = device_.configRead(route_, port, space, index, 1, buffer);
      if (s != status::kSuccess) {
        out.failures[index] = s;
        continue;
      }
      out.values[index] = loadBigEndian(buffer);
    }
    return out;
  }

  std::optional<Status> mostCommonFailure() const {
    std::map<Status, size_t> counts;
    for (const auto& [where, scanned] : scans_)
      for (const auto& [index, failure] : scanned.failures) ++counts[failure];
    std::optional<Status> most;
    size_t mostCount = 0;
    for (auto [failure, count] : counts)
      if (count > mostCount) most = failure, mostCount = count;
    return most;
  }

  // The values of a space: where the replay reads 0 for what it is not given,
  // only the non-zero ones; where it fails those, every value read.
  static Json wordsJson(const SpaceScan& scanned, std::optional<Status> unlisted) {
    Json out = Json::object();
    for (auto [index, value] : scanned.values)
      if (value != 0 || unlisted) out[hex(index)] = textf("0x%08x", value);
    return out;
  }

  void port(const RegistryEntry& entry, std::vector<std::pair<uint32_t, Json>>& ports) {
    std::optional<uint64_t> n = number(entry, kPortNumberKey);
    if (!n || *n == 0 || *n > 63) return;
    const uint32_t p = static_cast<uint32_t>(*n);
    for (uint32_t space : {kPortSpace, kPathSpace, kCounterSpace}) scan(p, space);
    Json out = Json::object();
    out["registry"] = registryJson(entry, kDerivedPortKeys);
    if (hasChild(entry, kXDomainLinkClass)) out["xdomain"] = true;
    ports.emplace_back(p, std::move(out));
  }

  // The DROM offset from the DFT capability in the device space read, or 0.
  static uint32_t dromOffset(const std::map<uint32_t, uint32_t>& device) {
    auto at = [&](uint32_t i) {
      auto it = device.find(i);
      return it == device.end() ? 0u : it->second;
    };
    uint32_t cap = kFirstCapabilityPointer.of(at(kFirstCapabilityDword));
    for (uint32_t steps = 0; cap != 0 && steps < kMaxCapabilities; ++steps) {
      const uint32_t header = at(cap);
      if ((header & kVendorCapabilityMask) == kDftCapabilityKey) return at(cap + kDromOffsetDword);
      cap = kCapabilityNext.of(header);
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
  size_t controller_;
  Json& faults_;
  uint64_t route_ = 0;
  std::map<std::pair<uint32_t, uint32_t>, SpaceScan> scans_;  // by (adapter, space)
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

Json captureController(const RegistryEntry& controller, size_t index, Json& faults) {
  Json out = Json::object();
  std::unique_ptr<ControllerPlugIn> plugIn;
  if (platform().controllerDriver().createPlugIn(controller, plugIn) != status::kSuccess || !plugIn) return out;
  uint32_t version = kDeviceInterfaceV2;
  std::unique_ptr<DeviceInterface> device = plugIn->queryInterface(version);
  if (!device) device = plugIn->queryInterface(version = kDeviceInterfaceV1);
  if (!device) return out;
  out["interface-version"] = version;
  Json routers = Json::array();
  ControllerCapture capture(*device, index, faults);
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
  Json faults = Json::array();
  for (const RegistryEntry& controller : registry().matching(kControllerClass))
    controllers.push_back(captureController(controller, controllers.size(), faults));
  doc["controllers"] = std::move(controllers);
  if (!faults.empty()) doc["faults"] = std::move(faults);
  return doc.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace tbt::cli
