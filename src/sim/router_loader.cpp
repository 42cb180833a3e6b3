// Reading one router's object of a host file: its spaces, ports, memories
// and IECS/I2C register files.
#include "host_loader.h"
#include "sim/config_bridge_model.h"
#include "platform/text.h"

namespace tbt::sim {

namespace {

using nlohmann::json;

constexpr uint64_t kMaxAdapterNumber = 63;
constexpr uint64_t kDefaultEepromSize = 2048;
constexpr uint64_t kMaxEepromSize = 0x10000;  // the EEPROM takes 16-bit addresses
constexpr uint64_t kDefaultNvmSize = 0x100000;

bool readRegistry(JsonReader& in, const json& v, const std::string& path) {
  PropertyDict set;
  std::vector<std::string> removed;
  return in.properties(v, path, set, removed);
}

bool readPort(JsonReader& in, const json& v, const std::string& path, uint32_t port, Router& r) {
  if (!in.object(v, path, {"port-space", "path-space", "counter-space", "registry", "xdomain"})) return false;
  static constexpr std::pair<const char*, uint32_t> spaces[] = {
      {"port-space", kPortSpace}, {"path-space", kPathSpace}, {"counter-space", kCounterSpace}};
  for (auto [key, space] : spaces) {
    auto it = v.find(key);
    if (it == v.end()) continue;
    DwordStore store;
    if (!in.dwordMap(*it, keyPath(path, key), store)) return false;
    for (auto [index, word] : store.words()) r.poke(port, space, index, word);
  }
  bool xdomain = false;
  if (auto it = v.find("xdomain"); it != v.end() && !in.boolean(*it, keyPath(path, "xdomain"), xdomain)) return false;
  if (auto it = v.find("registry"); it != v.end() && !readRegistry(in, *it, keyPath(path, "registry"))) return false;
  r.addPort(port);
  return true;
}

bool readPorts(JsonReader& in, const json& v, const std::string& path, Router& r) {
  if (!in.anyObject(v, path)) return false;
  for (const auto& [k, port] : v.items()) {
    std::string at = keyPath(path, k);
    uint64_t number = 0;
    if (!in.key(k, at, kMaxAdapterNumber, number)) return false;
    if (r.hasPort(static_cast<uint32_t>(number))) return in.fail(at, textf("adapter %llu given twice",
                                                                          static_cast<unsigned long long>(number)));
    if (!readPort(in, port, at, static_cast<uint32_t>(number), r)) return false;
  }
  return true;
}

/// An EEPROM or NVM object: { "size", "fill", "bytes" }.
bool readMemory(JsonReader& in, const json& v, const std::string& path, uint64_t defaultSize, uint64_t maxSize,
                std::optional<ByteMemory>& out) {
  if (!in.object(v, path, {"size", "fill", "bytes"})) return false;
  uint64_t size = defaultSize, fill = 0xff;
  if (auto it = v.find("size"); it != v.end() && !in.number(*it, keyPath(path, "size"), maxSize, size)) return false;
  if (size == 0) return in.fail(keyPath(path, "size"), "must not be 0");
  if (auto it = v.find("fill"); it != v.end() && !in.number(*it, keyPath(path, "fill"), 0xff, fill)) return false;
  out.emplace(size, static_cast<uint8_t>(fill));
  if (auto it = v.find("bytes"); it != v.end() && !in.byteMap(*it, keyPath(path, "bytes"), *out)) return false;
  return true;
}

/// IECS register files keyed "bus/device".
bool readIecs(JsonReader& in, const json& v, const std::string& path, Router& r) {
  if (!in.anyObject(v, path)) return false;
  for (const auto& [k, regs] : v.items()) {
    std::string at = keyPath(path, k);
    auto slash = k.find('/');
    uint64_t bus = 0, device = 0;
    if (slash == std::string::npos) return in.fail(at, "expected a \"bus/device\" key, such as \"36/0\"");
    if (!in.key(k.substr(0, slash), at, UINT32_MAX, bus) || !in.key(k.substr(slash + 1), at, UINT32_MAX, device))
      return false;
    if (r.iecsRegisterFile(static_cast<uint32_t>(bus), static_cast<uint32_t>(device)))
      return in.fail(at, "IECS device given twice");
    auto& file = r.ensureIecsRegisterFile(static_cast<uint32_t>(bus), static_cast<uint32_t>(device));
    if (!in.byteMap(regs, at, file.bytes())) return false;
  }
  return true;
}

/// I2C register files keyed by device address.
bool readI2c(JsonReader& in, const json& v, const std::string& path, Router& r) {
  if (!in.anyObject(v, path)) return false;
  for (const auto& [k, regs] : v.items()) {
    std::string at = keyPath(path, k);
    uint64_t address = 0;
    if (!in.key(k, at, 0xff, address)) return false;
    if (r.i2cRegisterFile(static_cast<uint32_t>(address))) return in.fail(at, "I2C address given twice");
    if (!in.byteMap(regs, at, r.ensureI2cRegisterFile(static_cast<uint32_t>(address)).bytes())) return false;
  }
  return true;
}

}  // namespace

const json* portObject(const Router& router, uint32_t port) {
  auto ports = router.description().find("ports");
  if (ports == router.description().end() || !ports->is_object()) return nullptr;
  JsonReader quiet;
  for (const auto& [k, v] : ports->items()) {
    uint64_t number = 0;
    if (quiet.key(k, "", kMaxAdapterNumber, number) && number == port) return &v;
  }
  return nullptr;
}

bool portLeadsToHost(const Router& router, uint32_t port) {
  const json* p = portObject(router, port);
  if (!p || !p->is_object()) return false;
  auto it = p->find("xdomain");
  return it != p->end() && it->is_boolean() && it->get<bool>();
}

std::unique_ptr<Router> readRouter(JsonReader& in, const json& v, const std::string& path, size_t controller) {
  if (!in.object(v, path,
                 {"route", "registry", "device-space", "ports", "eeprom", "nvm", "iecs", "i2c", "lc-memory",
                  "bridges"}))
    return nullptr;
  auto routeIt = v.find("route");
  if (routeIt == v.end()) return in.fail(keyPath(path, "route"), "required key is missing"), nullptr;
  uint64_t route = 0;
  if (!in.number(*routeIt, keyPath(path, "route"), UINT64_MAX, route)) return nullptr;
  auto r = std::make_unique<Router>(controller, route, v);
  auto section = [&](const char* key, auto&& read) {
    auto it = v.find(key);
    return it == v.end() || read(*it, keyPath(path, key));
  };
  bool ok =
      section("registry", [&](const json& s, const std::string& p) { return readRegistry(in, s, p); }) &&
      section("device-space",
              [&](const json& s, const std::string& p) {
                DwordStore store;
                if (!in.dwordMap(s, p, store)) return false;
                for (auto [index, word] : store.words()) r->poke(0, kDeviceSpace, index, word);
                return true;
              }) &&
      section("ports", [&](const json& s, const std::string& p) { return readPorts(in, s, p, *r); }) &&
      section("eeprom",
              [&](const json& s, const std::string& p) {
                return readMemory(in, s, p, kDefaultEepromSize, kMaxEepromSize, r->eeprom());
              }) &&
      section("nvm",
              [&](const json& s, const std::string& p) {
                return readMemory(in, s, p, kDefaultNvmSize, uint64_t{1} << 32, r->nvm());
              }) &&
      section("iecs", [&](const json& s, const std::string& p) { return readIecs(in, s, p, *r); }) &&
      section("i2c", [&](const json& s, const std::string& p) { return readI2c(in, s, p, *r); }) &&
      section("lc-memory", [&](const json& s, const std::string& p) { return in.dwordMap(s, p, r->lcMemory()); }) &&
      section("bridges", [&](const json& s, const std::string& p) { return readBridges(in, s, p, *r); });
  return ok ? std::move(r) : nullptr;
}

}  // namespace tbt::sim
