// The all-spaces report of a large simulated fabric: two controllers, seven
// routers each, every router with a two-block link controller and every
// adapter with full path and counter spaces, at a realistic 130 us per
// configuration access.
//
// BM_AllSpacesReport: the report's own CPU time against the hardware time the
// same reads stand for, lines per second and configuration accesses.
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

std::string hex(uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
  return text;
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
    const bool lane = port < kFirstLaneAdapter + kLaneAdapters;
    ports[std::to_string(port)] = {
        {"port-space",
         {{"0", "0x15ef8086"},
          {"1", hex(kMaxCounters << 8)},
          {"2", lane ? "0x000001" : port % 2 ? "0x100101" : "0x0e0102"},
          {"3", hex(port << 20 | 0x40)},
          {"5", hex(kMaxInHopID << 11 | kMaxInHopID)}}},
        {"path-space", {{"16", "0x80001809"}, {"17", "0x00c00a00"}}},
        {"counter-space", {{"0", "0x1234"}, {"2", "0x5"}}},
    };
  }
  return {{"route", hex(route)}, {"device-space", device}, {"ports", ports}};
}

// Per controller: the host router with two chains of three routers below
// its lane adapters 1 and 3, each router hanging from adapter 3 of the one above.
nlohmann::json fabricHost() {
  nlohmann::json controllers = nlohmann::json::array();
  for (int controller = 0; controller < 2; ++controller) {
    nlohmann::json routers = nlohmann::json::array({router(0, 0)});
    for (uint64_t first : {1, 3}) {
      uint64_t route = first;
      for (uint32_t depth = 1; depth <= 3; ++depth, route = route << 8 | 3) routers.push_back(router(route, depth));
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

constexpr double kMiB = 1024.0 * 1024.0;

void BM_AllSpacesReport(benchmark::State& state) {
  const std::string json = fabricHost().dump();
  double cpu = 0, hardware = 0, accesses = 0, lines = 0, bytes = 0;
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
    lines += static_cast<double>(sink.lines);
    bytes += static_cast<double>(sink.bytes);
    state.ResumeTiming();
  }
  const double runs = static_cast<double>(state.iterations());
  state.counters["lines_per_cpu_second"] = lines / (cpu / 1e6);
  state.counters["cpu_s"] = cpu / runs / 1e6;
  state.counters["hardware_s"] = hardware / runs / 1e6;
  state.counters["cpu_percent_of_hardware"] = 100.0 * cpu / hardware;
  state.counters["config_accesses"] = accesses / runs;
  state.counters["lines"] = lines / runs;
  state.counters["output_MiB"] = bytes / runs / kMiB;
}
BENCHMARK(BM_AllSpacesReport)->Unit(benchmark::kSecond)->Iterations(2);

// Runs `tbkit report all` on the fabric with its standard output into a pipe
// that is drained here; returns the bytes it printed and fills usage.
bool runReportAll(const std::string& hostFile, uint64_t& bytes, rusage& usage, int& status) {
  int pipeFds[2];
  if (::pipe(pipeFds) != 0) return false;
  const std::string host = "--host=sim:" + hostFile;
  const pid_t child = ::fork();
  if (child < 0) return false;
  if (child == 0) {
    ::dup2(pipeFds[1], STDOUT_FILENO);
    ::close(pipeFds[0]);
    ::close(pipeFds[1]);
    ::execl(TBKIT_PROGRAM, TBKIT_PROGRAM, "report", "all", host.c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
  }
  ::close(pipeFds[1]);
  std::vector<char> buffer(1 << 16);
  bytes = 0;
  for (ssize_t n; (n = ::read(pipeFds[0], buffer.data(), buffer.size())) != 0;)
    if (n > 0) bytes += static_cast<uint64_t>(n);
    else if (errno != EINTR) break;
  ::close(pipeFds[0]);
  return ::wait4(child, &status, 0, &usage) == child;
}

void BM_TbkitReportAllMemory(benchmark::State& state) {
  const std::filesystem::path hostFile = std::filesystem::temp_directory_path() / "tbkit-report-fabric.json";
  std::ofstream(hostFile) << fabricHost().dump();
  uint64_t bytes = 0;
  long peakKiB = 0;
  for (auto _ : state) {
    rusage usage{};
    int status = 0;
    if (!runReportAll(hostFile.string(), bytes, usage, status) || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      state.SkipWithError("tbkit report all failed");
      break;
    }
    peakKiB = std::max(peakKiB, usage.ru_maxrss);
  }
  std::filesystem::remove(hostFile);
  state.counters["output_MiB"] = static_cast<double>(bytes) / kMiB;
  state.counters["peak_resident_MiB"] = static_cast<double>(peakKiB) / 1024.0;
  state.counters["resident_per_output"] = bytes > 0 ? static_cast<double>(peakKiB) * 1024.0 / static_cast<double>(bytes) : 0;
}
BENCHMARK(BM_TbkitReportAllMemory)->Unit(benchmark::kSecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
