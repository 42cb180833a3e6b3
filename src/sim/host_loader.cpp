// Reading a host file: host facts, variable store, controllers and faults.
#include "host_loader.h"

#include "platform/text.h"

namespace tbt::sim {

namespace {

using nlohmann::json;

/// Runs read on v[key] when present; true when absent or read well.
template <typename Read>
bool optionalKey(const json& v, const char* key, const std::string& path, Read&& read) {
  auto it = v.find(key);
  return it == v.end() || read(*it, keyPath(path, key));
}

bool readFacts(JsonReader& in, const json& doc, HostFacts& f) {
  std::string text;
  auto optionalString = [&](const char* key, const json& obj, const std::string& path,
                            std::optional<std::string>& out) {
    return optionalKey(obj, key, path, [&](const json& v, const std::string& p) {
      if (!in.string(v, p, text)) return false;
      out = text;
      return true;
    });
  };
  bool ok = optionalString("board-id", doc, "", f.boardId) && optionalString("boot-disk", doc, "", f.bootDisk) &&
            optionalKey(doc, "lid-closed", "", [&](const json& v, const std::string& p) {
              return in.boolean(v, p, f.lidClosed);
            });
  ok = ok && optionalKey(doc, "rom", "", [&](const json& v, const std::string& p) {
         f.hasRom = true;
         return in.object(v, p, {"version", "vendor"}) && optionalString("version", v, p, f.romVersion) &&
                optionalString("vendor", v, p, f.romVendor);
       });
  return ok && optionalKey(doc, "batteries", "", [&](const json& v, const std::string& p) {
           if (!in.array(v, p)) return false;
           for (size_t i = 0; i < v.size(); ++i) {
             std::string at = indexPath(p, i);
             std::optional<bool> external;
             bool value = false;
             if (!in.object(v[i], at, {"external-connected"})) return false;
             if (v[i].contains("external-connected")) {
               if (!in.boolean(v[i]["external-connected"], keyPath(at, "external-connected"), value)) return false;
               external = value;
             }
             f.batteries.push_back(external);
           }
           return true;
         });
}

bool readNvram(JsonReader& in, const json& v, const std::string& path, SimHost& host) {
  if (!in.anyObject(v, path)) return false;
  std::string text;
  for (const auto& [name, value] : v.items()) {
    if (!in.string(value, keyPath(path, name), text)) return false;
    host.nvram()[name] = decodeNvramValue(text);  // values use the variable tool's %-notation
  }
  return true;
}

bool readControllers(JsonReader& in, const json& v, const std::string& path, SimHost& host) {
  if (!in.array(v, path)) return false;
  for (size_t c = 0; c < v.size(); ++c) {
    std::string at = indexPath(path, c);
    if (!in.object(v[c], at, {"interface-version", "routers"})) return false;
    Controller controller;
    uint64_t version = 2;
    bool ok = optionalKey(v[c], "interface-version", at, [&](const json& x, const std::string& p) {
      return in.number(x, p, UINT32_MAX, version) &&
             (version == 1 || version == 2 || in.fail(p, "must be 1 or 2"));
    });
    controller.interfaceVersion = static_cast<uint32_t>(version);
    std::vector<LoadedRouter> routers;
    ok = ok && optionalKey(v[c], "routers", at, [&](const json& list, const std::string& p) {
           if (!in.array(list, p)) return false;
           for (size_t r = 0; r < list.size(); ++r) {
             std::string rp = indexPath(p, r);
             auto router = readRouter(in, list[r], rp, c);
             if (!router) return false;
             routers.push_back({std::move(router), rp});
           }
           return true;
         });
    if (!ok || !placeRouters(in, routers, controller)) return false;
    host.controllers().push_back(std::move(controller));
  }
  return true;
}

bool readFault(JsonReader& in, const json& v, const std::string& path, Fault& f) {
  if (!in.object(v, path, {"op", "controller", "route", "port", "space", "index", "bus", "device", "address",
                           "status", "skip", "times"}))
    return false;
  auto it = v.find("op");
  if (it == v.end()) return in.fail(keyPath(path, "op"), "required key is missing");
  if (!in.string(*it, keyPath(path, "op"), f.op)) return false;
  if (!isKnownFaultOp(f.op)) return in.fail(keyPath(path, "op"), textf("unknown operation \"%s\"", f.op.c_str()));
  auto u32 = [&](const char* key, std::optional<uint32_t>& out) {
    return optionalKey(v, key, path, [&](const json& x, const std::string& p) {
      uint64_t n = 0;
      if (!in.number(x, p, UINT32_MAX, n)) return false;
      out = static_cast<uint32_t>(n);
      return true;
    });
  };
  uint64_t n = 0;
  bool ok = optionalKey(v, "controller", path, [&](const json& x, const std::string& p) {
              return in.number(x, p, UINT32_MAX, n) && (f.controller = n, true);
            }) &&
            optionalKey(v, "route", path, [&](const json& x, const std::string& p) {
              return in.number(x, p, UINT64_MAX, n) && (f.route = n, true);
            }) &&
            u32("port", f.port) && u32("space", f.space) && u32("index", f.index) && u32("bus", f.bus) &&
            u32("device", f.device) && u32("address", f.address);
  return ok && optionalKey(v, "status", path, [&](const json& x, const std::string& p) {
           return in.number(x, p, UINT32_MAX, n) && (f.status = static_cast<Status>(n), true);
         }) && optionalKey(v, "skip", path, [&](const json& x, const std::string& p) {
           return in.number(x, p, UINT64_MAX, n) && (f.skip = n, true);
         }) && optionalKey(v, "times", path, [&](const json& x, const std::string& p) {
           return in.signedNumber(x, p, -1, f.times);
         });
}

bool readFaults(JsonReader& in, const json& v, const std::string& path, SimHost& host) {
  if (!in.array(v, path)) return false;
  for (size_t i = 0; i < v.size(); ++i) {
    Fault f;
    if (!readFault(in, v[i], indexPath(path, i), f)) return false;
    host.addFault(std::move(f));
  }
  return true;
}

}  // namespace

std::unique_ptr<SimHost> loadMachine(const json& doc, JsonReader& in) {
  if (!in.object(doc, "", {"board-id", "rom", "lid-closed", "batteries", "boot-disk", "nvram", "access-latency-us",
                           "controllers", "faults"}))
    return nullptr;
  auto host = std::make_unique<SimHost>();
  uint64_t latency = host->accessLatencyMicroseconds();
  bool ok = readFacts(in, doc, host->facts()) &&
            optionalKey(doc, "nvram", "", [&](const json& v, const std::string& p) { return readNvram(in, v, p, *host); }) &&
            optionalKey(doc, "access-latency-us", "",
                        [&](const json& v, const std::string& p) { return in.number(v, p, UINT32_MAX, latency); }) &&
            optionalKey(doc, "controllers", "",
                        [&](const json& v, const std::string& p) { return readControllers(in, v, p, *host); }) &&
            optionalKey(doc, "faults", "", [&](const json& v, const std::string& p) { return readFaults(in, v, p, *host); });
  if (!ok) return nullptr;
  host->setAccessLatencyMicroseconds(latency);
  host->setDocument(doc);
  return host;
}

}  // namespace tbt::sim
