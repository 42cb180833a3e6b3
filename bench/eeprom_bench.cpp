// One verified EEPROM byte (eeMultiByteRead of 1 byte: two bit-banged read
// transactions) from the display switch of the default simulated host: the
// time our code takes per byte, the configuration accesses it costs and the
// hardware time those accesses and waits would take.
#include <benchmark/benchmark.h>

#include "default_host.h"
#include "kernel/router_handle.h"
#include "toolkit/utilities.h"

namespace {

void BM_VerifiedEepromByteRead(benchmark::State& state) {
  tbt::bench::DefaultHost host;
  tbt::ThunderboltUserClientUtils& utils = tbt::ThunderboltUserClientUtils::sharedInstance();
  tbt::LocalRouterHandle handle;
  handle.setRoute(tbt::bench::kDisplayRoute);
  uint32_t drom = 0;
  uint8_t dft = 0;
  if (utils.getDROMOffsetWithRouterHandle(handle, drom, dft) != tbt::status::kSuccess) {
    state.SkipWithError("the display switch has no DROM");
    return;
  }
  const uint64_t accessesBefore = host.sim().configAccessCount();
  const uint64_t timeBefore = host.sim().hardwareTimeMicroseconds();
  uint8_t byte = 0;
  for (auto _ : state) {
    if (utils.eeMultiByteRead(&byte, 1, static_cast<uint16_t>(drom), handle, dft) != tbt::status::kSuccess)
      state.SkipWithError("read failed");
    benchmark::DoNotOptimize(byte);
  }
  using benchmark::Counter;
  state.counters["accesses_per_byte"] =
      Counter(static_cast<double>(host.sim().configAccessCount() - accessesBefore), Counter::kAvgIterations);
  state.counters["sim_us_per_byte"] =
      Counter(static_cast<double>(host.sim().hardwareTimeMicroseconds() - timeBefore), Counter::kAvgIterations);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_VerifiedEepromByteRead)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
