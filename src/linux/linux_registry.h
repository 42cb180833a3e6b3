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
#include "platform/registry.h"

namespace tbt::linux_host {

/// One registry entry.
class LinuxNode : public RegistryNode, public std::enable_shared_from_this<LinuxNode> {
 public:
  LinuxNode(std::string className, std::string name) : class_(std::move(className)), name_(std::move(name)) {}

  std::string className() const override { return class_; }
  bool conformsTo(std::string_view className) const override;
  std::optional<Property> property(std::string_view key) const override;
  std::vector<std::string> propertyKeys() const override;
  std::vector<RegistryEntry> children() const override;
  std::vector<RegistryEntry> parents() const override;
  std::string path() const override;

  const std::string& name() const { return name_; }
  PropertyDict& properties() { return props_; }
  const PropertyDict& properties() const { return props_; }
  std::shared_ptr<LinuxNode> addChild(std::string className, std::string name);
  const std::vector<std::shared_ptr<LinuxNode>>& childNodes() const { return children_; }
  /// The domain a controller entry stands for.
  std::optional<uint32_t> domain;

 private:
  std::string class_;
  std::string name_;
  PropertyDict props_;
  std::vector<std::shared_ptr<LinuxNode>> children_;
  std::weak_ptr<LinuxNode> parent_;
};

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

/// Reads the host facts below root ("" for the running system).
HostFacts readHostFacts(LinuxFiles& files, const std::string& root);

class LinuxRegistry : public Registry {
 public:
  /// Builds the registry from the sysfs scan, the debugfs spaces (adapter
  /// folders, adapter types, upstream adapters, DROM files) and the facts.
  LinuxRegistry(const SysfsTree& tree, DebugfsSpaces& spaces, LinuxFiles& files, const std::string& debugfsDirectory,
                const HostFacts& facts);

  RegistryEntry root() const override { return RegistryEntry(root_); }
  RegistryEntry fromPath(std::string_view path) const override;
  std::vector<RegistryEntry> matching(std::string_view className,
                                      const PropertyDict* propertyMatch = nullptr) const override;

 private:
  std::shared_ptr<LinuxNode> root_;
  std::map<std::string, std::shared_ptr<LinuxNode>, std::less<>> aliases_;
};

}  // namespace tbt::linux_host
