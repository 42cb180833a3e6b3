// Standard output that cannot take the text: a full device, where the
// program says why, or a pipe whose reader has gone, where it says nothing.
// Either way it exits 1, and it stops its work at the first failed write
// rather than reading the hardware on for nobody.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "cli/tbkit_run.h"
#include "cli/updatechecker_main.h"
#include "support/param_names.h"

namespace tbt::cli {
namespace {

const std::string kRich = "--host=sim:" + std::string(TBT_FIXTURES_DIR) + "/hosts/rich.json";
const std::string kFull = "tbkit: write error: No space left on device\n";

enum class Target { FullDevice, ClosedPipe };

struct TargetCase {
  const char* name;
  std::vector<std::string> args;  // after the program's name
  Target target;
  std::string err;  // the whole error output, the hardware time line aside
  bool counted;     // run with -V: the run must stop after a quarter of the full run's accesses
  int (*main)(int, char**) = tbkitMain;
};

void PrintTo(const TargetCase& c, std::ostream* os) { *os << c.name; }

// The configuration accesses that a -V run reports on its error output, and
// that output without the line.
uint64_t takeAccesses(std::string& err) {
  const size_t line = err.find("simulated hardware time: ");
  if (line == std::string::npos) return 0;
  unsigned long long accesses = 0;
  std::sscanf(err.c_str() + line, "simulated hardware time: %*f s, %llu configuration accesses", &accesses);
  err.erase(line, err.find('\n', line) + 1 - line);
  return accesses;
}

class OutputTarget : public ::testing::TestWithParam<TargetCase> {};

TEST_P(OutputTarget, FailsAndStops) {
  const TargetCase& c = GetParam();
  std::vector<std::string> args = c.args;
  if (c.counted) args.push_back("-V");
  int fd = -1;
  if (c.target == Target::FullDevice) {
    fd = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  } else {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    fd = ends[1];
  }
  ASSERT_GE(fd, 0);
  args.insert(args.begin(), c.main == tbkitMain ? "tbkit" : "updatechecker");
  Outcome run = runAsProcess(c.main, args, fd);
  ::close(fd);
  const uint64_t accesses = takeAccesses(run.err);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, c.err);
  if (c.counted) {
    std::string full = tbkit(std::vector<std::string>(args.begin() + 1, args.end())).err;
    const uint64_t all = takeAccesses(full);
    EXPECT_GT(accesses, 0u);
    EXPECT_LT(accesses * 4, all);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Targets, OutputTarget,
    ::testing::Values(
        TargetCase{"ReadFull",
                   {"read", "--route", "1", "--space", "device", "--index", "0", "--count", "0x2000", kRich},
                   Target::FullDevice, kFull, true},
        TargetCase{"UpdatecheckerFull", {"--help"}, Target::FullDevice,
                   "updatechecker: write error: No space left on device\n", false, updatecheckerMain},
        TargetCase{"ReportAllClosedPipe", {"report", "all", kRich}, Target::ClosedPipe, "", true},
        TargetCase{"LinkControllerMemoryClosedPipe", {"report", "lc-memory", "--route", "1", "--lc", "0", kRich},
                   Target::ClosedPipe, "", true},
        // "-" names standard output: the same checked stream, as quiet on a broken pipe.
        TargetCase{"CaptureDashClosedPipe", {"capture", "-o", "-", "--host=sim"}, Target::ClosedPipe, "", false},
        TargetCase{"DromImageDashFull",
                   {"drom", "build", "--port-map", "lane6-pcie4-dp3", "--uid", "1", "--vendor-id", "1", "--model-id",
                    "2", "-o", "-"},
                   Target::FullDevice, "tbkit: write error: No space left on device\n", false}), test::byName);

}  // namespace
}  // namespace tbt::cli
