// One configuration read through the whole stack on the default simulated
// host: router handle -> utilities -> manager -> user client -> simulated
// controller driver -> simulated router. The same read straight from the
// simulated machine is the floor that the layers above it add to.
#include <benchmark/benchmark.h>

#include "default_host.h"
#include "kernel/config_space.h"
#include "kernel/router_handle.h"
#include "toolkit/utilities.h"

namespace {

using tbt::bench::DefaultHost;
using tbt::bench::kDisplayRoute;

void BM_ConfigReadThroughStack(benchmark::State& state) {
  DefaultHost host;
  tbt::ThunderboltUserClientUtils& utils = tbt::ThunderboltUserClientUtils::sharedInstance();
  tbt::LocalRouterHandle handle;
  handle.setRoute(kDisplayRoute);
  uint32_t value = 0;
  for (auto _ : state) {
    if (utils.configReadWithRouterHandle(handle, 0, tbt::kDeviceSpace, tbt::kIdentityDword, value) != 0)
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
