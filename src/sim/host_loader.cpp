// Reading a host file: host facts, variable store, controllers and faults.
#include "host_loader.h"

#include "platform/text.h"
#include "sim/boot_selection.h"

namespace tbt::sim {

namespace {

using nlohmann::json;

bool readFacts(JsonReader& in, const json& doc, HostFacts& f) {
  auto optionalString = [&](const json& obj, const char* key, const std::string& path,
                            std::optional<std::string>& out) {
    return in.optional(obj, key, path, [&](const json& v, const std::string& p) {
      std::string text;
      return in.string(v, p, text) && (out = std::move(text), true);
    });
  };
  auto battery = [&](const json& v, const std::string& at) {
    std::optional<bool> external;
    if (!in.object(v, at, {"external-connected"}) ||
        !in.optional(v, "external-connected", at, [&](const json& x, const std::string& p) {
          bool value = false;
          return in.boolean(x, p, value) && (external = value, true);
        }))
      return false;
    f.batteries.push_back(external);
    return true;
  };
  return optionalString(doc, "board-id", "", f.boardId) && optionalString(doc, "boot-disk", "", f.bootDisk) &&
         in.optional(doc, "lid-closed", "", [&](const json& v, const std::string& p) {
           return in.boolean(v, p, f.lidClosed);
         }) &&
         in.optional(doc, "rom", "", [&](const json& v, const std::string& p) {
           f.hasRom = true;
           return in.object(v, p, {"version", "vendor"}) && optionalString(v, "version", p, f.romVersion) &&
                  optionalString(v, "vendor", p, f.romVendor);
         }) &&
         in.optional(doc, "batteries", "", [&](const json& v, const std::string& p) {
           if (!in.array(v, p)) return false;
           for (size_t i = 0; i < v.size(); ++i)
             if (!battery(v[i], indexPath(p, i))) return false;
           return true;
         });
}

bool readNvram(JsonReader& in, const json& v, const std::string& path, SimHost& host) {
  std::string text;
  return in.anyObject(v, path) && forEachMember(v, [&](const std::string& name, const json& value) {
           if (!in.string(value, keyPath(path, name), text)) return false;
           host.nvram()[name] = decodeNvramValue(text);  // values use the variable tool's %-notation
           return true;
         });
}

bool readControllers(JsonReader& in, const json& v, const std::string& path, SimHost& host) {
  if (!in.array(v, path)) return false;
  if (v.size() > kMaxControllers)
    return in.fail(indexPath(path, kMaxControllers), textf("more than %zu controllers (a router ID has eight bits)", kMaxControllers));
  for (size_t c = 0; c < v.size(); ++c) {
    std::string at = indexPath(path, c);
    if (!in.object(v[c], at, {"interface-version", "routers"})) return false;
    Controller controller;
    std::vector<LoadedRouter> routers;
    bool ok = in.optional(v[c], "interface-version", at, [&](const json& x, const std::string& p) {
      return in.number(x, p, controller.interfaceVersion) &&
             (controller.interfaceVersion == 1 || controller.interfaceVersion == 2 || in.fail(p, "must be 1 or 2"));
    }) && in.optional(v[c], "routers", at, [&](const json& list, const std::string& p) {
      if (!in.array(list, p)) return false;
      for (size_t r = 0; r < list.size(); ++r) {
        std::string rp = indexPath(p, r);
        auto router = readRouter(in, list[r], rp, host, c);
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
  const json* op = in.required(v, "op", path);
  if (!op || !in.string(*op, keyPath(path, "op"), f.op)) return false;
  if (!isKnownFaultOp(f.op)) return in.fail(keyPath(path, "op"), textf("unknown operation \"%s\"", f.op.c_str()));
  auto number = [&](const char* key, auto& out) {
    return in.optional(v, key, path, [&](const json& x, const std::string& p) { return in.number(x, p, out); });
  };
  return in.optional(v, "controller", path,
                     [&](const json& x, const std::string& p) { return in.number(x, p, f.controller, UINT32_MAX); }) &&
         number("route", f.route) && number("port", f.port) && number("space", f.space) && number("index", f.index) &&
         number("bus", f.bus) && number("device", f.device) && number("address", f.address) &&
         number("status", f.status) && number("skip", f.skip) &&
         in.optional(v, "times", path, [&](const json& x, const std::string& p) {
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

// What the host remembers across runs: the registered boot selection, a
// restart asked for and not yet made, and the restarts made so far.
bool readStartState(JsonReader& in, const json& doc, SimHost& host) {
  return in.optional(doc, "boot-selection", "",
                     [&](const json& v, const std::string& p) {
                       std::string line, why;
                       if (!in.string(v, p, line)) return false;
                       if (!parseBootSelection(line, &why)) return in.fail(p, why);
                       host.setScheduledBootEntry(std::move(line));
                       return true;
                     }) &&
         in.optional(doc, "restart-requested", "",
                     [&](const json& v, const std::string& p) {
                       bool requested = false;
                       if (!in.boolean(v, p, requested)) return false;
                       if (requested) host.requestRestart();
                       return true;
                     }) &&
         in.optional(doc, "restarts", "", [&](const json& v, const std::string& p) {
           uint64_t count = 0;
           return in.number(v, p, count) && (host.setRestartCount(count), true);
         });
}

}  // namespace

std::unique_ptr<SimHost> loadMachine(const json& doc, JsonReader& in) {
  if (!in.object(doc, "", {"board-id", "rom", "lid-closed", "batteries", "boot-disk", "nvram", "access-latency-us",
                           "controllers", "faults", "boot-selection", "restart-requested", "restarts"}))
    return nullptr;
  auto host = std::make_unique<SimHost>();
  uint64_t latency = host->accessLatencyMicroseconds();
  auto section = [&](const char* key, auto&& read) {
    return in.optional(doc, key, "", [&](const json& v, const std::string& p) { return read(in, v, p, *host); });
  };
  bool ok = readFacts(in, doc, host->facts()) && section("nvram", readNvram) &&
            in.optional(doc, "access-latency-us", "",
                        [&](const json& v, const std::string& p) { return in.number(v, p, latency, UINT32_MAX); }) &&
            section("controllers", readControllers) && section("faults", readFaults) &&
            readStartState(in, doc, *host);
  if (!ok) return nullptr;
  host->setAccessLatencyMicroseconds(latency);
  return host;
}

}  // namespace tbt::sim
