// The limits of tbkit's options: each row sits at a limit, one below it or
// one above it. At or below, the command runs (and may fail like any run);
// above, it is refused as a usage error that names the limit.
#include <gtest/gtest.h>

#include "cli/tbkit_run.h"

namespace tbt::cli {
namespace {

const std::string kRich = "--host=sim:" + std::string(TBT_FIXTURES_DIR) + "/hosts/rich.json";

// args followed by levels times "--bus 0".
std::vector<std::string> withBuses(std::vector<std::string> args, size_t levels) {
  for (size_t i = 0; i < levels; ++i) args.insert(args.end(), {"--bus", "0"});
  return args;
}

struct LimitCase {
  const char* name;
  std::vector<std::string> args;
  int status;
  std::string outContains;
  std::string err;  // the whole error output
};

void PrintTo(const LimitCase& c, std::ostream* os) { *os << c.name; }

class OptionLimit : public ::testing::TestWithParam<LimitCase> {};

TEST_P(OptionLimit, RunsOrIsRefused) {
  const LimitCase& c = GetParam();
  const Outcome run = tbkit(c.args);
  EXPECT_EQ(run.status, c.status);
  EXPECT_NE(run.out.find(c.outContains), std::string::npos) << run.out.substr(0, 2000);
  EXPECT_EQ(run.err, c.err);
}

const std::string kNotFound = "tbkit report device: the report ends with an error: 0xe00002f0 (not found)\n";
const std::string kTooDeep = ": --bus: at most 7 levels (one per hop of a route) (see --help)\n";

INSTANTIATE_TEST_SUITE_P(
    Rows, OptionLimit,
    ::testing::Values(
        // A chain of parents is as deep as a route has hops.
        LimitCase{"Parents6", withBuses({"report", "device", "--via-parent", "1", kRich}, 6), 1, "ERROR", kNotFound},
        LimitCase{"Parents7", withBuses({"report", "device", "--via-parent", "1", kRich}, 7), 1, "ERROR", kNotFound},
        LimitCase{"Parents8", withBuses({"report", "device", "--via-parent", "1", kRich}, 8), 2, "",
                  "tbkit report device" + kTooDeep},
        LimitCase{"Parents30000", withBuses({"report", "device", "--via-parent", "1", kRich}, 30000), 2, "",
                  "tbkit report device" + kTooDeep},
        LimitCase{"ReadParents7",
                  withBuses({"read", "--via-parent", "1", "--space", "device", "--index", "0", kRich}, 7), 1, "",
                  "tbkit read: reading index 0x0: 0xe00002f0 (not found)\n"},
        LimitCase{"WriteParents8",
                  withBuses({"write", "--via-parent", "1", "--space", "device", "--index", "0", "--value", "0",
                             kRich}, 8),
                  2, "", "tbkit write" + kTooDeep}),
    [](const ::testing::TestParamInfo<LimitCase>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tbt::cli
