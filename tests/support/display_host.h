#pragma once
// Variations of the embedded default host for the update-check tests
// (defaultHostDocument, edited, then given to ScopedHost) and the update
// checker's entry point run on them (runChecker). The default host has two
// displays, both with old firmware: 0x1 directly behind host adapter 1 (UID
// header valid) and 0x301 chained behind it (header CRC corrupt).
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "driver/backflash.h"
#include "driver/entry.h"
#include "driver/update_check.h"
#include "drom/checksums.h"
#include "sim/register_fields.h"
#include "support/scoped_host.h"

namespace tbt::test {

/// The UIDs of the default host's displays: as the registry and the valid
/// header hold them, and the one 0x301 gets when repaired from its ASN.
inline constexpr uint64_t kNearUid = 0x0001D15B00A1C301;
inline constexpr uint64_t kFarRegistryUid = 0x0001D15B00A1C302;
inline constexpr uint64_t kFarRepairedUid = 0x0001001A731FF1D0;
/// Where the default host's displays keep their DROM.
inline constexpr uint32_t kDromOffset = 0x100;

inline nlohmann::json defaultHostDocument() { return nlohmann::json::parse(sim::defaultHostJson()); }

/// The nine header bytes of a UID as hex: CRC-8, then the UID little-endian;
/// corrupt spoils the CRC.
inline std::string uidHeaderHex(uint64_t uid, bool corrupt = false) {
  uint8_t bytes[8];
  for (size_t i = 0; i < 8; ++i) bytes[i] = static_cast<uint8_t>(uid >> (8 * i));
  std::string out = textf("%02x", crc8(bytes, 8) ^ (corrupt ? 0x5a : 0));
  for (uint8_t b : bytes) appendf(out, "%02x", b);
  return out;
}

/// Writes the UID header into the EEPROM of the display at route.
inline void setUidHeader(nlohmann::json& host, uint64_t route, uint64_t uid, bool corrupt = false) {
  routerOf(host, route)["eeprom"]["bytes"] = {{hex(kDromOffset), uidHeaderHex(uid, corrupt)}};
}

/// Places the display at route (device-space double word 1: depth from the
/// route) behind its adapter upstreamPort.
inline void setUpstreamPort(nlohmann::json& host, uint64_t route, uint32_t upstreamPort) {
  nlohmann::json& dword1 = routerOf(host, route)["device-space"]["1"];
  unsigned depth = 0;
  for (uint64_t r = route; r; r >>= 8) ++depth;
  const uint32_t word = sim::kDepthField.set(std::stoul(dword1.get<std::string>(), nullptr, 16), depth);
  dword1 = hex(sim::kUpstreamPortField.set(word, upstreamPort));
}

/// Adds a display at route (a copy of the one at 0x1) with a valid header for uid.
inline void addDisplay(nlohmann::json& host, uint64_t route, uint64_t uid) {
  nlohmann::json display = routerOf(host, 0x1);
  display["route"] = hex(route);
  display["registry"]["UID"] = hex(uid);
  host["controllers"][0]["routers"].push_back(display);
  setUpstreamPort(host, route, 1);
  setUidHeader(host, route, uid);
}

/// Removes the router at route and those below it.
inline void removeRouter(nlohmann::json& host, uint64_t route) {
  uint64_t mask = 0;
  while (route & ~mask) mask = mask << 8 | 0xFF;
  nlohmann::json& routers = host["controllers"][0]["routers"];
  for (size_t i = routers.size(); i-- > 0;)
    if ((std::stoull(routers[i]["route"].get<std::string>(), nullptr, 16) & mask) == route) routers.erase(i);
}

/// Where the tests pretend the program lies: beside the error dictionary.
inline std::string defaultToolPath() { return TBT_BINARY_DIR "/updatechecker"; }

/// Runs the update checker's command line (program path, then args) on the
/// installed host with the real update check and backflash or the given ones;
/// returns the exit status.
inline int runChecker(std::vector<std::string> args, std::string toolPath = defaultToolPath(),
                      const EntryCalls& calls = EntryCalls{checkForUpdates, runBackflash}) {
  args.insert(args.begin(), std::move(toolPath));
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  return runUpdateChecker(static_cast<int>(args.size()), argv.data(), calls);
}

/// How many log lines of the host equal line (given without its newline).
inline size_t loggedCount(const sim::SimHost& sim, std::string_view line) {
  return static_cast<size_t>(std::count(sim.logLines().begin(), sim.logLines().end(), line));
}
inline bool logged(const sim::SimHost& sim, std::string_view line) { return loggedCount(sim, line) > 0; }

}  // namespace tbt::test
