#pragma once
// The process-wide platform: registry, controller driver and host services.
// A backend (the simulated host, or a native one) is installed at start-up;
// nothing above this layer knows which.
#include <memory>
#include <string>

#include "platform/device_interface.h"
#include "platform/host_services.h"
#include "platform/registry.h"

namespace tbt {

class Platform {
 public:
  virtual ~Platform() = default;
  virtual Registry& registry() = 0;
  virtual ControllerDriver& controllerDriver() = 0;
  virtual HostServices& host() = 0;
  /// Why this host takes no writes at all (a copy of a host's files), as one
  /// sentence; empty when it takes them.
  virtual std::string writesRefusedBecause() const { return {}; }
};

/// Installs the process-wide platform and returns the previous one. Every
/// singleton created from the previous platform is dropped first (see
/// onPlatformChange), so the next use creates it afresh from the new one.
std::unique_ptr<Platform> installPlatform(std::unique_ptr<Platform> platform);

/// Registers a function that drops a process-wide singleton; it runs once at
/// the next installPlatform. Registering the same function twice is harmless.
void onPlatformChange(void (*dropSingleton)());

/// The installed platform. Using it before one is installed is a programming
/// error and aborts with a message.
Platform& platform();

/// True when a platform is installed.
bool hasPlatform();

/// Shorthands for the installed platform's parts.
inline Registry& registry() { return platform().registry(); }
inline HostServices& host() { return platform().host(); }

}  // namespace tbt
