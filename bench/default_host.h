#pragma once
// The embedded default simulated host (or one a benchmark describes itself),
// installed as the process-wide platform while a benchmark runs; the previous
// platform comes back afterwards. The default host is built into the program,
// so failing to load it is a broken build and ends the run; so does a host a
// benchmark generates.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "platform/platform.h"
#include "sim/sim_platform.h"

namespace tbt::bench {

/// The default host's display switch directly behind host adapter 1, on the
/// controller of router ID 0.
inline constexpr uint64_t kDisplayRoute = 0x1;

class DefaultHost {
 public:
  DefaultHost() {
    std::string error;
    install(sim::loadDefaultHost(&error), error);
  }
  /// The host the JSON text describes instead of the default one.
  explicit DefaultHost(std::string_view json) {
    std::string error;
    install(sim::loadHost(json, &error), error);
  }
  ~DefaultHost() { installPlatform(std::move(previous_)); }
  DefaultHost(const DefaultHost&) = delete;
  DefaultHost& operator=(const DefaultHost&) = delete;

  sim::SimHost& sim() { return *sim_; }

 private:
  void install(std::unique_ptr<sim::SimPlatform> loaded, const std::string& error) {
    if (!loaded) {
      std::fprintf(stderr, "simulated host does not load: %s\n", error.c_str());
      std::abort();
    }
    sim_ = &loaded->sim();
    previous_ = installPlatform(std::move(loaded));
  }

  sim::SimHost* sim_ = nullptr;
  std::unique_ptr<Platform> previous_;
};

}  // namespace tbt::bench
