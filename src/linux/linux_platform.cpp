#include "linux/linux_platform.h"

#include "linux/linux_parts.h"
#include "linux/linux_registry.h"
#include "platform/text.h"

namespace tbt::linux_host {

std::string devicesDirectory(const std::string& root) { return root + "/sys/bus/thunderbolt/devices"; }
std::string debugfsDirectory(const std::string& root) { return root + "/sys/kernel/debug/thunderbolt"; }

bool hasThunderboltBus(const std::string& root) { return LinuxFiles().isDirectory(root + "/sys/bus/thunderbolt"); }

LinuxPlatform::LinuxPlatform(std::string root, std::unique_ptr<LinuxFiles> files)
    : root_(std::move(root)),
      files_(files ? std::move(files) : std::make_unique<LinuxFiles>()),
      spaces_(std::make_unique<DebugfsSpaces>(*files_, debugfsDirectory(root_))) {
  const HostFacts facts = readHostFacts(*files_, root_);
  registry_ = std::make_unique<LinuxRegistry>(scanSysfs(*files_, devicesDirectory(root_)), *spaces_, *files_,
                                              debugfsDirectory(root_), facts);
  driver_ = std::make_unique<LinuxControllerDriver>(*spaces_, debugfsDirectory(root_));
  services_ = std::make_unique<LinuxHostServices>(facts.bootDisk);
}

LinuxPlatform::~LinuxPlatform() = default;

Registry& LinuxPlatform::registry() { return *registry_; }
ControllerDriver& LinuxPlatform::controllerDriver() { return *driver_; }
HostServices& LinuxPlatform::host() { return *services_; }

std::unique_ptr<LinuxPlatform> openLinuxHost(const std::string& root, std::string* error,
                                             std::unique_ptr<LinuxFiles> files) {
  if (!hasThunderboltBus(root)) {
    if (error) *error = textf("%s/sys/bus/thunderbolt does not exist: no Thunderbolt host here", root.c_str());
    return nullptr;
  }
  return std::make_unique<LinuxPlatform>(root, std::move(files));
}

}  // namespace tbt::linux_host
