// The progress line: its text at the limits of each field, when it is drawn
// and erased on a fake clock, and tbkit's long commands with standard error
// on a pseudo-terminal, on a pipe and with --quiet.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "cli/progress_line.h"
#include "cli/tbkit_run.h"
#include "support/host_builder.h"
#include "support/param_names.h"
#include "support/temp_dir.h"

namespace tbt::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

struct TextCase {
  const char* name;
  uint64_t done;
  uint64_t total;
  nanoseconds elapsed;
  const char* text;
};

const TextCase kTextCases[] = {
    {"NothingDoneHasNoEstimate", 0, 8, nanoseconds(0), "0/8 bytes, 0:00 elapsed, -:-- left"},
    {"HalfUnderASecondRoundsTheEstimateUp", 4, 8, milliseconds(999), "4/8 bytes, 0:00 elapsed, 0:01 left"},
    {"AllDoneLeavesNothing", 8, 8, seconds(60), "8/8 bytes, 1:00 elapsed, 0:00 left"},
    {"JustUnderAMinute", 1, 8, milliseconds(59999), "1/8 bytes, 0:59 elapsed, 7:00 left"},
    {"JustUnderAnHour", 1, 2, seconds(3599), "1/2 bytes, 59:59 elapsed, 59:59 left"},
    {"AnHour", 1, 2, seconds(3600), "1/2 bytes, 1:00:00 elapsed, 1:00:00 left"},
    {"JustOverAnHour", 1, 3, seconds(3601), "1/3 bytes, 1:00:01 elapsed, 2:00:02 left"},
    {"JustUnderTheClockLimit", 1, 2, seconds(359999), "1/2 bytes, 99:59:59 elapsed, 99:59:59 left"},
    {"AtTheClockLimit", 1, 2, seconds(360000), "1/2 bytes, >99:59:59 elapsed, >99:59:59 left"},
    {"EstimateOverTheLimit", 1, UINT64_MAX, seconds(1),
     "1/18446744073709551615 bytes, 0:01 elapsed, >99:59:59 left"},
    {"MoreDoneThanCounted", 9, 8, seconds(2), "9/8 bytes, 0:02 elapsed, 0:00 left"},
};

class ProgressText : public ::testing::TestWithParam<TextCase> {};

TEST_P(ProgressText, Reads) {
  const TextCase& c = GetParam();
  EXPECT_EQ(progressText(c.done, c.total, "bytes", c.elapsed), c.text);
}

INSTANTIATE_TEST_SUITE_P(Rows, ProgressText, ::testing::ValuesIn(kTextCases), test::byName);

// Draws on a clock the test moves: the first advance at once, then only
// once the redraw interval has passed; erased at the end.
TEST(ProgressLineDrawing, RedrawsAtMostTenTimesASecondAndErases) {
  nanoseconds now = seconds(5);
  std::ostringstream err;
  {
    ProgressLine line(err, "routers", [&] { return now; });
    line.advance(0, 3);
    now += milliseconds(99);
    line.advance(1, 3);  // too soon: not drawn
    now += milliseconds(1);
    line.advance(2, 3);
    EXPECT_EQ(err.str(),
              "\r0/3 routers, 0:00 elapsed, -:-- left\033[K"
              "\r2/3 routers, 0:00 elapsed, 0:01 left\033[K");
    err.str("");
  }
  EXPECT_EQ(err.str(), "\r\033[K");
}

TEST(ProgressLineDrawing, NeverDrawnWritesNothing) {
  std::ostringstream err;
  { ProgressLine line(err, "bytes", [] { return nanoseconds(0); }); }
  EXPECT_EQ(err.str(), "");
}

// ---- tbkit with standard error on a pseudo-terminal ----

// tbkit's main with standard error on a new pseudo-terminal, and standard
// output on outFd (or the same terminal when outFd is -1); err is the screen.
Outcome runOnTerminal(const std::vector<std::string>& args, int outFd) {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
  if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) return {-1, "", ""};
  const int slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
  if (slave < 0) return {-1, "", ""};
  return runChild(tbkitMain, args, outFd >= 0 ? outFd : slave, slave, master);
}

// A run with standard output on a new file at path; out is what the file holds after it.
Outcome intoFile(const std::string& path, const std::function<Outcome(int)>& run) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  Outcome outcome = run(fd);
  ::close(fd);
  outcome.out = test::readFile(path);
  return outcome;
}

const std::string kRich = "--host=sim:" + std::string(TBT_FIXTURES_DIR) + "/hosts/rich.json";

struct LongCommand {
  const char* name;
  std::vector<std::string> args;
  const char* counted;  // "/64 bytes": the done/total the line shows
};

const LongCommand kLongCommands[] = {
    {"EepromRead", {"eeprom", "read", "--host=sim", "--route", "0x1", "--offset", "0x100", "--length", "64"},
     "/64 bytes, "},
    // HOST: a switch with a link controller's NVM mailbox; 64-byte requests, then the rest.
    {"NvmRead", {"nvm", "read", "HOST", "--route", "0x1", "--offset", "0", "--length", "102"}, "/102 bytes, "},
    {"ReportAll", {"report", "all", "--host=sim"}, "/3 routers, "},
    {"LinkControllerMemory", {"report", "lc-memory", kRich, "--route", "0x1", "--lc", "0"}, "/7168 addresses, "},
};

class LongCommands : public ::testing::TestWithParam<LongCommand> {};

TEST_P(LongCommands, ShowAnErasedLineOnlyOnATerminalWithoutQuiet) {
  const LongCommand& c = GetParam();
  test::TempDir dir;
  std::ofstream(dir / "nvm.json") << test::SwitchHostBuilder()
                                         .identity(0x15678086)
                                         .linkController(0x50, 0x10, 200)
                                         .nvm({{"0x10", "a0a1a2a3a4"}})
                                         .json();
  std::vector<std::string> args = {"tbkit"};
  for (const std::string& arg : c.args) args.push_back(arg == "HOST" ? "--host=sim:" + (dir / "nvm.json") : arg);

  // Standard error on a pipe: the usual output, nothing on standard error.
  const Outcome piped = intoFile(dir / "piped.txt", [&](int fd) { return runAsProcess(tbkitMain, args, fd); });
  ASSERT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(piped.err, "");
  ASSERT_FALSE(piped.out.empty());

  // On a terminal: one line drawn in place from 0 done, erased at the end.
  const Outcome drawn = intoFile(dir / "shown.txt", [&](int fd) { return runOnTerminal(args, fd); });
  EXPECT_EQ(drawn.status, 0);
  const std::string& screen = drawn.err;
  EXPECT_EQ(screen.rfind(std::string("\r0") + c.counted, 0), 0u) << screen;
  EXPECT_NE(screen.find("elapsed, -:-- left\033[K"), std::string::npos) << screen;
  EXPECT_TRUE(screen.ends_with("\033[K\r\033[K")) << screen;
  EXPECT_EQ(screen.find('\n'), std::string::npos) << screen;
  EXPECT_EQ(drawn.out, piped.out);

  // --quiet on a terminal: nothing.
  args.push_back("--quiet");
  const Outcome quiet = intoFile(dir / "quiet.txt", [&](int fd) { return runOnTerminal(args, fd); });
  EXPECT_EQ(quiet.status, 0);
  EXPECT_EQ(quiet.err, "");
  EXPECT_EQ(quiet.out, piped.out);
}

INSTANTIATE_TEST_SUITE_P(Commands, LongCommands, ::testing::ValuesIn(kLongCommands), test::byName);

// A report whose output is the same terminal shows its progress by its own
// lines: no line is drawn over them.
TEST(LongCommandsOnTheTerminal, AReportWritingToTheTerminalDrawsNoLine) {
  const Outcome run = runOnTerminal({"tbkit", "report", "all", "--host=sim"}, -1);
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.err.find("Router ID 0:"), std::string::npos);
  EXPECT_EQ(run.err.find("\033[K"), std::string::npos);
}

}  // namespace
}  // namespace tbt::cli
