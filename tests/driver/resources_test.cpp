// The program's own path, from which the resource directory follows, with
// probes that stand in for the system.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "driver/resources.h"
#include "support/param_names.h"

namespace tbt {
namespace {

struct ProgramPathCase {
  const char* name;
  const char* startPath;
  bool isLink;                  // what the probe says of startPath
  const char* runningExecutable;  // null: the system does not say
  const char* resolved;           // null: the start path resolves nowhere
  const char* expected;
};

const ProgramPathCase kCases[] = {
    {"AbsolutePathKept", "/opt/uc/updatechecker", false, "/usr/libexec/x/updatechecker", nullptr,
     "/opt/uc/updatechecker"},
    {"BareNameIsTheRunningExecutable", "updatechecker", false, "/usr/libexec/x/updatechecker", nullptr,
     "/usr/libexec/x/updatechecker"},
    {"LinkIsTheRunningExecutable", "/usr/sbin/updatechecker", true, "/usr/libexec/x/updatechecker", nullptr,
     "/usr/libexec/x/updatechecker"},
    {"BareNameFoundThroughPath", "updatechecker", false, nullptr, "/usr/libexec/x/updatechecker",
     "/usr/libexec/x/updatechecker"},
    {"LinkResolved", "/usr/sbin/updatechecker", true, nullptr, "/usr/libexec/x/updatechecker",
     "/usr/libexec/x/updatechecker"},
    {"BareNameUnresolvedKept", "updatechecker", false, nullptr, nullptr, "updatechecker"},
};

class ProgramPath : public ::testing::TestWithParam<ProgramPathCase> {};

TEST_P(ProgramPath, FollowsTheStartPathOrTheExecutable) {
  const ProgramPathCase& c = GetParam();
  auto optional = [](const char* text) { return text ? std::optional<std::string>(text) : std::nullopt; };
  ProgramFileProbes probes{
      .isSymbolicLink = [&](const std::string& path) { return c.isLink && path == c.startPath; },
      .runningExecutable = [&] { return optional(c.runningExecutable); },
      .resolve = [&](const std::string& path) { return path == c.startPath ? optional(c.resolved) : std::nullopt; },
  };
  EXPECT_EQ(programPathOf(c.startPath, probes), std::optional<std::string>(c.expected));
}

INSTANTIATE_TEST_SUITE_P(Resources, ProgramPath, ::testing::ValuesIn(kCases), test::byName);

// The process's own probes: a bare name is this test program's real path.
TEST(ProgramPath, BareNameOnThisProcess) {
  std::optional<std::string> path = programPathOf("resources_test");
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(path->front(), '/');
  EXPECT_TRUE(path->ends_with("/test_driver")) << *path;
}

}  // namespace
}  // namespace tbt
