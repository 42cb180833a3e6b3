// One verified EEPROM byte (eeMultiByteRead of 1 byte: two bit-banged read
// transactions) from the display switch of the default simulated host: the
// time our code takes per byte, the configuration accesses it costs and the
// hardware time those accesses and waits would take.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>

#include "kernel/router_handle.h"
#include "platform/platform.h"
#include "sim/sim_platform.h"
#include "toolkit/utilities.h"

namespace {

// The default host's display switch, behind the controller of router ID 0.
constexpr uint64_t kDisplayRoute = 0x1;

void BM_VerifiedEepromByteRead(benchmark::State& state) {
  std::string error;
  auto loaded = tbt::sim::loadDefaultHost(&error);
  if (!loaded) {
    state.SkipWithError(("default host does not load: " + error).c_str());
    return;
  }
  tbt::sim::SimHost& sim = loaded->sim();
  std::unique_ptr<tbt::Platform> previous = tbt::installPlatform(std::move(loaded));
  tbt::ThunderboltUserClientUtils& utils = tbt::ThunderboltUserClientUtils::sharedInstance();
  tbt::LocalRouterHandle handle;
  handle.setRoute(kDisplayRoute);
  uint32_t drom = 0;
  uint8_t dft = 0;
  if (utils.getDROMOffsetWithRouterHandle(handle, drom, dft) != tbt::status::kSuccess) {
    state.SkipWithError("the display switch has no DROM");
  } else {
    const uint64_t accessesBefore = sim.configAccessCount();
    const uint64_t timeBefore = sim.hardwareTimeMicroseconds();
    uint8_t byte = 0;
    for (auto _ : state) {
      if (utils.eeMultiByteRead(&byte, 1, static_cast<uint16_t>(drom), handle, dft) != tbt::status::kSuccess)
        state.SkipWithError("read failed");
      benchmark::DoNotOptimize(byte);
    }
    using benchmark::Counter;
    state.counters["accesses_per_byte"] =
        Counter(static_cast<double>(sim.configAccessCount() - accessesBefore), Counter::kAvgIterations);
    state.counters["sim_us_per_byte"] =
        Counter(static_cast<double>(sim.hardwareTimeMicroseconds() - timeBefore), Counter::kAvgIterations);
    state.SetItemsProcessed(state.iterations());
  }
  tbt::installPlatform(std::move(previous));
}
BENCHMARK(BM_VerifiedEepromByteRead)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
