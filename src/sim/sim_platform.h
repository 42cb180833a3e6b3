#pragma once
// The simulated Thunderbolt host behind the platform boundary: a machine
// (SimHost) loaded from a host file (JSON), with the registry, controller
// driver and host services of tbt::Platform as views of it.
//
//   std::string error;
//   auto p = tbt::sim::loadHostFile("host.json", &error);
//   if (!p) { fprintf(stderr, "%s\n", error.c_str()); return 2; }
//   tbt::sim::SimHost& hw = p->sim();
//   tbt::installPlatform(std::move(p));
#include <memory>
#include <string>
#include <string_view>

#include "platform/platform.h"
#include "sim/sim_host.h"

namespace tbt::sim {

class SimRegistry;
class SimControllerDriver;
class SimHostServices;

/// The platform of a simulated host.
class SimPlatform : public tbt::Platform {
 public:
  /// Builds the platform around a loaded machine (its registry is derived
  /// from the machine's routers and facts now).
  explicit SimPlatform(std::unique_ptr<SimHost> host);
  ~SimPlatform() override;

  Registry& registry() override;
  ControllerDriver& controllerDriver() override;
  HostServices& host() override;
  /// The machine behind the platform.
  SimHost& sim() { return *host_; }
  const SimHost& sim() const { return *host_; }

 private:
  std::unique_ptr<SimHost> host_;
  std::unique_ptr<SimRegistry> registry_;
  std::unique_ptr<SimControllerDriver> driver_;
  std::unique_ptr<SimHostServices> services_;
};

/// Loads a host from its JSON text. Null on bad input, with *error (when
/// error is not null) set to one line naming the key path and the reason,
/// e.g. "controllers[0].routers[2].route: no router at route 0x3 to hang from".
std::unique_ptr<SimPlatform> loadHost(std::string_view json, std::string* error);

/// A host file describes a few routers with their memories; even a full 1 MB
/// NVM image written out in hex stays far below this.
inline constexpr size_t kMaxHostFileSize = 16u << 20;

/// Loads a host file (a regular file of at most kMaxHostFileSize bytes); errors are prefixed
/// with the file name ("FILE: ...", "FILE: cannot read the file: REASON").
std::unique_ptr<SimPlatform> loadHostFile(const std::string& path, std::string* error);

/// The embedded default host's JSON text.
std::string_view defaultHostJson();

/// Loads the embedded default host.
std::unique_ptr<SimPlatform> loadDefaultHost(std::string* error);

/// Writes the host's present state as a host file (variable store, EEPROM,
/// NVM and LC memory contents) with writeFileSafely: path is replaced whole,
/// keeping its owner and mode. False with a one-line *error on failure.
bool saveHostFile(const SimHost& host, const std::string& path, std::string* error);

/// The host's present state as host-file JSON text (what saveHostFile writes).
std::string hostJson(const SimHost& host);

}  // namespace tbt::sim
