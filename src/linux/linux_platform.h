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

/// What a host's tree is: this machine's own, or a copy of a host taken
/// elsewhere (read as a snapshot: nothing is written into it and no command
/// runs for it here).
enum class TreeKind { kThisMachine, kCopy };

/// kThisMachine for "", "/" and any path that resolves to "/"; else kCopy.
TreeKind treeKindOf(const std::string& root);

class LinuxPlatform : public Platform {
 public:
  /// Reads the host through files (kept by the platform), whose root it is.
  LinuxPlatform(std::unique_ptr<LinuxFiles> files, TreeKind kind);
  ~LinuxPlatform() override;

  Registry& registry() override;
  ControllerDriver& controllerDriver() override;
  HostServices& host() override;
  std::string writesRefusedBecause() const override;
  /// The configuration spaces (snapshots and file-read accounting).
  DebugfsSpaces& spaces() { return *spaces_; }

 private:
  std::unique_ptr<LinuxFiles> files_;
  std::unique_ptr<DebugfsSpaces> spaces_;
  std::unique_ptr<LinuxRegistry> registry_;
  std::unique_ptr<LinuxControllerDriver> driver_;
  std::unique_ptr<LinuxHostServices> services_;
};

/// The host's devices folder.
inline constexpr const char* kDevicesDirectory = "/sys/bus/thunderbolt/devices";
/// The driver's debugfs folder.
inline constexpr const char* kDebugfsDirectory = "/sys/kernel/debug/thunderbolt";

/// True when root holds the kernel's Thunderbolt bus ("/sys/bus/thunderbolt" below it).
bool hasThunderboltBus(const std::string& root);

/// Opens the host below root, of the kind its path gives. Null with a
/// one-line *error when root has no Thunderbolt bus.
std::unique_ptr<LinuxPlatform> openLinuxHost(const std::string& root, std::string* error);
/// Opens the host of files (their root), as a tree of the given kind.
std::unique_ptr<LinuxPlatform> openLinuxHost(std::unique_ptr<LinuxFiles> files, TreeKind kind, std::string* error);

}  // namespace tbt::linux_host
