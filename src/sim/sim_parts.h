#pragma once
// The controller driver and host services of the simulated platform (internal).
#include "platform/device_interface.h"
#include "platform/host_services.h"
#include "sim/sim_host.h"

namespace tbt::sim {

/// Hands out plug-ins for controller entries of the simulated registry.
class SimControllerDriver : public ControllerDriver {
 public:
  explicit SimControllerDriver(SimHost& host) : host_(host) {}
  /// Fails with unsupported for an entry that is not a simulated controller.
  Status createPlugIn(const RegistryEntry& controller, std::unique_ptr<ControllerPlugIn>& out) override;

 private:
  SimHost& host_;
};

/// Host services answered by the machine: shell, clock, log, output.
class SimHostServices : public HostServices {
 public:
  explicit SimHostServices(SimHost& host) : host_(host) {}
  int shell(const std::string& command) override { return host_.runShell(command); }
  void sleepMicroseconds(uint64_t microseconds) override { host_.advance(microseconds); }
  uint64_t nowMicroseconds() override { return host_.nowMicroseconds(); }
  void log(std::string_view text) override { host_.log(text); }
  void print(std::string_view text) override { host_.print(text); }
  std::optional<PropertyDict> readPropertyList(const std::string& path) override;
  std::optional<std::string> bootDiskName() override { return host_.facts().bootDisk; }

 private:
  SimHost& host_;
};

}  // namespace tbt::sim
