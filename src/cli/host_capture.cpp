#include "cli/host_capture.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include <nlohmann/json.hpp>

#include "kernel/config_space.h"
#include "kernel/router_handle.h"
#include "platform/platform.h"
#include "platform/registry_helpers.h"
#include "platform/registry_keys.h"
#include "platform/text.h"
#include "toolkit/iecs_bridge.h"
#include "toolkit/remote_router_handle.h"

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

// How one router's spaces are read: by route through the controller's
// device interface, or through a remote handle behind a configuration bridge.
class SpaceReader {
 public:
  virtual ~SpaceReader() = default;
  virtual Status read(uint32_t port, uint32_t space, uint32_t index, uint32_t& value) = 0;
  /// The indexes to read one by one; every other index answers alike.
  virtual std::vector<IndexRange> listed(uint32_t, uint32_t) { return {{0, kConfigIndexCount - 1}}; }
};

class RouteReader : public SpaceReader {
 public:
  RouteReader(DeviceInterface& device, uint64_t route) : device_(device), route_(route) {}
  Status read(uint32_t port, uint32_t space, uint32_t index, uint32_t& value) override {
    uint8_t buffer[4];
    const Status s = device_.configRead(route_, port, space, index, 1, buffer);
    if (s == status::kSuccess) value = loadBigEndian(buffer);
    return s;
  }
  std::vector<IndexRange> listed(uint32_t port, uint32_t space) override {
    return device_.listedIndexes(route_, port, space);
  }

 private:
  DeviceInterface& device_;
  uint64_t route_;
};

// A router behind a bridge lists nothing, and each of its double words
// costs some sixty accesses of the bridge's mailbox: its device and port
// spaces are read over the reach of their capability pointers and past it,
// its path and counter spaces as far as its adapters' headers size them.
constexpr uint32_t kBridgedSpaceDwords = 0x200;

class HandleReader : public SpaceReader {
 public:
  explicit HandleReader(RouterHandle& handle) : handle_(handle) {}
  Status read(uint32_t port, uint32_t space, uint32_t index, uint32_t& value) override {
    return handle_.configReadWithPort(port, space, index, value);
  }
  std::vector<IndexRange> listed(uint32_t port, uint32_t space) override {
    if (space != kPathSpace && space != kCounterSpace) return {{0, kBridgedSpaceDwords - 1}};
    uint32_t header = 0;
    if (handle_.configReadWithPort(port, kPortSpace, space == kPathSpace ? kHopDword : kCountersDword, header) !=
        status::kSuccess)
      return {{0, 0}};
    if (space == kPathSpace) return {{0, (kMaxInHopID.of(header) + 1) * kPathEntryDwords - 1}};
    const uint32_t counters = kMaxCounters.of(header);
    if (counters == 0) return {};
    return {{0, counters * kCounterDwords - 1}};
  }

 private:
  RouterHandle& handle_;
};

// What one space of one adapter answered: the values read and the statuses
// of the reads that failed, by ascending index, and what the indexes not
// read one by one answer (a failure, or 0).
struct SpaceScan {
  std::vector<std::pair<uint32_t, uint32_t>> values;
  std::vector<std::pair<uint32_t, Status>> failures;
  std::vector<IndexRange> unlisted;
  std::optional<Status> unlistedFailure;
};

SpaceScan scanSpace(SpaceReader& reader, uint32_t port, uint32_t space) {
  SpaceScan out;
  auto readOne = [&](uint32_t index) {
    uint32_t value = 0;
    const Status s = reader.read(port, space, index, value);
    if (s == status::kSuccess) out.values.emplace_back(index, value);
    else out.failures.emplace_back(index, s);
  };
  std::vector<IndexRange> listed;
  for (IndexRange r : reader.listed(port, space))
    if (r.first <= r.last && r.first < kConfigIndexCount) listed.push_back({r.first, std::min(r.last, kConfigIndexCount - 1)});
  joinRanges(listed);
  uint32_t next = 0;
  for (IndexRange r : listed) {
    if (r.first > next) out.unlisted.push_back({next, r.first - 1});
    for (uint32_t index = r.first; index <= r.last; ++index) readOne(index);
    next = r.last + 1;
  }
  if (next < kConfigIndexCount) out.unlisted.push_back({next, kConfigIndexCount - 1});
  if (out.unlisted.empty()) return out;
  // One read stands for every index the backend did not list.
  uint32_t value = 0;
  const Status s = reader.read(port, space, out.unlisted.front().first, value);
  if (s != status::kSuccess) {
    out.unlistedFailure = s;
  } else if (value != 0) {
    // It listed too little: every index is read after all.
    for (IndexRange r : out.unlisted)
      for (uint32_t index = r.first; index <= r.last; ++index) readOne(index);
    out.unlisted.clear();
    std::sort(out.values.begin(), out.values.end());
    std::sort(out.failures.begin(), out.failures.end());
  }
  return out;
}

using SpaceScans = std::map<std::pair<uint32_t, uint32_t>, SpaceScan>;  // by (adapter, space)

// The status a router fails its unlisted double words with: where every
// space fails what it does not list, the most common such status; where
// some space reads 0 there, none.
std::optional<Status> unlistedStatus(const SpaceScans& scans) {
  std::map<Status, uint64_t> counts;
  for (const auto& [where, scan] : scans) {
    uint64_t size = 0;
    for (IndexRange r : scan.unlisted) size += r.last - r.first + 1;
    if (size == 0) continue;
    if (!scan.unlistedFailure) return std::nullopt;
    counts[*scan.unlistedFailure] += size;
  }
  std::optional<Status> most;
  uint64_t mostCount = 0;
  for (auto [failure, count] : counts)
    if (count > mostCount) most = failure, mostCount = count;
  return most;
}

// Every failure the router's unlisted status does not account for, as
// ranges of one status each.
Json readFailuresJson(const SpaceScans& scans, std::optional<Status> unlisted) {
  Json out = Json::array();
  for (const auto& [where, scan] : scans) {
    std::vector<std::pair<IndexRange, Status>> ranges;
    for (auto [index, failure] : scan.failures)
      if (failure != unlisted) ranges.push_back({{index, index}, failure});
    if (scan.unlistedFailure && scan.unlistedFailure != unlisted)
      for (IndexRange r : scan.unlisted) ranges.push_back({r, *scan.unlistedFailure});
    std::sort(ranges.begin(), ranges.end(),
              [](const auto& a, const auto& b) { return a.first.first < b.first.first; });
    std::vector<std::pair<IndexRange, Status>> joined;
    for (const auto& r : ranges) {
      if (!joined.empty() && joined.back().second == r.second && joined.back().first.last + 1 == r.first.first)
        joined.back().first.last = r.first.last;
      else joined.push_back(r);
    }
    for (const auto& [range, failure] : joined)
      out.push_back(Json{{"port", where.first},
                         {"space", where.second},
                         {"first", hex(range.first)},
                         {"last", hex(range.last)},
                         {"status", textf("0x%08x", failure)}});
  }
  return out;
}

// The values of a space: where the replay reads 0 for what it is not given,
// only the non-zero ones; where it fails those, every value read.
Json wordsJson(const SpaceScan* scanned, std::optional<Status> unlisted) {
  Json out = Json::object();
  if (!scanned) return out;
  // Consecutive double words go as one run, "index": "w0 w1 ...".
  const auto& values = scanned->values;
  for (size_t i = 0; i < values.size();) {
    if (values[i].second == 0 && !unlisted) {
      ++i;
      continue;
    }
    size_t end = i + 1;
    while (end < values.size() && values[end].first == values[end - 1].first + 1 &&
           (values[end].second != 0 || unlisted))
      ++end;
    std::string text;
    if (end - i == 1) {
      text = textf("0x%08x", values[i].second);
    } else {
      for (size_t j = i; j < end; ++j) appendf(text, j == i ? "%08x" : " %08x", values[j].second);
    }
    out[hex(values[i].first)] = std::move(text);
    i = end;
  }
  return out;
}

// The spaces of a router as a host file gives them, into r: the device
// space, the adapters' spaces into ports (adapter -> its object), the
// unlisted status and the failing ranges.
void writeSpaces(const SpaceScans& scans, std::vector<std::pair<uint32_t, Json>>& ports, Json& r) {
  const std::optional<Status> unlisted = unlistedStatus(scans);
  auto scanOf = [&](uint32_t port, uint32_t space) {
    auto it = scans.find({port, space});
    return it == scans.end() ? nullptr : &it->second;
  };
  r["device-space"] = wordsJson(scanOf(0, kDeviceSpace), unlisted);
  Json portsJson = Json::object();
  for (auto& [p, out] : ports) {
    out["port-space"] = wordsJson(scanOf(p, kPortSpace), unlisted);
    out["path-space"] = wordsJson(scanOf(p, kPathSpace), unlisted);
    out["counter-space"] = wordsJson(scanOf(p, kCounterSpace), unlisted);
    portsJson[std::to_string(p)] = std::move(out);
  }
  if (!portsJson.empty() || r.contains("registry")) r["ports"] = std::move(portsJson);
  if (unlisted) r["unlisted-status"] = textf("0x%08x", *unlisted);
  Json failures = readFailuresJson(scans, unlisted);
  if (!failures.empty()) r["read-failures"] = std::move(failures);
}

uint32_t valueAt(const SpaceScan& scan, uint32_t index) {
  auto it = std::lower_bound(scan.values.begin(), scan.values.end(), std::make_pair(index, uint32_t{0}));
  return it != scan.values.end() && it->first == index ? it->second : 0;
}

// Each bridge reaches a router at least one link further down, and a route
// string crosses at most seven links below the host router.
constexpr unsigned kMaxBridgeChain = 7;
constexpr Bits kMaxPortField{19, 14};

// The routers behind the configuration bridges of a router's link
// controller, reached through remote handles with the router's handle as
// parent, into r["bridges"] by bus.
void captureBridges(const std::shared_ptr<RouterHandle>& parent, unsigned depth, Json& r);

// A router behind a bridge: its device space, the adapters its Max Port
// names, and its own bridges.
Json farRouter(const std::shared_ptr<RouterHandle>& handle, unsigned depth) {
  HandleReader reader(*handle);
  SpaceScans scans;
  const SpaceScan& device = scans[{0, kDeviceSpace}] = scanSpace(reader, 0, kDeviceSpace);
  Json r = Json::object();
  r["route"] = hex(valueAt(device, kDeviceRouteDword));
  std::vector<std::pair<uint32_t, Json>> ports;
  for (uint32_t p = 1; p <= kMaxPortField.of(valueAt(device, kFirstCapabilityDword)); ++p) {
    for (uint32_t space : {kPortSpace, kPathSpace, kCounterSpace}) scans[{p, space}] = scanSpace(reader, p, space);
    ports.emplace_back(p, Json::object());
  }
  writeSpaces(scans, ports, r);
  captureBridges(handle, depth, r);
  return r;
}

void captureBridges(const std::shared_ptr<RouterHandle>& parent, unsigned depth, Json& r) {
  if (depth >= kMaxBridgeChain) return;
  auto remote = [&](uint32_t bus) {
    std::shared_ptr<RemoteRouterHandle> handle = RemoteRouterHandle::remoteRouterHandle();
    handle->setParentRouterHandle(parent);
    handle->setBus(bus);
    return handle;
  };
  std::shared_ptr<RemoteRouterHandle> first = remote(0);
  if (first->initializeIECS() != status::kSuccess || first->portMicroMode()) return;
  Json bridges = Json::object();
  for (uint32_t bus = 0; bus < first->lcCount(); ++bus) {
    std::shared_ptr<RemoteRouterHandle> handle = remote(bus);
    uint8_t identity[4] = {};
    if (handle->iecsReadWithDevice(kBridgeDevice, kBridgeIdentityOffset, 4, identity) != status::kSuccess) continue;
    const uint32_t form = loadLittleEndian(identity);
    if (form != kDirectBridgeIdentity && form != kCommandBridgeIdentity) continue;
    bridges[std::to_string(bus)] = Json{{"form", form == kDirectBridgeIdentity ? "direct" : "command"},
                                        {"router", farRouter(handle, depth + 1)}};
  }
  if (!bridges.empty()) r["bridges"] = std::move(bridges);
}

// Captures one controller through its device interface.
class ControllerCapture {
 public:
  ControllerCapture(DeviceInterface& device, uint8_t routerID) : device_(device), routerID_(routerID) {
    // Probing a link controller for bridges writes its mailboxes: that is
    // left to hosts whose driver offers IECS transactions at all (a stock
    // Linux kernel offers none).
    uint8_t none = 0;
    probeBridges_ = device_.iecsTransaction(0, 0, 0, 0, 0, &none, kIecsDirectionRead, 2) != status::kUnsupported;
  }

  /// Every router from the host switch down, depth first.
  void router(const RegistryEntry& sw, Json& routers) {
    std::optional<uint64_t> route = number(sw, kRouteStringKey);
    if (!route || !seen_.insert(*route).second) return;
    RouteReader reader(device_, *route);
    SpaceScans scans;
    Json r = Json::object();
    r["route"] = hex(*route);
    r["registry"] = registryJson(sw, kDerivedSwitchKeys);
    scans[{0, kDeviceSpace}] = scanSpace(reader, 0, kDeviceSpace);
    std::vector<std::pair<uint32_t, Json>> ports;
    std::vector<RegistryEntry> below;
    std::vector<RegistryEntry> parents = sw.parents();
    if (!parents.empty() && parents.front().conformsTo(kPortClass)) port(reader, parents.front(), ports, scans);
    for (const RegistryEntry& child : sw.children()) {
      if (!child.conformsTo(kPortClass)) continue;
      port(reader, child, ports, scans);
      for (const RegistryEntry& downstream : child.children())
        if (downstream.conformsTo(kPortClass))
          for (const RegistryEntry& next : downstream.children())
            if (next.conformsTo(kSwitchClass)) below.push_back(next);
    }
    writeSpaces(scans, ports, r);
    eeprom(sw, scans[{0, kDeviceSpace}], r);
    if (probeBridges_) {
      std::shared_ptr<RouterHandle> handle = LocalRouterHandle::localRouterHandle();
      handle->setRouterID(routerID_);
      handle->setRoute(*route);
      captureBridges(handle, 0, r);
    }
    routers.push_back(std::move(r));
    for (const RegistryEntry& next : below) router(next, routers);
  }

 private:
  void port(SpaceReader& reader, const RegistryEntry& entry, std::vector<std::pair<uint32_t, Json>>& ports,
            SpaceScans& scans) {
    std::optional<uint64_t> n = number(entry, kPortNumberKey);
    if (!n || *n == 0 || *n > 63 || scans.count({static_cast<uint32_t>(*n), kPortSpace})) return;
    const uint32_t p = static_cast<uint32_t>(*n);
    for (uint32_t space : {kPortSpace, kPathSpace, kCounterSpace}) scans[{p, space}] = scanSpace(reader, p, space);
    Json out = Json::object();
    out["registry"] = registryJson(entry, kDerivedPortKeys);
    if (hasChild(entry, kXDomainLinkClass)) out["xdomain"] = true;
    ports.emplace_back(p, std::move(out));
  }

  // The DROM offset from the DFT capability in the device space read, or 0.
  static uint32_t dromOffset(const SpaceScan& device) {
    auto at = [&](uint32_t i) { return valueAt(device, i); };
    uint32_t cap = kFirstCapabilityPointer.of(at(kFirstCapabilityDword));
    for (uint32_t steps = 0; cap != 0 && steps < kMaxCapabilities; ++steps) {
      const uint32_t header = at(cap);
      if ((header & kVendorCapabilityMask) == kDftCapabilityKey) return at(cap + kDromOffsetDword);
      cap = kCapabilityNext.of(header);
    }
    return 0;
  }

  static void eeprom(const RegistryEntry& sw, const SpaceScan& device, Json& r) {
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
  uint8_t routerID_;
  bool probeBridges_ = false;
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
  for (const RegistryEntry& port : controller.children()) {
    if (!port.conformsTo(kPortClass)) continue;
    for (const RegistryEntry& sw : port.children()) {
      if (!sw.conformsTo(kSwitchClass)) continue;
      ControllerCapture capture(*device, routerIDOfEntry(sw));
      capture.router(sw, routers);
    }
    break;
  }
  out["routers"] = std::move(routers);
  return out;
}

std::string compactJson(const Json& v) { return v.dump(-1, ' ', false, Json::error_handler_t::replace); }

// The host file's text: each router on a line of its own (a capture of
// thousands of routers stays a third of its indented size, and still reads
// and compares line by line).
std::string captureText(Json doc) {
  std::string out = "{";
  const char* separator = "\n";
  for (auto& [key, value] : doc.items()) {
    out += separator;
    separator = ",\n";
    out += "  " + compactJson(Json(key)) + ": ";
    if (key != "controllers") {
      out += compactJson(value);
      continue;
    }
    out += "[";
    const char* between = "\n";
    for (Json& controller : value) {
      Json routers = controller.contains("routers") ? std::move(controller["routers"]) : Json::array();
      controller.erase("routers");
      std::string head = compactJson(controller);
      head.pop_back();  // its closing brace: the routers follow
      out += between;
      between = ",\n";
      out += "    " + head + (controller.empty() ? "" : ",") + "\"routers\": [";
      const char* next = "\n";
      for (const Json& router : routers) {
        out += next;
        next = ",\n";
        out += "      " + compactJson(router);
      }
      out += "\n    ]}";
    }
    out += "\n  ]";
  }
  return out + "\n}\n";
}

}  // namespace

std::string captureHost() {
  Json doc = Json::object();
  captureFacts(doc);
  Json controllers = Json::array();
  for (const RegistryEntry& controller : registry().matching(kControllerClass))
    controllers.push_back(captureController(controller));
  doc["controllers"] = std::move(controllers);
  return captureText(std::move(doc));
}

}  // namespace tbt::cli
