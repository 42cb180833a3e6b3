// The choice of host (--host, TBT_HOST) and the updatechecker program around
// the entry point: help, host errors, the echo and the hardware-time report.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "cli/host_choice.h"
#include "cli/updatechecker_main.h"
#include "sim/sim_host.h"
#include "support/temp_dir.h"

namespace tbt::cli {
namespace {

using Lines = std::vector<std::string>;

struct Taken {
  std::optional<HostRequest> request;
  Lines rest;
  std::string error;
};

Taken take(Lines args, const char* environment) {
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
    Lines args;
    const char* environment;
    Kind kind;
    const char* file;
    Lines rest;
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
      {{"p", "--host=linux"}, "sim", Kind::Linux, "", {"p"}},
      {{"p", "-a"}, "linux:/tmp/tree", Kind::Linux, "/tmp/tree", {"p", "-a"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    Taken t = take(c.args, c.environment);
    ASSERT_TRUE(t.request) << t.error;
    EXPECT_EQ(t.request->kind, c.kind);
    EXPECT_EQ(t.request->file, c.file);
    EXPECT_EQ(t.rest, c.rest);
  }
}

TEST(HostChoice, MalformedValuesAreOneLineErrors) {
  const std::pair<Lines, const char*> cases[] = {
      {{"p", "--host=simulated"}, nullptr}, {{"p", "--host=sim:"}, nullptr}, {{"p", "--host"}, nullptr},
      {{"p", "--host=linux:"}, nullptr},
      {{"p"}, "native"}};
  for (const auto& [args, environment] : cases) {
    Taken t = take(args, environment);
    EXPECT_FALSE(t.request) << ::testing::PrintToString(args);
    EXPECT_FALSE(t.error.empty());
    EXPECT_EQ(t.error.find('\n'), std::string::npos);
  }
  EXPECT_NE(take({"p"}, "native").error.find("TBT_HOST"), std::string::npos);
}

// updatechecker with a fake update check, TBT_HOST set as given (and put
// back afterwards); both streams captured.
class UpdatecheckerProgram : public ::testing::Test {
 protected:
  UpdatecheckerProgram() {
    if (const char* v = getenv(kHostEnvironmentVariable)) saved_ = v;
  }
  ~UpdatecheckerProgram() override {
    if (saved_) setenv(kHostEnvironmentVariable, saved_->c_str(), 1);
    else unsetenv(kHostEnvironmentVariable);
  }

  int run(Lines args, const char* environment = nullptr) {
    if (environment) setenv(kHostEnvironmentVariable, environment, 1);
    else unsetenv(kHostEnvironmentVariable);
    args.insert(args.begin(), TBT_BINARY_DIR "/updatechecker");  // the error dictionary lies there
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    EntryCalls calls{[&](int, const char* const*, bool) {
                       ++checks;
                       return result::kSuccess;
                     },
                     [](const char*, const char*, const char*) { return result::kSuccess; }};
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int status = updatecheckerMain(static_cast<int>(args.size()), argv.data(), calls);
    err = ::testing::internal::GetCapturedStderr();
    out = ::testing::internal::GetCapturedStdout();
    return status;
  }

  std::optional<std::string> saved_;
  int checks = 0;
  std::string out, err;
};

// Without a host, or with a host file that names an unknown key, the program
// says so in one line and exits 2 without running the check.
TEST_F(UpdatecheckerProgram, HostErrorsAreOneLineAndExit2) {
  const test::TempDir dir;
  const std::string path = dir / "bad_host.json";
  std::ofstream(path) << R"({ "lid-closed": false, "bogus-key": 1 })";
  struct Case {
    Lines args;
    const char* environment;  // the option wins over it
    const char* named;
  };
  for (const Case& c : {Case{{"-a"}, nullptr, "native"}, Case{{"--host=sim:" + path, "-a"}, "sim", "bogus-key"}}) {
    EXPECT_EQ(run(c.args, c.environment), 2);
    EXPECT_EQ(checks, 0);
    EXPECT_NE(err.find(c.named), std::string::npos) << err;
    EXPECT_EQ(err.find('\n'), err.size() - 1) << "one line: " << err;
  }
}

TEST_F(UpdatecheckerProgram, RunsOnTheSimulatedHost) {
  EXPECT_EQ(run({"-v", "-V", "-b", "onlyone"}, "sim"), 135);
  EXPECT_EQ(out, "Update Checker version 57\n");
  EXPECT_NE(err.find("updatechecker["), std::string::npos) << "log lines are echoed";
  EXPECT_NE(err.find("simulated hardware time: "), std::string::npos) << err;
  run({"--host=sim"});
  EXPECT_EQ(checks, 1);
  EXPECT_EQ(err.find("simulated hardware time"), std::string::npos) << "only with -V";
}

}  // namespace
}  // namespace tbt::cli
