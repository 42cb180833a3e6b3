// The host probes from the system's own files: DMI for the board and the
// boot firmware, the ACPI lid button, the power-supply class, the mount table.
#include <algorithm>
#include <string_view>

#include "linux/linux_registry.h"

namespace tbt::linux_host {
namespace {

constexpr size_t kMaxEntries = 64;
constexpr size_t kMaxMountTableBytes = 1 << 20;

// The first line of "<folder>/<entry>/<file>" for the first entry that has the file.
std::optional<std::string> firstLineIn(LinuxFiles& files, const std::string& folder, const char* file) {
  std::vector<std::string> names;
  if (files.list(folder, kMaxEntries, names) != 0) return std::nullopt;
  std::sort(names.begin(), names.end());
  for (const std::string& name : names)
    if (std::optional<std::string> line = readLine(files, folder + "/" + name + "/" + file)) return line;
  return std::nullopt;
}

// "state:      closed" of the ACPI lid button.
std::optional<bool> lidClosed(LinuxFiles& files) {
  std::optional<std::string> line = firstLineIn(files, "/proc/acpi/button/lid", "state");
  if (!line) return std::nullopt;
  if (line->find("closed") != std::string::npos) return true;
  if (line->find("open") != std::string::npos) return false;
  return std::nullopt;
}

void readPowerSupplies(LinuxFiles& files, HostFacts& f) {
  const std::string folder = "/sys/class/power_supply";
  std::vector<std::string> names;
  if (files.list(folder, kMaxEntries, names) != 0) return;
  for (const std::string& name : names) {
    std::optional<std::string> type = readLine(files, folder + "/" + name + "/type");
    if (!type) continue;
    if (*type == "Battery") {
      ++f.batteries;
      continue;
    }
    // Any other supply (Mains, USB, ...) that says whether it is online.
    std::optional<std::string> online = readLine(files, folder + "/" + name + "/online");
    if (online) f.externalPower = f.externalPower.value_or(false) || *online == "1";
  }
}

// The device of the root file system in the mount table, without "/dev/".
std::optional<std::string> bootDisk(LinuxFiles& files) {
  std::string table;
  if (files.read("/proc/mounts", kMaxMountTableBytes, table) != 0) return std::nullopt;
  std::optional<std::string> found;
  std::string_view rest = table;
  while (!rest.empty()) {
    size_t newline = rest.find('\n');
    std::string_view line = rest.substr(0, newline);
    rest = newline == std::string_view::npos ? std::string_view() : rest.substr(newline + 1);
    size_t blank = line.find(' ');
    if (blank == std::string_view::npos) continue;
    std::string_view device = line.substr(0, blank), rest2 = line.substr(blank + 1);
    // A later mount over "/" hides the earlier one.
    if (rest2.substr(0, 2) == "/ " && device.substr(0, 5) == "/dev/" && device.size() > 5)
      found = std::string(device.substr(5));
  }
  return found;
}

}  // namespace

HostFacts readHostFacts(LinuxFiles& files) {
  HostFacts f;
  const std::string dmi = "/sys/class/dmi/id/";
  f.boardName = readLine(files, dmi + "board_name");
  f.biosVersion = readLine(files, dmi + "bios_version");
  f.biosVendor = readLine(files, dmi + "bios_vendor");
  f.lidClosed = lidClosed(files);
  readPowerSupplies(files, f);
  f.bootDisk = bootDisk(files);
  return f;
}

}  // namespace tbt::linux_host
