#include "linux/linux_platform.h"

#include <climits>
#include <cstdlib>

#include "linux/linux_parts.h"
#include "linux/linux_registry.h"
#include "platform/text.h"

namespace tbt::linux_host {

TreeKind treeKindOf(const std::string& root) {
  if (root.empty()) return TreeKind::kThisMachine;
  char resolved[PATH_MAX];
  if (::realpath(root.c_str(), resolved) && std::string(resolved) == "/") return TreeKind::kThisMachine;
  return TreeKind::kCopy;
}

bool hasThunderboltBus(const std::string& root) { return LinuxFiles(root).isDirectory("/sys/bus/thunderbolt"); }

LinuxPlatform::LinuxPlatform(std::unique_ptr<LinuxFiles> files, TreeKind kind)
    : files_(std::move(files)), spaces_(std::make_unique<DebugfsSpaces>(*files_, kDebugfsDirectory)) {
  const bool copy = kind == TreeKind::kCopy;
  if (copy) spaces_->refuseWrites();
  const HostFacts facts = readHostFacts(*files_);
  registry_ = std::make_unique<LinuxRegistry>(scanSysfs(*files_, kDevicesDirectory), *spaces_, *files_,
                                              kDebugfsDirectory, facts);
  driver_ = std::make_unique<LinuxControllerDriver>(*spaces_, kDebugfsDirectory,
                                                    copy ? files_->root() : std::string());
  services_ = std::make_unique<LinuxHostServices>(facts.bootDisk, copy);
}

LinuxPlatform::~LinuxPlatform() = default;

std::string copyRefusal(const std::string& root) {
  return textf("%s is a copy of a host: nothing is written to it (capture it with tbkit capture and try writes "
               "on the simulated host)", escapeControls(root).c_str());
}

std::string LinuxPlatform::writesRefusedBecause() const {
  return spaces_->writesRefused() ? copyRefusal(files_->root()) : std::string();
}

Registry& LinuxPlatform::registry() { return *registry_; }
ControllerDriver& LinuxPlatform::controllerDriver() { return *driver_; }
HostServices& LinuxPlatform::host() { return *services_; }

std::unique_ptr<LinuxPlatform> openLinuxHost(std::unique_ptr<LinuxFiles> files, TreeKind kind, std::string* error) {
  if (!files->isDirectory("/sys/bus/thunderbolt")) {
    if (error)
      *error = textf("%s/sys/bus/thunderbolt does not exist: no Thunderbolt host here",
                     escapeControls(files->root()).c_str());
    return nullptr;
  }
  return std::make_unique<LinuxPlatform>(std::move(files), kind);
}

std::unique_ptr<LinuxPlatform> openLinuxHost(const std::string& root, std::string* error) {
  return openLinuxHost(std::make_unique<LinuxFiles>(root), treeKindOf(root), error);
}

}  // namespace tbt::linux_host
