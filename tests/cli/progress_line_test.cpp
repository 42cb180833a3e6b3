// The progress line: its text at the clock's limit, and a long tbkit command
// with standard error on a pseudo-terminal, on a pipe and with --quiet.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cli/progress_line.h"
#include "cli/tbkit_run.h"
#include "support/param_names.h"
#include "support/temp_dir.h"

namespace tbt::cli {
namespace {

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
    {"JustUnderTheClockLimit", 1, 2, seconds(359999), "1/2 bytes, 99:59:59 elapsed, 99:59:59 left"},
    {"AtTheClockLimit", 1, 2, seconds(360000), "1/2 bytes, >99:59:59 elapsed, >99:59:59 left"},
};

class ProgressText : public ::testing::TestWithParam<TextCase> {};

TEST_P(ProgressText, Reads) {
  const TextCase& c = GetParam();
  EXPECT_EQ(progressText(c.done, c.total, "bytes", c.elapsed), c.text);
}

INSTANTIATE_TEST_SUITE_P(Rows, ProgressText, ::testing::ValuesIn(kTextCases), test::byName);

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

// Standard error on a pipe: nothing there. On a terminal: one line drawn in
// place from 0 done, erased at the end. With --quiet: nothing.
TEST(LongCommands, ShowAnErasedLineOnlyOnATerminalWithoutQuiet) {
  test::TempDir dir;
  std::vector<std::string> args = {"tbkit", "eeprom", "read", "--host=sim", "--route", "0x1",
                                   "--offset", "0x100", "--length", "64"};
  const Outcome piped = intoFile(dir / "piped.txt", [&](int fd) { return runAsProcess(tbkitMain, args, fd); });
  ASSERT_EQ(piped.status, 0) << piped.err;
  EXPECT_EQ(piped.err, "");
  ASSERT_FALSE(piped.out.empty());

  const Outcome drawn = intoFile(dir / "shown.txt", [&](int fd) { return runOnTerminal(args, fd); });
  EXPECT_EQ(drawn.status, 0);
  EXPECT_TRUE(drawn.err.starts_with("\r0/64 bytes, 0:00 elapsed, -:-- left\033[K")) << drawn.err;
  EXPECT_TRUE(drawn.err.ends_with("\033[K\r\033[K")) << drawn.err;
  EXPECT_EQ(drawn.out, piped.out);

  args.push_back("--quiet");
  const Outcome quiet = intoFile(dir / "quiet.txt", [&](int fd) { return runOnTerminal(args, fd); });
  EXPECT_EQ(quiet.err, "");
  EXPECT_EQ(quiet.out, piped.out);
}

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
