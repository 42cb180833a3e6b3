#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "driver/entry.h"
#include "driver/options.h"
#include "platform/plist.h"
#include "support/scoped_host.h"

namespace tbt {
namespace {

constexpr const char* kDictionary = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>uc_error_0x00000087</key><string>two operands needed</string>
  <key>uc_error_0x00000004</key><string>no display</string>
  <key>uc_error_0x00000100</key><string>exit status 1</string>
</dict></plist>
)";

// Drives the entry point on an empty simulated host with a fake update check
// and backflash, the program's path pointing into a temporary directory that
// holds an error dictionary.
class EntryTest : public ::testing::Test {
 protected:
  EntryTest() {
    char pattern[] = "/tmp/entry_test.XXXXXX";
    dir_ = mkdtemp(pattern);
    writeDictionary(kDictionary);
  }
  ~EntryTest() override { std::filesystem::remove_all(dir_); }

  void writeDictionary(const char* text) {
    FILE* f = std::fopen((dir_ + "/Errors.plist").c_str(), "w");
    std::fputs(text, f);
    std::fclose(f);
  }

  int run(std::vector<std::string> args) {
    args.insert(args.begin(), dir_ + "/updatechecker");
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    EntryCalls calls;
    calls.checkForUpdates = [this](int, const char* const* argv, bool arm) {
      checked.push_back(arm);
      toolPath = argv[0];
      return result;
    };
    calls.runBackflash = [this](const char* u, const char* p0, const char* p1) {
      backflashed.push_back({u, p0, p1 ? std::optional<std::string>(p1) : std::nullopt});
      return result;
    };
    return runUpdateChecker(static_cast<int>(args.size()), argv.data(), calls);
  }

  // Shell commands run since the last clear().
  std::vector<std::string> shell() {
    const auto& all = host.sim().shellCommands();
    return std::vector<std::string>(all.begin() + static_cast<std::ptrdiff_t>(shellMark_), all.end());
  }
  void clear() {
    host.sim().clearOutput();
    shellMark_ = host.sim().shellCommands().size();
  }
  const std::vector<std::string>& log() { return host.sim().logLines(); }

  struct Backflash {
    std::string utility, payload0;
    std::optional<std::string> payload1;
  };
  test::ScopedHost host{"{}"};
  std::string dir_;
  ResultCode result = result::kSuccess;
  std::vector<bool> checked;  // arm of each update check
  std::string toolPath;
  std::vector<Backflash> backflashed;
  size_t shellMark_ = 0;
};

TEST_F(EntryTest, CleanModeClearsTheSixVariablesThenRunsTheCheck) {
  run({"-c"});
  EXPECT_EQ(shell(), (std::vector<std::string>{
                         "nvram -d efi-kelvo-payload0", "nvram -d efi-kelvo-payload1",
                         "nvram -d efi-kelvo-payload0-data", "nvram -d efi-kelvo-payload1-data",
                         "nvram -d tbt-options", "nvram -d VaneUpdateResult"}));
  EXPECT_EQ(checked.size(), 1u);
  EXPECT_EQ(toolPath, dir_ + "/updatechecker");

  clear();
  run({"--clean", "-b", "u", "p0"});
  EXPECT_EQ(shell().size(), 6u);
  EXPECT_EQ(checked.size(), 1u) << "backflash runs instead of the check";
  EXPECT_EQ(backflashed.size(), 1u);
}

TEST_F(EntryTest, BackflashNeedsTwoOperandsAndPassesANullThird) {
  EXPECT_EQ(run({"-b"}), 135);
  EXPECT_EQ(run({"-b", "util"}), 135);
  EXPECT_TRUE(backflashed.empty());
  EXPECT_EQ(log().back(), "Error: 'two operands needed'");

  EXPECT_EQ(run({"-b", "util", "p0"}), 0);
  ASSERT_EQ(backflashed.size(), 1u);
  EXPECT_EQ(backflashed[0].utility, "util");
  EXPECT_EQ(backflashed[0].payload0, "p0");
  EXPECT_FALSE(backflashed[0].payload1);

  run({"--backflash", "util", "p0", "p1", "extra"});
  EXPECT_EQ(backflashed[1].payload1, "p1");
  EXPECT_TRUE(checked.empty());
}

TEST_F(EntryTest, ArmAndRestartFollowCommandLineOrder) {
  struct Case {
    std::vector<std::string> args;
    bool arm, restart;
  };
  const Case cases[] = {
      {{}, false, false},
      {{"-a"}, true, false},
      {{"-r"}, true, true},
      {{"-r", "-n"}, false, true},
      {{"-n", "-r"}, true, true},
      {{"--arm", "--no"}, false, false},
      {{"--no", "--arm"}, true, false},
      {{"-rn", "-a"}, true, true},
  };
  for (const Case& c : cases) {
    clear();
    checked.clear();
    EXPECT_EQ(run(c.args), 0);
    ASSERT_EQ(checked.size(), 1u);
    EXPECT_EQ(checked[0], c.arm) << ::testing::PrintToString(c.args);
    EXPECT_EQ(log(), std::vector<std::string>{"Success"});
    bool restarted = !shell().empty() && shell().back() == "shutdown -r now";
    EXPECT_EQ(restarted, c.restart) << ::testing::PrintToString(c.args);
  }
}

TEST_F(EntryTest, RestartOnlyAfterASuccess) {
  result = result::kNoDisplayFound;
  EXPECT_EQ(run({"-r"}), 4);
  EXPECT_TRUE(shell().empty());
  EXPECT_EQ(log(), std::vector<std::string>{"Error: 'no display'"});
}

TEST_F(EntryTest, GlobalFlagsVersionAndZero) {
  run({"-z"});
  EXPECT_EQ(driverFlags().multi, true);
  EXPECT_EQ(driverFlags().uid, true);
  EXPECT_EQ(driverFlags().verbose, false);
  EXPECT_EQ(driverFlags().ignore, false);
  EXPECT_EQ(host.sim().printed(), "");

  run({"-imuV", "-v"});
  EXPECT_EQ(driverFlags().multi, false);
  EXPECT_EQ(driverFlags().uid, false);
  EXPECT_EQ(driverFlags().verbose, true);
  EXPECT_EQ(driverFlags().ignore, true);
  EXPECT_EQ(host.sim().printed(), "Update Checker version 57\n");
  EXPECT_EQ(checked.size(), 2u) << "-v carries on with the check";

  run({"--ignore", "--nomulti", "--nouid", "--verbose", "--version", "--zero"});
  EXPECT_FALSE(driverFlags().multi);
  EXPECT_TRUE(driverFlags().ignore);
  EXPECT_EQ(host.sim().printed(), "Update Checker version 57\nUpdate Checker version 57\n");

  run({});
  EXPECT_TRUE(driverFlags().multi) << "each command line starts from the defaults";
}

TEST_F(EntryTest, UnknownOptionsAreDiagnosedAndIgnored) {
  ::testing::internal::CaptureStderr();
  int status = run({"-x", "--bogus", "-a"});
  std::string diagnostics = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(status, 0);
  EXPECT_NE(diagnostics.find("'x'"), std::string::npos) << diagnostics;
  EXPECT_NE(diagnostics.find("--bogus"), std::string::npos) << diagnostics;
  ASSERT_EQ(checked.size(), 1u);
  EXPECT_TRUE(checked[0]);
}

TEST_F(EntryTest, ResultIsReportedAndExitsWithItsLowEightBits) {
  struct Case {
    ResultCode result;
    int exitStatus;
    const char* line;
  };
  const Case cases[] = {
      {result::kNoDisplayFound, 4, "Error: 'no display'"},
      {0x100, 0, "Error: 'exit status 1'"},
      {result::kTooManyFound, 5, "Error: '(null)'"},  // no message for it
      {0x1ff, 255, "Error: '(null)'"},
  };
  for (const Case& c : cases) {
    clear();
    result = c.result;
    EXPECT_EQ(run({}), c.exitStatus);
    EXPECT_EQ(log(), std::vector<std::string>{c.line});
  }
}

TEST_F(EntryTest, UnreadableDictionarySilencesTheReport) {
  result = result::kNoDisplayFound;
  writeDictionary("<plist><dict><key>uc_error_0x00000004</key></dict></plist>");
  EXPECT_EQ(run({}), 4);
  std::filesystem::remove(dir_ + "/Errors.plist");
  EXPECT_EQ(run({}), 4);
  EXPECT_TRUE(log().empty());
}

TEST(ErrorDictionary, ShippedDictionaryExplainsEveryResult) {
  auto messages = readPropertyListFile(TBT_BINARY_DIR "/Errors.plist");
  ASSERT_TRUE(messages);
  const ResultCode codes[] = {1,   2,   3,   4,   5,   6,   7,   8,   9,   11,    13,    16,    128,       129, 130,
                              131, 132, 134, 135, 136, 137, 138, 139, 140, 0x100, 0x7f00, 0xff00, 0xffffffff};
  for (ResultCode code : codes) {
    const Property* message = messages->find(textf("uc_error_0x%08x", code));
    ASSERT_TRUE(message && message->isString()) << code;
    EXPECT_FALSE(message->asString().empty());
  }
}

}  // namespace
}  // namespace tbt
