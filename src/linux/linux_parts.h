#pragma once
// The controller driver and host services of the Linux platform (internal).
#include <optional>
#include <string>

#include "linux/debugfs_spaces.h"
#include "platform/device_interface.h"
#include "platform/host_services.h"

namespace tbt::linux_host {

/// The one line that refuses a write into the copied tree at root.
std::string copyRefusal(const std::string& root);

/// Hands out plug-ins for the controller entries (domains) of the Linux registry.
class LinuxControllerDriver : public ControllerDriver {
 public:
  /// copyRoot: the root of a copied tree ("" for this machine's own).
  LinuxControllerDriver(DebugfsSpaces& spaces, std::string debugfs, std::string copyRoot)
      : spaces_(spaces), debugfs_(std::move(debugfs)), copyRoot_(std::move(copyRoot)) {}
  /// Fails with unsupported for an entry that is not a Linux controller.
  Status createPlugIn(const RegistryEntry& controller, std::unique_ptr<ControllerPlugIn>& out) override;
  DebugfsSpaces& spaces() { return spaces_; }
  /// Tells once per host, on the error stream, what a refused or missing
  /// debugfs needs.
  void hintAbout(Status s);

 private:
  DebugfsSpaces& spaces_;
  std::string debugfs_;
  std::string copyRoot_;
  bool hinted_ = false;
};

/// The running system's shell, monotonic clock, system log and standard
/// output. For a copied tree no command runs: each is logged as not run and
/// answers as a command that could not be started.
class LinuxHostServices : public HostServices {
 public:
  LinuxHostServices(std::optional<std::string> bootDisk, bool copy) : bootDisk_(std::move(bootDisk)), copy_(copy) {}
  int shell(const std::string& command) override;
  void sleepMicroseconds(uint64_t microseconds) override;
  uint64_t nowMicroseconds() override;
  void log(std::string_view text) override;
  void print(std::string_view text) override;
  std::optional<PropertyDict> readPropertyList(const std::string& path) override;
  std::optional<std::string> bootDiskName() override { return bootDisk_; }

 private:
  std::optional<std::string> bootDisk_;
  bool copy_;
};

}  // namespace tbt::linux_host
