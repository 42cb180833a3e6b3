// One configuration read through the whole stack on the default simulated
// host: router handle -> utilities -> manager -> user client -> simulated
// controller driver -> simulated router. The same read straight from the
// simulated machine is the floor that the layers above it add to.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>

#include "kernel/config_space.h"
#include "kernel/router_handle.h"
#include "platform/platform.h"
#include "sim/sim_platform.h"
#include "toolkit/utilities.h"

namespace {

// The default host with a display at route 0x1 behind the controller of router ID 0.
constexpr uint64_t kDisplayRoute = 0x1;

// Installs the default host for one benchmark and puts the previous platform back.
class DefaultHost {
 public:
  DefaultHost() {
    std::string error;
    auto loaded = tbt::sim::loadDefaultHost(&error);
    if (!loaded) {
      std::fprintf(stderr, "default host does not load: %s\n", error.c_str());
      std::abort();
    }
    sim_ = &loaded->sim();
    previous_ = tbt::installPlatform(std::move(loaded));
  }
  ~DefaultHost() { tbt::installPlatform(std::move(previous_)); }
  tbt::sim::SimHost& sim() { return *sim_; }

 private:
  tbt::sim::SimHost* sim_ = nullptr;
  std::unique_ptr<tbt::Platform> previous_;
};

void BM_ConfigReadThroughStack(benchmark::State& state) {
  DefaultHost host;
  tbt::ThunderboltUserClientUtils& utils = tbt::ThunderboltUserClientUtils::sharedInstance();
  auto handle = tbt::LocalRouterHandle::localRouterHandle();
  handle->setRoute(kDisplayRoute);
  uint32_t value = 0;
  for (auto _ : state) {
    if (utils.configReadWithRouterHandle(*handle, 0, tbt::kDeviceSpace, tbt::kIdentityDword, value) != 0)
      state.SkipWithError("read failed");
    benchmark::DoNotOptimize(value);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ConfigReadThroughStack);

void BM_ConfigReadSimulatedMachineOnly(benchmark::State& state) {
  DefaultHost host;
  uint32_t value = 0;
  for (auto _ : state) {
    if (host.sim().configRead(0, kDisplayRoute, 0, tbt::kDeviceSpace, tbt::kIdentityDword, value) != 0)
      state.SkipWithError("read failed");
    benchmark::DoNotOptimize(value);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ConfigReadSimulatedMachineOnly);

}  // namespace

BENCHMARK_MAIN();
