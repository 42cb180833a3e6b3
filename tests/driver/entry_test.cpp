// The update checker's entry point with a fake update check and backflash, on
// a fresh empty simulated host per run, the program lying in a temporary
// directory beside an error dictionary.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "driver/options.h"
#include "support/display_host.h"
#include "support/temp_dir.h"

namespace tbt {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kDictionary =
    "<plist version=\"1.0\"><dict><key>uc_error_0x00000087</key><string>two operands needed</string>"
    "<key>uc_error_0x00000004</key><string>no display</string>"
    "<key>uc_error_0x00000100</key><string>exit status 1</string></dict></plist>";

class EntryTest : public ::testing::Test {
 protected:
  EntryTest() { writeDictionary(kDictionary); }

  void writeDictionary(const char* text) { std::ofstream(dir_ + "/Errors.plist") << text; }

  // Runs the command line on a fresh host; returns the exit status.
  int run(Lines args) {
    host_.emplace("{}");
    EntryCalls calls;
    calls.checkForUpdates = [this](int, const char* const* argv, bool arm) {
      checks.push_back(arm);
      toolPath = argv[0];
      return result;
    };
    calls.runBackflash = [this](const char* u, const char* p0, const char* p1) {
      backflashes.push_back({u, p0, p1 ? p1 : "<null>"});
      return result;
    };
    return test::runChecker(std::move(args), dir_ + "/updatechecker", calls);
  }
  const Lines& shell() { return host_->sim().shellCommands(); }
  const Lines& log() { return host_->sim().logLines(); }

  const test::TempDir temp_;
  const std::string& dir_ = temp_.path();
  std::optional<test::ScopedHost> host_;
  ResultCode result = result::kSuccess;  // what the fake flows return
  std::vector<bool> checks;              // arm of each update check
  std::string toolPath;
  std::vector<Lines> backflashes;
};

TEST_F(EntryTest, CleanModeClearsTheSixVariablesFirst) {
  const Lines clean = {"nvram -d efi-kelvo-payload0",      "nvram -d efi-kelvo-payload1",
                       "nvram -d efi-kelvo-payload0-data", "nvram -d efi-kelvo-payload1-data",
                       "nvram -d tbt-options",             "nvram -d VaneUpdateResult"};
  run({"-c"});
  EXPECT_EQ(shell(), clean);
  EXPECT_EQ(checks.size(), 1u);
  EXPECT_EQ(toolPath, dir_ + "/updatechecker");
  run({"--clean", "-b", "u", "p0"});
  EXPECT_EQ(shell(), clean);
  EXPECT_EQ(checks.size(), 1u) << "backflash runs instead of the check";
  EXPECT_EQ(backflashes.size(), 1u);
}

TEST_F(EntryTest, BackflashNeedsTwoOperandsAndPassesANullThird) {
  EXPECT_EQ(run({"-b"}), 135);
  EXPECT_EQ(run({"-b", "util"}), 135);
  EXPECT_EQ(log(), Lines{"Error: 'two operands needed'"});
  EXPECT_EQ(run({"-b", "util", "p0"}), 0);
  EXPECT_EQ(run({"--backflash", "util", "p0", "p1", "extra"}), 0);
  EXPECT_EQ(backflashes, (std::vector<Lines>{{"util", "p0", "<null>"}, {"util", "p0", "p1"}}));
  EXPECT_TRUE(checks.empty());
}

// Options act in command-line order (an unknown one gets the parser's
// diagnostic and is ignored); restart follows only a success; the result is
// logged with its message and exits with its low eight bits.
TEST_F(EntryTest, ArmRestartAndReport) {
  struct Case {
    Lines args;
    ResultCode result;
    int exitStatus;
    bool arm, restart;
    const char* line;
  };
  const Case cases[] = {
      {{}, 0, 0, false, false, "Success"},
      {{"-a"}, 0, 0, true, false, "Success"},
      {{"-r"}, 0, 0, true, true, "Success"},
      {{"-r", "-n"}, 0, 0, false, true, "Success"},
      {{"--no", "--arm"}, 0, 0, true, false, "Success"},
      {{"-rn", "-a"}, 0, 0, true, true, "Success"},
      {{"-x", "--bogus", "-a"}, 0, 0, true, false, "Success"},
      {{"-r"}, result::kNoDisplayFound, 4, true, false, "Error: 'no display'"},
      {{}, 0x100, 0, false, false, "Error: 'exit status 1'"},
      {{}, 0x1ff, 255, false, false, "Error: '(null)'"},
  };
  ::testing::internal::CaptureStderr();
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args) + " result " + std::to_string(c.result));
    checks.clear();
    result = c.result;
    EXPECT_EQ(run(c.args), c.exitStatus);
    EXPECT_EQ(checks, std::vector<bool>{c.arm});
    EXPECT_EQ(log(), Lines{c.line});
    EXPECT_EQ(shell(), c.restart ? Lines{"shutdown -r now"} : Lines{});
  }
  const std::string diagnostics = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(diagnostics.find("'x'"), std::string::npos) << diagnostics;
  EXPECT_NE(diagnostics.find("--bogus"), std::string::npos) << diagnostics;
}

TEST_F(EntryTest, FlagsVersionAndZero) {
  auto flags = [] {
    const DriverFlags& f = driverFlags();
    return std::vector<bool>{f.multi, f.uid, f.verbose, f.ignore};
  };
  const std::vector<bool> defaults = {true, true, false, false}, allFlipped = {false, false, true, true};
  run({"-z"});
  EXPECT_EQ(flags(), defaults);
  EXPECT_EQ(host_->sim().printed(), "");
  for (const Lines& args :
       {Lines{"-imuV", "-v"}, {"--ignore", "--nomulti", "--nouid", "--verbose", "--version", "--zero"}}) {
    run(args);
    EXPECT_EQ(flags(), allFlipped);
    EXPECT_EQ(host_->sim().printed(), "Update Checker version 57\n");
  }
  EXPECT_EQ(checks.size(), 3u) << "-v carries on with the check";
  run({});
  EXPECT_EQ(flags(), defaults) << "each command line starts from the defaults";
}

TEST_F(EntryTest, UnreadableDictionarySilencesTheReport) {
  result = result::kNoDisplayFound;
  writeDictionary("<plist><dict><key>uc_error_0x00000004</key></dict></plist>");
  EXPECT_EQ(run({}), 4);
  EXPECT_TRUE(log().empty());
  std::filesystem::remove(dir_ + "/Errors.plist");
  // A FIFO in its place once made every failing run wait at its end for ever.
  ASSERT_EQ(mkfifo((dir_ + "/Errors.plist").c_str(), 0600), 0);
  EXPECT_EQ(run({}), 4);
  EXPECT_TRUE(log().empty());
}

}  // namespace
}  // namespace tbt
