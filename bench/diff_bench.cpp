// tbkit diff of two captures of a large fabric: a tree of 4,000 routers (each
// with identity, route, a link controller header and adapters 2..5 with
// port, path and counter words), and the same tree with every hundredth
// router changed in a port-space and a path-space word, one router gone and
// one counter changed. The program itself is run, so that the time and the
// resident memory are those of a user's run.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string>

#include <nlohmann/json.hpp>

#include "platform/text.h"

namespace {

constexpr size_t kRouters = 4000;
constexpr unsigned kMaxDepth = 7;

std::string hex(uint64_t v) { return tbt::textf("0x%llx", static_cast<unsigned long long>(v)); }

nlohmann::json router(uint64_t route, unsigned depth, bool leaf) {
  nlohmann::json r = {{"route", hex(route)},
                      {"device-space",
                       {{"0x0", "0x15ef8086"},
                        {"0x1", hex(depth << 20 | 5u << 14 | (route ? 1u : 0u) << 8 | 0x10)},
                        {"0x2", hex(route & 0xffffffff)},
                        {"0x3", hex(route >> 32)},
                        {"0x10", "0x00060500"}}}};
  nlohmann::json ports = nlohmann::json::object();
  for (uint32_t p = 2; p <= 5 && !leaf; ++p)
    ports[std::to_string(p)] = {{"port-space", {{"0x0", hex(p)}, {"0x1", "0x00000001"}}},
                                {"path-space", {{"0x10", "0x80000001"}, {"0x11", "0x00000010"}}},
                                {"counter-space", {{"0x0", "0x00000005"}}}};
  r["ports"] = std::move(ports);
  return r;
}

// Routers breadth first, each hanging from adapters 2..5 of its parent.
nlohmann::json fabric() {
  nlohmann::json routers = nlohmann::json::array();
  std::deque<std::pair<uint64_t, unsigned>> frontier{{0, 0}};
  while (routers.size() < kRouters && !frontier.empty()) {
    auto [route, depth] = frontier.front();
    frontier.pop_front();
    routers.push_back(router(route, depth, depth >= kMaxDepth));
    if (depth < kMaxDepth)
      for (uint64_t p = 2; p <= 5; ++p) frontier.emplace_back(route | p << (8 * depth), depth + 1);
  }
  return {{"access-latency-us", 0}, {"controllers", {{{"routers", routers}}}}};
}

struct Run {
  double seconds = 0;
  double maxrssMiB = 0;
  int status = -1;
};

Run runDiff(const std::string& a, const std::string& b, bool json) {
  Run run;
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = ::fork();
  if (child == 0) {
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDOUT_FILENO);
    ::execl(TBKIT_PROGRAM, TBKIT_PROGRAM, "diff", a.c_str(), b.c_str(), json ? "--json" : static_cast<char*>(nullptr),
            static_cast<char*>(nullptr));
    ::_exit(127);
  }
  rusage usage{};
  int status = 0;
  if (child < 0 || ::wait4(child, &status, 0, &usage) != child) return run;
  run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  run.maxrssMiB = static_cast<double>(usage.ru_maxrss) / 1024.0;
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

// Writes the two captures into folder (the documents are gone on return:
// Linux carries a launcher's resident size at fork into its child's ru_maxrss).
void writeCaptures(const std::string& a, const std::string& b) {
  nlohmann::json host = fabric();
  std::ofstream(a) << host.dump();
  nlohmann::json& routers = host["controllers"][0]["routers"];
  for (size_t i = 1; i < routers.size(); i += 100) {
    if (!routers[i]["ports"].contains("2")) continue;
    routers[i]["ports"]["2"]["port-space"]["0x1"] = "0x00000003";
    routers[i]["ports"]["2"]["path-space"]["0x11"] = "0x00000011";
  }
  routers[1]["ports"]["3"]["counter-space"]["0x0"] = "0x00000006";
  routers.erase(routers.end() - 1);
  std::ofstream(b) << host.dump();
}

// state.range(0): 1 for the JSON document, 0 for the text.
void BM_DiffOfTwoFabricCaptures(benchmark::State& state) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "tbkit-diff-bench";
  std::filesystem::create_directories(folder);
  const std::string a = (folder / "a.json").string(), b = (folder / "b.json").string();
  writeCaptures(a, b);
  Run run;
  for (auto _ : state) {
    run = runDiff(a, b, state.range(0) != 0);
    if (run.status != 1) {
      state.SkipWithError("tbkit diff did not find the differences");
      break;
    }
  }
  std::filesystem::remove_all(folder);
  state.counters["routers"] = static_cast<double>(kRouters);
  state.counters["wall_s"] = run.seconds;
  state.counters["ru_maxrss_MiB"] = run.maxrssMiB;
}
BENCHMARK(BM_DiffOfTwoFabricCaptures)->ArgName("json")->Arg(0)->Arg(1)->Unit(benchmark::kSecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
