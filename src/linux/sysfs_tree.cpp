#include "linux/sysfs_tree.h"

#include <algorithm>
#include <charconv>

#include "platform/text.h"

namespace tbt::linux_host {
namespace {

constexpr size_t kMaxEntries = 4096;
constexpr size_t kMaxAttributeBytes = 4096;
constexpr uint32_t kMaxDomain = 255;
constexpr uint32_t kMaxAdapter = 63;

template <typename T>
bool parseDigits(std::string_view digits, int base, T& value) {
  if (digits.empty()) return false;
  const char* end = digits.data() + digits.size();
  auto [stop, error] = std::from_chars(digits.data(), end, value, base);
  return error == std::errc() && stop == end;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ' || text.back() == '\r')) text.remove_suffix(1);
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  return text;
}

// The DEVTYPE= value of a uevent file's text, or "" when it has none.
std::string_view devtypeOf(std::string_view uevent) {
  constexpr std::string_view key = "DEVTYPE=";
  while (!uevent.empty()) {
    size_t newline = uevent.find('\n');
    std::string_view line = uevent.substr(0, newline);
    if (line.substr(0, key.size()) == key) return trimmed(line.substr(key.size()));
    uevent = newline == std::string_view::npos ? std::string_view() : uevent.substr(newline + 1);
  }
  return {};
}

}  // namespace

std::optional<RouterName> parseRouterName(std::string_view name) {
  size_t dash = name.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  std::string_view domain = name.substr(0, dash), route = name.substr(dash + 1);
  auto onlyOf = [](std::string_view s, std::string_view set) {
    return !s.empty() && s.find_first_not_of(set) == std::string_view::npos;
  };
  RouterName out;
  if (!onlyOf(domain, "0123456789") || !onlyOf(route, "0123456789abcdef") || domain.size() > 3 || route.size() > 16 ||
      !parseDigits(domain, 10, out.domain) || out.domain > kMaxDomain || !parseDigits(route, 16, out.route))
    return std::nullopt;
  // Every hop names an adapter 1..63: no empty hop below the last one.
  for (unsigned hop = 0; hop < depthOfRoute(out.route); ++hop) {
    uint32_t adapter = static_cast<uint32_t>(out.route >> (8 * hop)) & 0xff;
    if (adapter == 0 || adapter > kMaxAdapter) return std::nullopt;
  }
  return out;
}

std::string routerName(uint32_t domain, uint64_t route) {
  return textf("%u-%llx", domain, static_cast<unsigned long long>(route));
}

unsigned depthOfRoute(uint64_t route) {
  unsigned bits = 0;
  for (uint64_t r = route; r != 0; r >>= 1) ++bits;
  return (bits + 7) / 8;
}

std::optional<uint64_t> parseNumberAttribute(std::string_view text) {
  text = trimmed(text);
  uint64_t value = 0;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    if (parseDigits(text.substr(2), 16, value)) return value;
  } else if (parseDigits(text, 10, value)) {
    return value;
  }
  return std::nullopt;
}

std::optional<uint64_t> parseUniqueId(std::string_view text) {
  text = trimmed(text);
  // 8-4-4-4-12 hex digits, printed byte by byte in memory order.
  if (text.size() != 36) return std::nullopt;
  uint8_t bytes[16];
  size_t n = 0;
  for (size_t i = 0; i < text.size();) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (text[i] != '-') return std::nullopt;
      ++i;
      continue;
    }
    if (!parseDigits(text.substr(i, 2), 16, bytes[n])) return std::nullopt;
    ++n;
    i += 2;
  }
  for (size_t i = 8; i < 16; ++i)
    if (bytes[i] != 0xff) return std::nullopt;
  uint64_t uid = 0;
  for (size_t i = 8; i-- > 0;) uid = uid << 8 | bytes[i];
  return uid;
}

std::optional<std::pair<uint32_t, uint32_t>> parseNvmVersion(std::string_view text) {
  text = trimmed(text);
  size_t dot = text.find('.');
  uint32_t major = 0, minor = 0;
  if (dot == std::string_view::npos || dot > 8 || text.size() - dot - 1 > 8 ||
      !parseDigits(text.substr(0, dot), 16, major) || !parseDigits(text.substr(dot + 1), 16, minor))
    return std::nullopt;
  return std::make_pair(major, minor);
}

std::optional<std::string> readLine(LinuxFiles& files, const std::string& path) {
  std::string text;
  if (files.read(path, kMaxAttributeBytes, text) != 0) return std::nullopt;
  return std::string(trimmed(std::string_view(text).substr(0, text.find('\n'))));
}

SysfsTree scanSysfs(LinuxFiles& files, const std::string& devicesDirectory) {
  SysfsTree tree;
  std::vector<std::string> names;
  if (files.list(devicesDirectory, kMaxEntries, names) != 0) return tree;
  for (const std::string& name : names) {
    std::optional<RouterName> at = parseRouterName(name);
    if (!at) continue;
    const std::string dir = devicesDirectory + "/" + name;
    std::string uevent;
    std::string_view type;
    if (files.read(dir + "/uevent", kMaxAttributeBytes, uevent) == 0) type = devtypeOf(uevent);
    if (type == "thunderbolt_xdomain") {
      tree.xdomains.push_back(*at);
      continue;
    }
    if (!type.empty() && type != "thunderbolt_device") continue;
    SysfsRouter r;
    r.at = *at;
    r.name = name;
    auto number = [&](const char* attribute) -> std::optional<uint64_t> {
      std::optional<std::string> line = readLine(files, dir + "/" + attribute);
      return line ? parseNumberAttribute(*line) : std::nullopt;
    };
    std::optional<std::string> uniqueId = readLine(files, dir + "/unique_id");
    if (uniqueId) r.uid = parseUniqueId(*uniqueId);
    r.vendor = number("vendor");
    r.device = number("device");
    r.generation = number("generation");
    r.vendorName = readLine(files, dir + "/vendor_name");
    r.deviceName = readLine(files, dir + "/device_name");
    // Reading the NVM version may fail while the NVM is busy: it is then absent.
    std::optional<std::string> nvm = readLine(files, dir + "/nvm_version");
    if (nvm) r.nvmVersion = parseNvmVersion(*nvm);
    tree.routers.push_back(std::move(r));
  }
  auto byPlace = [](const RouterName& a, const RouterName& b) {
    return a.domain != b.domain ? a.domain < b.domain : a.route < b.route;
  };
  std::sort(tree.routers.begin(), tree.routers.end(),
            [&](const SysfsRouter& a, const SysfsRouter& b) { return byPlace(a.at, b.at); });
  std::sort(tree.xdomains.begin(), tree.xdomains.end(), byPlace);
  return tree;
}

}  // namespace tbt::linux_host
