// Writing a host's present state back as a host file: the file as loaded,
// with the variable store, EEPROM, NVM and LC memory contents replaced by
// what they hold now. Configuration registers are written as loaded (they do
// not survive a power cycle of the hardware either).
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

void saveRouter(const Router& r, json& out) {
  if (r.unlistedStatus()) out["unlisted-status"] = textf("0x%08x", *r.unlistedStatus());
  if (r.eeprom()) out["eeprom"] = memoryObject(*r.eeprom());
  if (r.nvm()) out["nvm"] = memoryObject(*r.nvm());
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
