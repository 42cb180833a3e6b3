#pragma once
// A real Linux host behind the platform boundary: the registry built from
// /sys/bus/thunderbolt, configuration spaces through the driver's debugfs
// files, and the host's own shell, clock, system log and probe files.
//
//   std::string error;
//   auto p = tbt::linux_host::openLinuxHost("", &error);   // or a copied tree's root
//   if (!p) { fprintf(stderr, "%s\n", error.c_str()); return 2; }
//   tbt::installPlatform(std::move(p));
#include <memory>
#include <string>

#include "linux/debugfs_spaces.h"
#include "linux/linux_files.h"
#include "platform/platform.h"

namespace tbt::linux_host {

class LinuxRegistry;
class LinuxControllerDriver;
class LinuxHostServices;

class LinuxPlatform : public Platform {
 public:
  /// Reads the host below root ("" for the running system: /sys/...),
  /// through files (kept by the platform).
  LinuxPlatform(std::string root, std::unique_ptr<LinuxFiles> files);
  ~LinuxPlatform() override;

  Registry& registry() override;
  ControllerDriver& controllerDriver() override;
  HostServices& host() override;
  /// The configuration spaces (snapshots and file-read accounting).
  DebugfsSpaces& spaces() { return *spaces_; }

 private:
  std::string root_;
  std::unique_ptr<LinuxFiles> files_;
  std::unique_ptr<DebugfsSpaces> spaces_;
  std::unique_ptr<LinuxRegistry> registry_;
  std::unique_ptr<LinuxControllerDriver> driver_;
  std::unique_ptr<LinuxHostServices> services_;
};

/// The devices folder below root: root + "/sys/bus/thunderbolt/devices".
std::string devicesDirectory(const std::string& root);
/// The driver's debugfs folder below root: root + "/sys/kernel/debug/thunderbolt".
std::string debugfsDirectory(const std::string& root);

/// True when root holds the kernel's Thunderbolt bus (root + "/sys/bus/thunderbolt").
bool hasThunderboltBus(const std::string& root);

/// Opens the host below root. Null with a one-line *error when root has no
/// Thunderbolt bus. files: null for the real file system.
std::unique_ptr<LinuxPlatform> openLinuxHost(const std::string& root, std::string* error,
                                             std::unique_ptr<LinuxFiles> files = nullptr);

}  // namespace tbt::linux_host
