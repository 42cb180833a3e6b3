// The choice of host (--host, TBT_HOST): the option wins over the variable
// and is taken out of the arguments; malformed values are one-line errors.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "cli/host_choice.h"

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

}  // namespace
}  // namespace tbt::cli
