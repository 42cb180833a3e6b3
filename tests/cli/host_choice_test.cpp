#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "cli/host_choice.h"
#include "cli/updatechecker_main.h"
#include "sim/sim_host.h"

namespace tbt::cli {
namespace {

struct Taken {
  std::optional<HostRequest> request;
  std::vector<std::string> rest;
  std::string error;
};

Taken take(std::vector<std::string> args, const char* environment) {
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  Taken t;
  t.request = takeHostRequest(argv, environment, &t.error);
  t.rest.assign(argv.begin(), argv.end());
  return t;
}

TEST(HostChoice, OptionWinsOverEnvironmentAndIsTakenOut) {
  using Kind = HostRequest::Kind;
  struct Case {
    std::vector<std::string> args;
    const char* environment;
    Kind kind;
    const char* file;
    std::vector<std::string> rest;
  };
  const Case cases[] = {
      {{"p", "-a"}, nullptr, Kind::Native, "", {"p", "-a"}},
      {{"p", "-a"}, "", Kind::Native, "", {"p", "-a"}},
      {{"p", "--host=sim", "-a"}, nullptr, Kind::SimDefault, "", {"p", "-a"}},
      {{"p", "-a"}, "sim:env.json", Kind::SimFile, "env.json", {"p", "-a"}},
      {{"p", "--host=sim:a.json", "x"}, "sim", Kind::SimFile, "a.json", {"p", "x"}},
      {{"p", "--host", "sim:b.json", "--host=sim"}, "sim:env.json", Kind::SimDefault, "", {"p"}},
      {{"p", "--", "--host=sim"}, nullptr, Kind::Native, "", {"p", "--", "--host=sim"}},
      {{"p", "--hostile"}, nullptr, Kind::Native, "", {"p", "--hostile"}},
  };
  for (const Case& c : cases) {
    Taken t = take(c.args, c.environment);
    ASSERT_TRUE(t.request) << t.error;
    EXPECT_EQ(t.request->kind, c.kind) << ::testing::PrintToString(c.args);
    EXPECT_EQ(t.request->file, c.file);
    EXPECT_EQ(t.rest, c.rest);
  }
}

TEST(HostChoice, MalformedValuesAreOneLineErrors) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"p", "--host=simulated"}, nullptr},
      {{"p", "--host=sim:"}, nullptr},
      {{"p", "--host"}, nullptr},
      {{"p"}, "native"},
  };
  for (const auto& [args, environment] : cases) {
    Taken t = take(args, environment);
    EXPECT_FALSE(t.request) << ::testing::PrintToString(args);
    EXPECT_FALSE(t.error.empty());
    EXPECT_EQ(t.error.find('\n'), std::string::npos);
  }
  EXPECT_NE(take({"p"}, "native").error.find("TBT_HOST"), std::string::npos);
}

// Runs updatechecker with a fake update check; captures both streams.
struct ProgramRun {
  int status = 0;
  int checks = 0;
  std::string out, err;
};

ProgramRun runProgram(std::vector<std::string> args) {
  args.insert(args.begin(), TBT_BINARY_DIR "/updatechecker");  // the error dictionary lies there
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  ProgramRun run;
  EntryCalls calls;
  calls.checkForUpdates = [&](int, const char* const*, bool) {
    ++run.checks;
    return result::kSuccess;
  };
  calls.runBackflash = [&](const char*, const char*, const char*) { return result::kSuccess; };
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  run.status = updatecheckerMain(static_cast<int>(args.size()), argv.data(), calls);
  run.err = ::testing::internal::GetCapturedStderr();
  run.out = ::testing::internal::GetCapturedStdout();
  return run;
}

class UpdatecheckerProgram : public ::testing::Test {
 protected:
  UpdatecheckerProgram() {
    if (const char* v = getenv(kHostEnvironmentVariable)) saved_ = v;
    unsetenv(kHostEnvironmentVariable);
  }
  ~UpdatecheckerProgram() override {
    if (saved_) setenv(kHostEnvironmentVariable, saved_->c_str(), 1);
    else unsetenv(kHostEnvironmentVariable);
  }
  std::optional<std::string> saved_;
};

TEST_F(UpdatecheckerProgram, WithoutAHostSaysSoAndExits2) {
  ProgramRun run = runProgram({"-a"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.checks, 0);
  EXPECT_NE(run.err.find("native"), std::string::npos);
  EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << "one line";
}

TEST_F(UpdatecheckerProgram, BadHostFileIsOneLineNamingTheKey) {
  std::string path = testing::TempDir() + "bad_host.json";
  FILE* f = std::fopen(path.c_str(), "w");
  std::fputs(R"({ "lid-closed": false, "bogus-key": 1 })", f);
  std::fclose(f);
  setenv(kHostEnvironmentVariable, "sim", 1);  // the option wins over it
  ProgramRun run = runProgram({"--host=sim:" + path, "-a"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.checks, 0);
  EXPECT_NE(run.err.find("bogus-key"), std::string::npos) << run.err;
  EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
}

TEST_F(UpdatecheckerProgram, RunsOnTheSimulatedHost) {
  setenv(kHostEnvironmentVariable, "sim", 1);
  ProgramRun run = runProgram({"-v", "-V", "-b", "onlyone"});
  EXPECT_EQ(run.status, 135);
  EXPECT_EQ(run.out, "Update Checker version 57\n");
  EXPECT_NE(run.err.find("updatechecker["), std::string::npos) << "log lines are echoed";
  EXPECT_NE(run.err.find("simulated hardware time: "), std::string::npos) << run.err;

  run = runProgram({"--host=sim"});
  EXPECT_EQ(run.checks, 1);
  EXPECT_EQ(run.err.find("simulated hardware time"), std::string::npos) << "only with -V";
}

TEST_F(UpdatecheckerProgram, HelpListsEveryOption) {
  ProgramRun run = runProgram({"--help"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.checks, 0);
  for (const char* option : {"--restart", "--arm", "--backflash", "--no", "--clean", "--ignore", "--nomulti",
                             "--nouid", "--zero", "--version", "--verbose", "--host=sim:FILE", "TBT_HOST"})
    EXPECT_NE(run.out.find(option), std::string::npos) << option;
}

}  // namespace
}  // namespace tbt::cli
