#pragma once
// The registry of a Linux host, in the shape the toolkit walks: one
// controller per Thunderbolt domain, its host interface port, the host
// switch, its ports, and below each connected lane adapter the next router's
// upstream port and switch; an
// "IOThunderboltXDomainLink" where a lane adapter leads to another host; and
// the host probes (board id, boot firmware, lid, power sources, boot medium).
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "linux/debugfs_spaces.h"
#include "linux/sysfs_tree.h"
#include "platform/registry_tree.h"

namespace tbt::linux_host {

/// One registry entry; a controller entry's controllerIndex is its domain.
using LinuxNode = RegistryTreeNode;

/// Facts about the host from its own files; each absent when its file is.
struct HostFacts {
  std::optional<std::string> boardName;      // DMI board name
  std::optional<std::string> biosVersion;    // DMI boot firmware version
  std::optional<std::string> biosVendor;     // DMI boot firmware vendor
  std::optional<bool> lidClosed;             // ACPI lid button state
  size_t batteries = 0;                      // power supplies of type Battery
  std::optional<bool> externalPower;         // a mains or USB supply's "online"
  std::optional<std::string> bootDisk;       // device of the root file system ("nvme0n1p2")
};

/// Reads the host facts from the host's files.
HostFacts readHostFacts(LinuxFiles& files);

class LinuxRegistry : public RegistryTree {
 public:
  /// Builds the registry from the sysfs scan, the debugfs spaces (adapter
  /// folders, adapter types, upstream adapters, DROM files) and the facts.
  LinuxRegistry(const SysfsTree& tree, DebugfsSpaces& spaces, LinuxFiles& files, const std::string& debugfsDirectory,
                const HostFacts& facts);
};

}  // namespace tbt::linux_host
