#pragma once
// The embedded default simulated host, installed as the process-wide platform
// while a benchmark runs; the previous platform comes back afterwards. The
// default host is built into the program, so failing to load it is a broken
// build and ends the run.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

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
    std::unique_ptr<sim::SimPlatform> loaded = sim::loadDefaultHost(&error);
    if (!loaded) {
      std::fprintf(stderr, "default host does not load: %s\n", error.c_str());
      std::abort();
    }
    sim_ = &loaded->sim();
    previous_ = installPlatform(std::move(loaded));
  }
  ~DefaultHost() { installPlatform(std::move(previous_)); }
  DefaultHost(const DefaultHost&) = delete;
  DefaultHost& operator=(const DefaultHost&) = delete;

  sim::SimHost& sim() { return *sim_; }

 private:
  sim::SimHost* sim_ = nullptr;
  std::unique_ptr<Platform> previous_;
};

}  // namespace tbt::bench
