#pragma once
// What /sys/bus/thunderbolt/devices tells about the fabric: the routers of
// each domain by route, with the attributes the toolkit reads, and the
// XDomain peers (other hosts) by the route they sit at.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/linux_files.h"

namespace tbt::linux_host {

/// Domain and route of an entry named "<domain>-<route>" (route in hex), or
/// nullopt for any other name or a route no router can have.
struct RouterName {
  uint32_t domain = 0;
  uint64_t route = 0;
};
std::optional<RouterName> parseRouterName(std::string_view name);

/// The name of the router entry: "0-301".
std::string routerName(uint32_t domain, uint64_t route);

/// Hops from the host router: (bit width of the route + 7) / 8.
unsigned depthOfRoute(uint64_t route);

/// A number attribute in the kernel's "%#x" form or in decimal.
std::optional<uint64_t> parseNumberAttribute(std::string_view text);

/// The UID in a "unique_id" of a UID-based router: the 8 UID bytes
/// little-endian, then ff x 8. Other identifiers give nullopt.
std::optional<uint64_t> parseUniqueId(std::string_view text);

/// "nvm_version" ("%x.%x"): major and minor.
std::optional<std::pair<uint32_t, uint32_t>> parseNvmVersion(std::string_view text);

/// One router entry with the attributes the toolkit reads (absent where
/// the kernel gives nothing).
struct SysfsRouter {
  RouterName at;
  std::string name;
  std::optional<uint64_t> uid;
  std::optional<uint64_t> vendor, device;
  std::optional<std::string> vendorName, deviceName;
  std::optional<std::pair<uint32_t, uint32_t>> nvmVersion;
  std::optional<uint64_t> generation;
};

struct SysfsTree {
  std::vector<SysfsRouter> routers;   // by domain, then route
  std::vector<RouterName> xdomains;   // other hosts, by domain, then route
};

/// Reads the devices directory (at most a few thousand entries); entries are
/// told apart by the DEVTYPE of their uevent file, by their name when it has none.
SysfsTree scanSysfs(LinuxFiles& files, const std::string& devicesDirectory);

/// The first line of a small text file without its newline, or nullopt.
std::optional<std::string> readLine(LinuxFiles& files, const std::string& path);

}  // namespace tbt::linux_host
