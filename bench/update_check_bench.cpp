// The whole update check (armed, so the flash is scheduled) on the default
// simulated host: the tool's own CPU time against the hardware time the same
// run would have spent on the simulated hardware.
#include <benchmark/benchmark.h>

#include <time.h>

#include <optional>

#include "default_host.h"
#include "driver/options.h"
#include "driver/update_check.h"

namespace {

double threadCpuMicroseconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) / 1e3;
}

void BM_UpdateCheck(benchmark::State& state) {
  const char* argv[] = {"/opt/updatechecker/updatechecker", nullptr};
  double cpu = 0, hardware = 0;
  tbt::resetDriverFlags();
  std::optional<tbt::bench::DefaultHost> host;
  for (auto _ : state) {
    state.PauseTiming();
    host.emplace();  // every run starts from the unrepaired default host
    state.ResumeTiming();

    const double start = threadCpuMicroseconds();
    tbt::ResultCode result = tbt::checkForUpdates(1, argv, true);
    cpu += threadCpuMicroseconds() - start;

    state.PauseTiming();
    if (result != 0) state.SkipWithError("the update check failed");
    hardware += static_cast<double>(host->sim().hardwareTimeMicroseconds());
    host.reset();
    state.ResumeTiming();
  }
  const double runs = static_cast<double>(state.iterations());
  state.counters["cpu_us"] = cpu / runs;
  state.counters["hardware_us"] = hardware / runs;
  state.counters["cpu_percent_of_hardware"] = hardware > 0 ? 100.0 * cpu / hardware : 0;
}
BENCHMARK(BM_UpdateCheck)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
