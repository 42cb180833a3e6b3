// Writing a host's present state back as a host file: the file as loaded,
// with the variable store, EEPROM, NVM and LC memory contents replaced by
// what they hold now, the configuration double words that writes stored,
// the numbers the registry publishes of a router and its adapters (what a
// flash changes), and the start state: the registered boot selection, a
// pending restart and the count of restarts.
#include <nlohmann/json.hpp>

#include "host_loader.h"
#include "platform/file_writer.h"
#include "platform/text.h"
#include "sim/sim_platform.h"

namespace tbt::sim {

namespace {

using nlohmann::json;

// Runs of written bytes closer than this are saved as one hex string.
constexpr uint64_t kJoinGap = 16;

/// The written bytes of a memory as { "0x<address>": "<hex>" } runs.
json byteRuns(const ByteMemory& m) {
  json runs = json::object();
  const auto& written = m.runs();
  for (auto it = written.begin(); it != written.end();) {
    const uint64_t start = it->start;
    uint64_t end = start;  // one past the run
    while (it != written.end() && it->start <= end + kJoinGap) end = (it++)->end();
    std::string hex;
    hex.reserve(2 * (end - start));
    for (uint64_t a = start; a < end; ++a) appendf(hex, "%02x", m.read(a));
    runs[textf("0x%llx", static_cast<unsigned long long>(start))] = hex;
  }
  return runs;
}

json memoryObject(const ByteMemory& m) {
  return json{{"size", textf("0x%llx", static_cast<unsigned long long>(m.size()))},
              {"fill", textf("0x%02x", m.fill())},
              {"bytes", byteRuns(m)}};
}

// A memory's object, its size and fill kept as the file spells them.
void saveMemory(const ByteMemory& m, json& out) {
  json saved = memoryObject(m);
  for (const char* key : {"size", "fill"}) {
    JsonReader quiet;
    uint64_t was = 0, now = 0;
    if (out.is_object() && out.contains(key) && quiet.number(out[key], "", was) &&
        quiet.number(saved[key], "", now) && was == now)
      saved[key] = out[key];
  }
  out = std::move(saved);
}

// The key of object whose number (decimal or 0x-hex) is n; null when none.
json* numberedKey(json& object, uint64_t n) {
  for (auto& [k, v] : object.items()) {
    JsonReader quiet;
    uint64_t key = 0;
    if (quiet.key(k, "", key) && key == n) return &v;
  }
  return nullptr;
}

// Sets object's entry for the number n (keeping the key as the file spells it).
void setNumbered(json& object, uint64_t n, json value) {
  if (json* slot = numberedKey(object, n)) *slot = std::move(value);
  else object[textf("0x%llx", static_cast<unsigned long long>(n))] = std::move(value);
}

// The registry numbers that differ from the file's (or that it lacks).
void saveRegistryNumbers(const RegistryOverrides* overrides, json& out) {
  if (!overrides) return;
  for (const auto& [key, value] : overrides->set.items()) {
    if (!value.isNumber()) continue;  // only numbers change after loading
    JsonReader quiet;
    uint64_t saved = 0;
    const bool same = out.contains("registry") && out["registry"].contains(key) &&
                      quiet.number(out["registry"][key], "", saved) && saved == value.asNumber();
    if (!same) out["registry"][key] = textf("0x%llx", static_cast<unsigned long long>(value.asNumber()));
  }
}

// The double words that writes stored, in device space or in the space of a
// described adapter (others have no place in the file and are not saved).
void saveRegisters(const Router& r, json& out) {
  static constexpr const char* kSpaceKeys[kSpaceCount] = {"path-space", "port-space", nullptr, "counter-space"};
  for (uint64_t address : r.writtenRegisters()) {
    const auto port = static_cast<uint32_t>(address >> 40 & 0xffff);
    const auto space = static_cast<uint32_t>(address >> 32 & 0xff);
    const auto index = static_cast<uint32_t>(address);
    const json value = textf("0x%08x", r.peek(port, space, index));
    if (port == 0 && space == kDeviceSpace) {
      setNumbered(out["device-space"], index, value);
    } else if (port != 0 && r.hasPort(port) && space < kSpaceCount && kSpaceKeys[space]) {
      json* portDoc = numberedKey(out["ports"], port);
      if (portDoc) setNumbered((*portDoc)[kSpaceKeys[space]], index, value);
    }
  }
}

void saveRouter(const Router& r, json& out) {
  saveRegisters(r, out);
  saveRegistryNumbers(&r.registry(), out);
  for (uint32_t port : r.ports())
    if (json* portDoc = out.contains("ports") ? numberedKey(out["ports"], port) : nullptr)
      saveRegistryNumbers(r.portRegistry(port), *portDoc);
  if (r.unlistedStatus()) out["unlisted-status"] = textf("0x%08x", *r.unlistedStatus());
  if (r.eeprom()) saveMemory(*r.eeprom(), out["eeprom"]);
  if (r.nvm()) saveMemory(*r.nvm(), out["nvm"]);
  if (!r.lcMemory().empty() || out.contains("lc-memory")) {
    json words = json::object();
    for (auto [address, word] : r.lcMemory().words()) words[textf("0x%x", address)] = textf("0x%08x", word);
    out["lc-memory"] = words;
  }
}

}  // namespace

std::string hostJson(const SimHost& host) {
  json doc = host.document();
  if (!host.nvram().empty() || doc.contains("nvram")) {
    json vars = json::object();
    for (const auto& [name, value] : host.nvram()) vars[name] = encodeNvramValue(value);
    doc["nvram"] = vars;
  }
  if (host.scheduledBootEntry()) doc["boot-selection"] = *host.scheduledBootEntry();
  else doc.erase("boot-selection");
  if (host.restartRequested() || doc.contains("restart-requested")) doc["restart-requested"] = host.restartRequested();
  if (host.restartCount() != 0 || doc.contains("restarts")) doc["restarts"] = host.restartCount();
  if (doc.contains("controllers")) {
    auto& controllers = doc["controllers"];
    for (size_t c = 0; c < controllers.size(); ++c) {
      if (!controllers[c].contains("routers")) continue;
      for (auto& routerDoc : controllers[c]["routers"]) {
        JsonReader quiet;
        uint64_t route = 0;
        quiet.number(routerDoc["route"], "", route);
        if (const Router* r = host.router(c, route)) saveRouter(*r, routerDoc);
      }
    }
  }
  return doc.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

bool saveHostFile(const SimHost& host, const std::string& path, std::string* error) {
  try {
    std::string failed = writeFileSafely(path, hostJson(host));
    if (!failed.empty() && error) *error = failed;
    return failed.empty();
  } catch (const std::exception& e) {
    if (error) *error = textf("cannot write %s: %s", path.c_str(), e.what());
    return false;
  }
}

}  // namespace tbt::sim
