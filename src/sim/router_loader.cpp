// Reading one router's object of a host file: its spaces, ports, memories
// and IECS/I2C register files.
#include "host_loader.h"
#include "sim/config_bridge_model.h"
#include "platform/text.h"

namespace tbt::sim {

namespace {

using nlohmann::json;

constexpr uint64_t kDefaultEepromSize = 2048;
constexpr uint64_t kMaxEepromSize = 0x10000;  // the EEPROM takes 16-bit addresses
constexpr uint64_t kDefaultNvmSize = 0x100000;
// Each bridge reaches a router at least one link further down, and a route
// string crosses at most seven links below the host router.
constexpr unsigned kMaxBridgeChain = 7;

bool readRegistry(JsonReader& in, const json& v, const std::string& path, RegistryOverrides& out) {
  return in.properties(v, path, out.set, out.removed);
}

/// A map of double-word index -> value into one space of an adapter.
bool readSpace(JsonReader& in, const json& v, const std::string& path, Router& r, uint32_t port, uint32_t space) {
  return in.dwordMap(v, path, r.store(port, space));
}

bool readPort(JsonReader& in, const json& v, const std::string& path, uint32_t port, Router& r) {
  if (!in.object(v, path, {"port-space", "path-space", "counter-space", "registry", "xdomain"})) return false;
  auto space = [&](const char* key, uint32_t number) {
    return in.optional(v, key, path, [&](const json& s, const std::string& p) {
      return readSpace(in, s, p, r, port, number);
    });
  };
  bool ok = space("port-space", kPortSpace) && space("path-space", kPathSpace) &&
            space("counter-space", kCounterSpace) &&
            in.optional(v, "xdomain", path, [&](const json& x, const std::string& p) {
              bool xdomain = false;
              if (!in.boolean(x, p, xdomain)) return false;
              if (xdomain) r.setLeadsToHost(port);
              return true;
            }) &&
            in.optional(v, "registry", path, [&](const json& x, const std::string& p) {
              return readRegistry(in, x, p, r.portRegistry(port));
            });
  if (ok) r.addPort(port);
  return ok;
}

bool readPorts(JsonReader& in, const json& v, const std::string& path, Router& r) {
  return in.anyObject(v, path) && forEachMember(v, [&](const std::string& k, const json& port) {
           std::string at = keyPath(path, k);
           uint32_t number = 0;
           if (!in.key(k, at, number, kMaxAdapter)) return false;
           if (number == 0) return in.fail(at, "adapter 0 is the router itself, not one of its adapters");
           if (r.hasPort(number)) return in.fail(at, textf("adapter %u given twice", number));
           if (++in.adaptersRead > kMaxHostAdapters)
             return in.fail(at, textf("more than %zu adapters in one host", kMaxHostAdapters));
           return readPort(in, port, at, number, r);
         });
}

/// An EEPROM or NVM object: { "size", "fill", "bytes" }.
bool readMemory(JsonReader& in, const json& v, const std::string& path, uint64_t defaultSize, uint64_t maxSize,
                std::optional<ByteMemory>& out) {
  if (!in.object(v, path, {"size", "fill", "bytes"})) return false;
  uint64_t size = defaultSize;
  uint8_t fill = 0xff;
  if (!in.optional(v, "size", path, [&](const json& x, const std::string& p) {
        return in.number(x, p, size, maxSize) && (size != 0 || in.fail(p, "must not be 0"));
      }) ||
      !in.optional(v, "fill", path, [&](const json& x, const std::string& p) { return in.number(x, p, fill); }))
    return false;
  out.emplace(size, fill);
  return in.optional(v, "bytes", path, [&](const json& x, const std::string& p) { return in.byteMap(x, p, *out); });
}

/// IECS register files keyed "bus/device".
bool readIecs(JsonReader& in, const json& v, const std::string& path, Router& r) {
  return in.anyObject(v, path) && forEachMember(v, [&](const std::string& k, const json& regs) {
           std::string at = keyPath(path, k);
           auto slash = k.find('/');
           uint32_t bus = 0, device = 0;
           if (slash == std::string::npos) return in.fail(at, "expected a \"bus/device\" key, such as \"36/0\"");
           if (!in.key(k.substr(0, slash), at, bus) || !in.key(k.substr(slash + 1), at, device)) return false;
           if (r.iecsRegisterFile(bus, device)) return in.fail(at, "IECS device given twice");
           return in.byteMap(regs, at, r.ensureIecsRegisterFile(bus, device).bytes());
         });
}

/// I2C register files keyed by device address.
bool readI2c(JsonReader& in, const json& v, const std::string& path, Router& r) {
  return in.anyObject(v, path) && forEachMember(v, [&](const std::string& k, const json& regs) {
           std::string at = keyPath(path, k);
           uint32_t address = 0;
           if (!in.key(k, at, address, 0xff)) return false;
           if (r.i2cDevice(address)) return in.fail(at, "I2C address given twice");
           return in.byteMap(regs, at, r.ensureI2cDevice(address).bytes());
         });
}

/// "read-failures": [{ "port", "space", "first", "last", "status" }], each
/// failing the reads of double words first to last (by default the whole
/// space) of one space of one adapter (by default the router itself).
bool readReadFailures(JsonReader& in, const json& v, const std::string& path, Router& r) {
  if (!in.array(v, path)) return false;
  std::vector<ReadFailure> failures(v.size());
  for (size_t i = 0; i < v.size(); ++i) {
    const std::string at = indexPath(path, i);
    ReadFailure& f = failures[i];
    f.indexes = {0, kConfigIndexCount - 1};
    auto number = [&](const char* key, auto& out, uint64_t max) {
      return in.optional(v[i], key, at, [&](const json& x, const std::string& p) { return in.number(x, p, out, max); });
    };
    const json* space = nullptr;
    const json* st = nullptr;
    if (!in.object(v[i], at, {"port", "space", "first", "last", "status"}) ||
        !(space = in.required(v[i], "space", at)) || !in.number(*space, keyPath(at, "space"), f.space, kSpaceCount - 1) ||
        !number("port", f.port, kMaxAdapter) || !number("first", f.indexes.first, kConfigIndexCount - 1) ||
        !number("last", f.indexes.last, kConfigIndexCount - 1) || !(st = in.required(v[i], "status", at)) ||
        !in.number(*st, keyPath(at, "status"), f.status))
      return false;
    if (f.status == status::kSuccess) return in.fail(keyPath(at, "status"), "a failure status is not 0");
    if (f.indexes.last < f.indexes.first)
      return in.fail(keyPath(at, "last"), textf("0x%x is below first (0x%x)", f.indexes.last, f.indexes.first));
  }
  if (std::optional<size_t> overlapping = r.setReadFailures(std::move(failures)))
    return in.fail(indexPath(path, *overlapping), "overlaps another failing range of the same space");
  return true;
}

}  // namespace

std::unique_ptr<Router> readRouter(JsonReader& in, const json& v, const std::string& path, SimHost& host,
                                   size_t controller) {
  if (!in.object(v, path,
                 {"route", "registry", "device-space", "ports", "eeprom", "nvm", "iecs", "i2c", "lc-memory",
                  "unlisted-status", "read-failures", "bridges"}))
    return nullptr;
  if (++in.routersRead > kMaxHostRouters) {
    in.fail(path, textf("more than %zu routers in one host", kMaxHostRouters));
    return nullptr;
  }
  const json* routeValue = in.required(v, "route", path);
  uint64_t route = 0;
  if (!routeValue || !in.number(*routeValue, keyPath(path, "route"), route)) return nullptr;
  auto r = std::make_unique<Router>(controller, route);
  auto section = [&](const char* key, auto&& read) { return in.optional(v, key, path, read); };
  bool ok =
      section("registry", [&](const json& s, const std::string& p) { return readRegistry(in, s, p, r->registry()); }) &&
      section("device-space", [&](const json& s, const std::string& p) {
        return readSpace(in, s, p, *r, 0, kDeviceSpace);
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
      section("unlisted-status",
              [&](const json& s, const std::string& p) {
                uint64_t st = 0;
                if (!in.number(s, p, st, 0xffffffff)) return false;
                if (st == status::kSuccess) return in.fail(p, "a failure status is not 0");
                r->setUnlistedStatus(static_cast<Status>(st));
                return true;
              }) &&
      section("read-failures", [&](const json& s, const std::string& p) { return readReadFailures(in, s, p, *r); }) &&
      section("bridges", [&](const json& s, const std::string& p) {
        if (in.routerNesting >= kMaxBridgeChain)
          return in.fail(p, textf("bridges chained more than %u deep", kMaxBridgeChain));
        ++in.routerNesting;
        const bool read = readBridges(in, s, p, host, *r);
        --in.routerNesting;
        return read;
      });
  return ok ? std::move(r) : nullptr;
}

}  // namespace tbt::sim
