// The simulated shell, its variable store and the recorded log and output.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>

#include "sim/sim_platform.h"
#include "support/param_names.h"

namespace tbt::sim {
namespace {

std::unique_ptr<SimPlatform> loadEmpty() { return loadHost(R"({"nvram": {"old": "%01x"}})", nullptr); }

struct NvramCase {
  const char* name;
  const char* command;
  const char* stored;  // the value's bytes
};

class NvramSet : public testing::TestWithParam<NvramCase> {};

TEST_P(NvramSet, PercentNotation) {
  auto p = loadEmpty();
  EXPECT_EQ(p->host().shell(GetParam().command), 0);
  EXPECT_EQ(p->sim().nvram().at("v"), GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(Table, NvramSet,
                         testing::Values(NvramCase{"Letters", "nvram v=%41%42c", "ABc"},
                                         NvramCase{"DoublePercent", "nvram v=%%", "%%"},
                                         NvramCase{"TrailingPercent", "nvram v=100%", "100%"},
                                         NvramCase{"NotHex", "nvram v=%4g", "%4g"},
                                         NvramCase{"Quoted", "nvram v=\"a b\"", "a b"},
                                         NvramCase{"Empty", "nvram v=", ""}), test::byName);

TEST(Shell, NvramPrintDeleteAndErrors) {
  auto p = loadEmpty();
  SimHost& hw = p->sim();
  EXPECT_EQ(hw.nvram().at("old"), "\x01x");
  EXPECT_EQ(p->host().shell("nvram old"), 0);
  EXPECT_EQ(hw.shellOutput(), "old\t%01x\n");
  EXPECT_EQ(p->host().shell("nvram -d old"), 0);
  EXPECT_EQ(p->host().shell("nvram -d old"), 0) << "deleting an absent variable is not an error";
  EXPECT_TRUE(hw.nvram().empty());
  EXPECT_EQ(p->host().shell("nvram old"), 1 << 8);
  EXPECT_EQ(p->host().shell("nvramx"), 127 << 8);
  EXPECT_EQ(p->host().shell("/usr/bin/true"), 127 << 8);
  EXPECT_EQ(hw.shellCommands().size(), 6u);
  EXPECT_EQ(hw.shellCommands()[1], "nvram -d old");
}

// A command registered for a longer prefix wins over a shorter one.
TEST(Shell, OwnCommandsByTheLongestPrefix) {
  auto p = loadEmpty();
  SimHost& hw = p->sim();
  hw.registerShellCommand("nvram -d", [](SimHost&, const std::string&) { return 3 << 8; });
  EXPECT_EQ(p->host().shell("nvram -d x"), 3 << 8);
  EXPECT_EQ(p->host().shell("nvram x=1"), 0);
}

TEST(Shell, EchoedLogLinesCarryTimestampIdentAndPid) {
  auto p = loadEmpty();
  p->sim().setEcho(true);
  p->sim().setLogIdent("simtest");
  testing::internal::CaptureStderr();
  p->host().log("Checking firmware version\n");
  std::string line = testing::internal::GetCapturedStderr();
  std::string tail = "simtest[" + std::to_string(getpid()) + "] Checking firmware version\n";
  ASSERT_GT(line.size(), tail.size());
  EXPECT_EQ(line.substr(line.size() - tail.size()), tail);
  EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(line[0]))) << line;
  EXPECT_EQ(p->sim().logLines().back(), "Checking firmware version");
}

}  // namespace
}  // namespace tbt::sim
