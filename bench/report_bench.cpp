// The all-spaces report of a large simulated fabric: two controllers, seven
// routers each, every router with a two-block link controller and every
// adapter with full path and counter spaces, at a realistic 130 us per
// configuration access.
//
// BM_AllSpacesReport: the report's CPU time against the hardware time the same
// reads stand for, in all and without the cost of the simulated accesses
// (the report's own), lines per second and configuration accesses.
// BM_TbkitReportAllMemory: `tbkit report all` as a child process writing into
// a pipe; its peak resident memory against the size of what it printed.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "default_host.h"
#include "kernel/config_space.h"
#include "kernel/router_handle.h"
#include "toolkit/report_sink.h"
#include "toolkit/utilities.h"

namespace {

constexpr uint64_t kAccessLatencyMicroseconds = 130;
constexpr uint32_t kMaxInHopID = 1023;   // 1024 hop entries of two double words per adapter
constexpr uint32_t kMaxCounters = 1023;  // of three double words each
constexpr uint32_t kAdapters = 8;        // 1 to 4 lane adapters, 5 to 8 protocol adapters
constexpr uint32_t kFirstLaneAdapter = 1;
constexpr uint32_t kLaneAdapters = 4;
constexpr uint32_t kUpstreamAdapter = 1;
constexpr uint32_t kHostInterfaceAdapter = 5;

std::string hex(uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
  return text;
}

// Adapters 1 to 4 are lane adapters; the host router's adapter 5 is its host
// interface; the others alternate between PCIe and DisplayPort.
const char* adapterType(uint64_t route, uint32_t port) {
  if (port < kFirstLaneAdapter + kLaneAdapters) return "0x000001";
  if (route == 0 && port == kHostInterfaceAdapter) return "0x000002";
  return port % 2 ? "0x100101" : "0x0e0102";
}

// One router: its device space header, a link controller VSEC at 0x10 with
// two blocks of 0x90 double words from 0x20, and kAdapters adapters.
nlohmann::json router(uint64_t route, uint32_t depth) {
  const uint32_t upstream = route == 0 ? 0 : kUpstreamAdapter;
  nlohmann::json device = {
      {"0", "0x15ef8086"},
      {"1", hex(depth << 20 | kAdapters << 14 | upstream << 8 | 0x10)},
      {"2", hex(route & 0xFFFFFFFF)},
      {"3", hex(route >> 32)},
      {"0x10", "0x20060500"},  // VSEC ID 6 (link controller), length 0x20
      {"0x12", "0x00901002"},  // LC Length 0x90, Initial LC Offset 0x10, LC Count 2
  };
  nlohmann::json ports = nlohmann::json::object();
  for (uint32_t port = 1; port <= kAdapters; ++port) {
    ports[std::to_string(port)] = {
        {"port-space",
         {{"0", "0x15ef8086"},
          {"1", hex(kMaxCounters << 8)},
          {"2", adapterType(route, port)},
          {"3", hex(port << 20 | 0x40)},
          {"5", hex(kMaxInHopID << 11 | kMaxInHopID)}}},
        {"path-space", {{"16", "0x80001809"}, {"17", "0x00c00a00"}}},
        {"counter-space", {{"0", "0x1234"}, {"2", "0x5"}}},
    };
  }
  return {{"route", hex(route)},
          {"registry", {{"UID", hex(0x0a1b2c3d00000000 | route)}}},
          {"device-space", device},
          {"ports", ports}};
}

// Per controller: the host router with two chains of three routers below
// its lane adapters 1 and 3, each router hanging from adapter 3 of the one above.
nlohmann::json fabricHost() {
  nlohmann::json controllers = nlohmann::json::array();
  for (int controller = 0; controller < 2; ++controller) {
    nlohmann::json routers = nlohmann::json::array({router(0, 0)});
    for (uint64_t first : {1, 3}) {
      uint64_t route = first;
      for (uint32_t depth = 1; depth <= 3; ++depth) {
        routers.push_back(router(route, depth));
        route |= uint64_t{3} << (8 * depth);  // the next router hangs from adapter 3
      }
    }
    controllers.push_back({{"interface-version", 2}, {"routers", routers}});
  }
  return {{"access-latency-us", kAccessLatencyMicroseconds}, {"controllers", controllers}};
}

// Counts the report's bytes and lines and keeps nothing.
class CountingSink final : public tbt::ReportSink {
 public:
  void write(std::string_view text) override {
    bytes += text.size();
    lines += static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n'));
  }
  uint64_t bytes = 0;
  uint64_t lines = 0;
};

double threadCpuMicroseconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) / 1e3;
}

// The CPU time of count plain reads through the same stack (router handle,
// utilities, user client, simulated controller): what the accesses alone
// cost, so that the rest of a report's time is the report's own.
double accessCpuMicroseconds(uint64_t count) {
  tbt::ThunderboltUserClientUtils& utils = tbt::ThunderboltUserClientUtils::sharedInstance();
  tbt::LocalRouterHandle handle;
  handle.setRoute(0x301);
  uint32_t value = 0;
  const double start = threadCpuMicroseconds();
  for (uint64_t i = 0; i < count; ++i) {
    utils.configReadWithRouterHandle(handle, 1, tbt::kPathSpace, static_cast<uint32_t>(i % 2048), value);
    benchmark::DoNotOptimize(value);
  }
  return threadCpuMicroseconds() - start;
}

constexpr double kMiB = 1024.0 * 1024.0;

// The peak resident memory of process pid's own address space so far
// ("VmHWM" of /proc/PID/status), in KiB; 0 when it cannot be read.
long residentPeakKiB(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line))
    if (line.starts_with("VmHWM:")) return std::strtol(line.c_str() + 6, nullptr, 10);
  return 0;
}

// What one run of `tbkit report all` printed and held.
struct ChildRun {
  uint64_t bytes = 0;   // printed on standard output
  long peakKiB = 0;     // VmHWM of the program, read while it runs
  long maxrssKiB = 0;   // ru_maxrss from wait4
  bool succeeded = false;
};

// Runs `tbkit report all` (with --json when json) on hostFile with its
// standard output into a pipe that is drained here.
ChildRun runReportAll(const std::string& hostFile, bool json) {
  ChildRun run;
  int pipeFds[2];
  if (::pipe(pipeFds) != 0) return run;
  const std::string host = "--host=sim:" + hostFile;
  const pid_t child = ::fork();
  if (child < 0) return run;
  if (child == 0) {
    ::dup2(pipeFds[1], STDOUT_FILENO);
    ::close(pipeFds[0]);
    ::close(pipeFds[1]);
    ::execl(TBKIT_PROGRAM, TBKIT_PROGRAM, "report", "all", host.c_str(), json ? "--json" : static_cast<char*>(nullptr),
            static_cast<char*>(nullptr));
    ::_exit(127);
  }
  ::close(pipeFds[1]);
  std::vector<char> buffer(1 << 16);
  uint64_t sampled = 0;
  for (ssize_t n; (n = ::read(pipeFds[0], buffer.data(), buffer.size())) != 0;) {
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) break;
    run.bytes += static_cast<uint64_t>(n);
    if (run.bytes - sampled >= (1 << 20)) {  // the peak only grows: sampling each MiB loses nothing at the end
      sampled = run.bytes;
      run.peakKiB = std::max(run.peakKiB, residentPeakKiB(child));
    }
  }
  ::close(pipeFds[0]);
  rusage usage{};
  int status = 0;
  if (::wait4(child, &status, 0, &usage) != child) return run;
  run.maxrssKiB = usage.ru_maxrss;
  run.succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return run;
}

// Registered first, so that the launching process is still small: Linux
// carries the launcher's resident size at fork into the child's ru_maxrss.
// state.range(0): 1 for the JSON document, 0 for the text.
void BM_TbkitReportAllMemory(benchmark::State& state) {
  const std::filesystem::path hostFile = std::filesystem::temp_directory_path() / "tbkit-report-fabric.json";
  std::ofstream(hostFile) << fabricHost().dump();
  ChildRun run;
  for (auto _ : state) {
    run = runReportAll(hostFile.string(), state.range(0) != 0);
    if (!run.succeeded) {
      state.SkipWithError("tbkit report all failed");
      break;
    }
  }
  std::filesystem::remove(hostFile);
  state.counters["output_MiB"] = static_cast<double>(run.bytes) / kMiB;
  state.counters["peak_resident_MiB"] = static_cast<double>(run.peakKiB) / 1024.0;
  state.counters["ru_maxrss_MiB"] = static_cast<double>(run.maxrssKiB) / 1024.0;
  state.counters["launcher_resident_MiB"] = static_cast<double>(residentPeakKiB(::getpid())) / 1024.0;
}
BENCHMARK(BM_TbkitReportAllMemory)->ArgName("json")->Arg(0)->Arg(1)->Unit(benchmark::kSecond)->Iterations(1);

void BM_AllSpacesReport(benchmark::State& state) {
  const std::string json = fabricHost().dump();
  double cpu = 0, accessCpu = 0, hardware = 0, accesses = 0, lines = 0, bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    tbt::bench::DefaultHost host(json);
    CountingSink sink;
    state.ResumeTiming();

    const double start = threadCpuMicroseconds();
    tbt::ThunderboltUserClientUtils::sharedInstance().allSpaces(sink);
    cpu += threadCpuMicroseconds() - start;

    state.PauseTiming();
    hardware += static_cast<double>(host.sim().hardwareTimeMicroseconds());
    accesses += static_cast<double>(host.sim().configAccessCount());
    accessCpu += accessCpuMicroseconds(host.sim().configAccessCount());
    lines += static_cast<double>(sink.lines);
    bytes += static_cast<double>(sink.bytes);
    state.ResumeTiming();
  }
  const double runs = static_cast<double>(state.iterations());
  state.counters["lines_per_cpu_second"] = lines / (cpu / 1e6);
  state.counters["cpu_s"] = cpu / runs / 1e6;
  state.counters["hardware_s"] = hardware / runs / 1e6;
  state.counters["cpu_percent_of_hardware"] = 100.0 * cpu / hardware;
  state.counters["own_cpu_percent_of_hardware"] = 100.0 * (cpu - accessCpu) / hardware;
  state.counters["config_accesses"] = accesses / runs;
  state.counters["lines"] = lines / runs;
  state.counters["output_MiB"] = bytes / runs / kMiB;
}
BENCHMARK(BM_AllSpacesReport)->Unit(benchmark::kSecond)->Iterations(2);

}  // namespace

BENCHMARK_MAIN();
