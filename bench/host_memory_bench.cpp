// The memory a large host file takes to load, or to refuse: at most ten
// times the file's size plus 32 MiB, for a long NVM image, full path spaces,
// a tree of many small routers and many controllers. Each load is measured
// in a child process, so that what the others left resident does not count.
// Prints one line per shape; exits 1 when a shape grows past its bound.
// (Run it in a build without the address sanitizer, whose allocator keeps
// freed memory resident on purpose.)
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/text.h"
#include "sim/sim_platform.h"

namespace tbt::sim {
namespace {

constexpr size_t kFileSize = 12u << 20;

std::string nvmImage() {
  std::string text = R"({"controllers": [{"routers": [{"route": 0, "nvm": {"size": "0x1000000", "bytes": {"0": ")";
  text.append(kFileSize - 200, 'a');
  return text + R"("}}}]}]})";
}

std::string fullPathSpaces() {
  std::string text = R"({"controllers": [)";
  for (size_t c = 0; text.size() < kFileSize; ++c) {
    text += c ? R"(, {"routers": [{"route": 0, "ports": {)" : R"({"routers": [{"route": 0, "ports": {)";
    for (uint32_t port = 1; port <= 63 && text.size() < kFileSize; ++port) {
      appendf(text, R"(%s"%u": {"path-space": {)", port == 1 ? "" : ", ", port);
      for (uint32_t i = 0; i < 0x2000; ++i) appendf(text, R"(%s"0x%x": "0x%08x")", i ? ", " : "", i, 0x80000000 | i);
      text += "}}";
    }
    text += "}}]}";
  }
  return text + "]}";
}

// A tree of small routers, eight adapters each, as many as fit (refused: too
// many values for the file's size, once thousands of routers are read).
std::string smallRouters() {
  std::string text = R"({"controllers": [{"routers": [)";
  std::vector<std::pair<uint64_t, unsigned>> frontier = {{0, 0}};
  for (size_t next = 0; text.size() < kFileSize; ++next) {
    const auto [route, depth] = frontier[next];
    appendf(text, R"(%s{"route": "0x%llx", "ports": {)", next ? ", " : "", static_cast<unsigned long long>(route));
    for (uint32_t p = 2; p <= 9; ++p) appendf(text, R"(%s"%u": {})", p > 2 ? ", " : "", p);
    text += "}}";
    if (depth < 6)
      for (uint32_t p = 2; p <= 9; ++p) frontier.emplace_back(route | uint64_t{p} << (8 * depth), depth + 1);
  }
  return text + "]}]}";
}

// As many controllers as fit, one host router each.
std::string manyControllers() {
  std::string text = R"({"controllers": [)";
  for (size_t c = 0; text.size() < kFileSize; ++c)
    text += c ? R"(, {"routers": [{"route": 0, "ports": {"1": {}}}]})" : R"({"routers": [{"route": 0, "ports": {"1": {}}}]})";
  return text + "]}";
}

// The peak resident memory (KiB) of this process so far: VmHWM, which a
// forked child inherits from its parent unless reset through clear_refs.
long peakKiB() {
  FILE* status = std::fopen("/proc/self/status", "r");
  long kib = -1;
  char line[256];
  while (status && std::fgets(line, sizeof line, status))
    if (std::sscanf(line, "VmHWM: %ld kB", &kib) == 1) break;
  if (status) std::fclose(status);
  return kib;
}

// The growth of the peak resident memory (KiB) that loading text takes.
long loadGrowthKiB(const std::string& text) {
  int pipeEnds[2];
  if (pipe(pipeEnds) != 0) return -1;
  const pid_t child = fork();
  if (child == 0) {
    // The peak starts again from what the child has resident now.
    FILE* reset = std::fopen("/proc/self/clear_refs", "w");
    const bool wasReset = reset && std::fputs("5", reset) >= 0 && std::fclose(reset) == 0;
    const long before = peakKiB();
    std::string error;
    auto host = loadHost(text, &error);
    const long growth = wasReset && before > 0 ? peakKiB() - before : -1;
    ssize_t written = write(pipeEnds[1], &growth, sizeof growth);
    _exit(written == sizeof growth ? 0 : 1);
  }
  close(pipeEnds[1]);
  long growth = -1;
  if (read(pipeEnds[0], &growth, sizeof growth) != sizeof growth) growth = -1;
  close(pipeEnds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return growth;
}

}  // namespace
}  // namespace tbt::sim

int main() {
  using namespace tbt::sim;
  const std::pair<const char*, std::string> shapes[] = {{"one long NVM image", nvmImage()},
                                                         {"full path spaces", fullPathSpaces()},
                                                         {"many small routers", smallRouters()},
                                                         {"many controllers", manyControllers()}};
  int failures = 0;
  for (const auto& [name, text] : shapes) {
    const long growth = loadGrowthKiB(text);
    const long bound = static_cast<long>(10 * text.size() / 1024) + 32 * 1024;
    const bool within = growth >= 0 && growth <= bound;
    failures += !within;
    if (std::printf("%-20s %5.1f MiB file: peak grew %6.1f MiB, bound %6.1f MiB%s\n", name,
                    static_cast<double>(text.size()) / (1 << 20), static_cast<double>(growth) / 1024,
                    static_cast<double>(bound) / 1024, within ? "" : "  OVER") < 0)
      return 1;
  }
  return failures ? 1 : 0;
}
