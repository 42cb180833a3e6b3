#pragma once
// Variations of the embedded default host for the update-check tests, and a
// way to run the update checker's entry point on them. The default host has
// two displays: 0x1 directly behind host adapter 1 (UID header valid) and
// 0x301 chained behind it (header CRC corrupt); both run old firmware.
//
//   nlohmann::json doc = defaultHostDocument();
//   addDisplay(doc, 0x3, 0x1234);
//   ScopedHost host(doc.dump());
//   EXPECT_EQ(runChecker({"-a"}), 5);
#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "driver/entry.h"
#include "driver/backflash.h"
#include "driver/update_check.h"
#include "drom/checksums.h"
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

/// The nine header bytes of a UID as hex: CRC-8, then the UID little-endian.
/// corrupt spoils the CRC.
inline std::string uidHeaderHex(uint64_t uid, bool corrupt = false) {
  std::array<uint8_t, 8> bytes{};
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(uid >> (8 * i));
  std::string out = textf("%02x", static_cast<uint8_t>(crc8(bytes.data(), 8) ^ (corrupt ? 0x5a : 0)));
  for (uint8_t b : bytes) appendf(out, "%02x", b);
  return out;
}

/// Writes the UID header into the display's EEPROM at the DROM offset.
inline void setUidHeader(nlohmann::json& host, uint64_t route, uint64_t uid, bool corrupt = false) {
  routerOf(host, route)["eeprom"]["bytes"] = {{hex(kDromOffset), uidHeaderHex(uid, corrupt)}};
}

/// Device-space double word 1 of a display: revision 1, up to adapter 6, its
/// depth and upstream adapter, the capability chain starting at 0x40.
inline std::string displayDword1(uint64_t route, uint32_t upstreamPort) {
  unsigned depth = 0;
  for (uint64_t r = route; r; r >>= 8) ++depth;
  return hex(0x01000000u | depth << 20 | 6u << 14 | upstreamPort << 8 | 0x40u);
}

/// Attaches the display at route through its adapter upstreamPort.
inline void setUpstreamPort(nlohmann::json& host, uint64_t route, uint32_t upstreamPort) {
  routerOf(host, route)["device-space"]["1"] = displayDword1(route, upstreamPort);
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

/// Removes the routers at route and below it.
inline void removeRouter(nlohmann::json& host, uint64_t route) {
  auto& routers = host["controllers"][0]["routers"];
  unsigned bits = 0;
  while (route >> bits) bits += 8;
  const uint64_t mask = bits >= 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
  routers.erase(std::remove_if(routers.begin(), routers.end(),
                               [&](const nlohmann::json& r) {
                                 uint64_t at = std::stoull(r["route"].get<std::string>(), nullptr, 16);
                                 return (at & mask) == route;
                               }),
                routers.end());
}

/// Where the tests pretend the program lies (the build directory holds the
/// error dictionary).
inline std::string defaultToolPath() { return TBT_BINARY_DIR "/updatechecker"; }

/// Runs the update checker's command line (program path, then args) with
/// the real update check and backflash on the installed host.
/// Returns the exit status.
inline int runChecker(std::vector<std::string> args, std::string toolPath = defaultToolPath()) {
  args.insert(args.begin(), std::move(toolPath));
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  return runUpdateChecker(static_cast<int>(args.size()), argv.data(), EntryCalls{checkForUpdates, runBackflash});
}

/// True when the host logged line (given without its newline).
inline bool logged(const sim::SimHost& sim, std::string_view line) {
  const auto& lines = sim.logLines();
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

/// How many log lines equal line.
inline size_t loggedCount(const sim::SimHost& sim, std::string_view line) {
  const auto& lines = sim.logLines();
  return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
}

}  // namespace tbt::test
