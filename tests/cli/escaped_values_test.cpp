// Values from outside (a host, an option's value, a file name, an unknown
// word) quoted in an error line reach the terminal escaped: ESC, BEL, a
// newline and bytes that are not UTF-8 written as \x1b, \x07, \n and \xHH.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <sstream>

#include "cli/host_choice.h"
#include "cli/tbkit_run.h"
#include "cli/updatechecker_main.h"
#include "platform/text.h"
#include "support/param_names.h"

namespace tbt::cli {
namespace {

const std::string kHostForms = R"(: expected "sim", "sim:FILE", "linux" or "linux:ROOT")";
// The checker started by its path, as the parser's diagnostic names it.
const std::string kChecker = TBT_BINARY_DIR "/updatechecker";

struct EscapeCase {
  const char* name;
  std::vector<std::string> argv;  // "tbkit" or kChecker first
  const char* environment;        // TBT_HOST, or null for none
  std::string line;               // the first line of the error output
};

void PrintTo(const EscapeCase& c, std::ostream* os) { *os << c.name; }

class EscapedValue : public ::testing::TestWithParam<EscapeCase> {};

TEST_P(EscapedValue, IsQuotedEscaped) {
  const EscapeCase& c = GetParam();
  const char* saved = std::getenv(kHostEnvironmentVariable);
  const std::optional<std::string> previous = saved ? std::optional<std::string>(saved) : std::nullopt;
  if (c.environment) ::setenv(kHostEnvironmentVariable, c.environment, 1);
  else ::unsetenv(kHostEnvironmentVariable);
  const int devNull = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  using Main = int (*)(int, char**);
  const Main main = c.argv[0] != kChecker ? Main{tbkitMain} : Main{updatecheckerMain};
  const Outcome run = runAsProcess(main, c.argv, devNull);
  ::close(devNull);
  if (previous) ::setenv(kHostEnvironmentVariable, previous->c_str(), 1);
  else ::unsetenv(kHostEnvironmentVariable);

  std::istringstream lines(run.err);
  std::string line;
  std::getline(lines, line);
  EXPECT_EQ(line, c.line);
  for (; lines; std::getline(lines, line)) EXPECT_EQ(escapeControls(line), line) << "a raw control character";
}

INSTANTIATE_TEST_SUITE_P(
    Lines, EscapedValue,
    ::testing::Values(
        EscapeCase{"HostOption", {"tbkit", "list", "--host=\x1b[31m"}, nullptr,
                   "tbkit list: --host: invalid host '\\x1b[31m'" + kHostForms},
        EscapeCase{"HostFile", {"tbkit", "list", "--host=linux:/nonexistent/\x1b]0;t\a"}, nullptr,
                   "tbkit list: /nonexistent/\\x1b]0;t\\x07/sys/bus/thunderbolt does not exist: no Thunderbolt "
                   "host here"},
        EscapeCase{"OptionNumber",
                   {"tbkit", "read", "--host=sim", "--route", "1\n2", "--space", "port", "--index", "0"}, nullptr,
                   "tbkit read: --route: '1\\n2' is not a number (decimal or 0x-hex) (see --help)"},
        EscapeCase{"FileName", {"tbkit", "drom", "parse", "/nonexistent/\xc3\x28\x1b.bin"}, nullptr,
                   "tbkit drom parse: cannot read /nonexistent/\\xc3(\\x1b.bin: No such file or directory"},
        EscapeCase{"UnknownOption", {"tbkit", "list", "--host=sim", "--\x1b[2J"}, nullptr,
                   "tbkit list: unknown option --\\x1b[2J (see --help)"},
        EscapeCase{"UnknownCommand", {"tbkit", "drom", "p\x80"}, nullptr,
                   "tbkit drom: unknown command 'p\\x80' (see tbkit drom --help)"},
        EscapeCase{"UnknownCommandFamily", {"tbkit", "l\x1b[2Jst"}, nullptr,
                   "tbkit: unknown command family 'l\\x1b[2Jst' (see tbkit --help)"},
        EscapeCase{"CheckerHostVariable", {kChecker}, "sim\n",
                   "updatechecker: TBT_HOST: invalid host 'sim\\n'" + kHostForms},
        EscapeCase{"CheckerUnknownOption", {kChecker, "--host=sim", "--\x1b[2J"}, nullptr,
                   kChecker + ": unrecognized option '--\\x1b[2J'"}), test::byName);

}  // namespace
}  // namespace tbt::cli
