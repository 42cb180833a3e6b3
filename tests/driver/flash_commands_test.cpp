// The exact command lines a scheduling hands to the shell, what the shell's
// boot-selection command makes of them, and the paths it must never see.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "sim/boot_selection.h"
#include "support/display_host.h"
#include "support/param_names.h"

namespace tbt::test {
namespace {

using nlohmann::json;
using Lines = std::vector<std::string>;

std::string group(uint64_t uid, bool force) {
  const char* f = force ? " -f" : "";
  return textf(" -u 0x%016llx -ee%s efi-kelvo-payload0-data -sm%s efi-kelvo-payload1-data",
               static_cast<unsigned long long>(uid), f, f);
}

std::string scheduled(const Lines& groups, const std::string& dir = TBT_BINARY_DIR) {
  std::string out = "/usr/sbin/bless -mount / -firmware \"" + dir + "/VaneUtil.efi\" -payload \"" + dir +
                    "/Panel-26-02.bin\" -payload \"" + dir + "/PortMc-em-00020007.bin\" -options \"-o";
  for (const std::string& g : groups) out += g;
  return out + "\"";
}

struct CommandCase {
  const char* name;
  void (*edit)(json&);
  Lines args;  // -r also restarts after the scheduling
  std::string command;
  std::string toolPath = defaultToolPath();
};

const CommandCase kCommands[] = {
    {"OneUid", [](json& h) { removeRouter(h, 0x301); }, {"-a"}, scheduled({group(kNearUid, false)})},
    {"TwoUidsFarFirstThenRestart", nullptr, {"-r"}, scheduled({group(kFarRepairedUid, false), group(kNearUid, false)})},
    {"NoMulti", nullptr, {"-a", "-m"}, scheduled({group(kNearUid, false)})},
    {"DirectoryWithASpace", nullptr, {"-a"},
     scheduled({group(kFarRepairedUid, false), group(kNearUid, false)}, "/opt/my tools"), "/opt/my tools/uc"},
    {"Ignore", nullptr, {"-a", "-i"}, scheduled({group(kFarRepairedUid, true), group(kNearUid, true)})},
    {"BackflashByRoute", [](json& h) { addDisplay(h, 0x3, 0x33); }, {"-b", "/fw/u.efi", "/fw/p0.bin"},
     "/usr/sbin/bless -mount / -firmware \"/fw/u.efi\" -payload \"/fw/p0.bin\" -payload \"(null)\" -options \"-o" +
         group(kFarRegistryUid, true) + group(0x33, true) + group(kNearUid, true) + "\""},
};

class FlashCommands : public ::testing::TestWithParam<CommandCase> {};

TEST_P(FlashCommands, ExactCommandLines) {
  json doc = defaultHostDocument();
  if (GetParam().edit) GetParam().edit(doc);
  ScopedHost host(doc.dump());
  ASSERT_EQ(runChecker(GetParam().args, GetParam().toolPath), 0);
  const bool restart = GetParam().args[0] == "-r";
  Lines expected = {"nvram -d VaneUpdateResult", "nvram tbt-options=%04", GetParam().command};
  if (restart) expected.push_back("shutdown -r now");
  EXPECT_EQ(host.sim().shellCommands(), expected);
  EXPECT_EQ(host.sim().restartRequested(), restart);
  EXPECT_EQ(host.sim().nvram().at("tbt-options"), "\x04");
  // The boot selection holds the very words the command quoted.
  auto selection = sim::bootSelection(host.sim());
  ASSERT_TRUE(selection);
  EXPECT_EQ(selection->mount, "/");
  ASSERT_EQ(selection->payloads.size(), 2u);
  const std::string quoted = textf("-firmware \"%s\" -payload \"%s\" -payload \"%s\" -options \"%s\"",
                                   selection->firmware.c_str(), selection->payloads[0].c_str(),
                                   selection->payloads[1].c_str(), selection->options.c_str());
  EXPECT_NE(GetParam().command.find(quoted), std::string::npos) << quoted;
}

INSTANTIATE_TEST_SUITE_P(UpdateChecker, FlashCommands, ::testing::ValuesIn(kCommands), byName);

TEST(FlashCommands, ShellWordsAndBlessUsage) {
  sim::ShellWords w = sim::splitShellWords(R"(a "b c\"d\x" 'e $f' "$(g) `h`" i\ j $HOME)");
  EXPECT_EQ(w.words, (Lines{"a", "b c\"d\\x", "e $f", "$(g) `h`", "i j", "$HOME"}));
  EXPECT_EQ(w.expansions, (Lines{"$(g)", "`h`", "$HOME"}));
  EXPECT_FALSE(sim::splitShellWords("a \"b").complete);
  ScopedHost host("{}");
  EXPECT_EQ(host.sim().runShell("/usr/sbin/bless -mount / -payload x"), 1 << 8) << "no utility: usage error";
}

// A path that the shell would interpret inside double quotes is refused
// before any command runs, whether it is the program's directory or a
// backflash operand; the log names it.
class HostilePaths : public ::testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(HostilePaths, NeverReachTheShell) {
  const std::string bad = GetParam().second;
  for (const Lines& args : {Lines{"-a"}, {"-b", bad, "p0", "p1"}, {"-b", "u", bad, "p1"}, {"-b", "u", "p0", bad}}) {
    ScopedHost host(DefaultHost{});
    EXPECT_EQ(runChecker(args, args[0] == "-a" ? bad + "/updatechecker" : defaultToolPath()), 16);
    EXPECT_TRUE(host.sim().shellCommands().empty());
    const Lines& log = host.sim().logLines();
    EXPECT_TRUE(std::any_of(log.begin(), log.end(), [](const std::string& line) {
      return line.rfind("Refusing path with shell metacharacters: '/tmp/", 0) == 0;
    }));
  }
}

INSTANTIATE_TEST_SUITE_P(
    UpdateChecker, HostilePaths,
    ::testing::Values(std::pair("Quote", "/tmp/a\"b"), std::pair("Substitution", "/tmp/$(touch x)"),
                      std::pair("Backquote", "/tmp/`id`"), std::pair("Newline", "/tmp/a\nb"),
                      std::pair("Backslash", "/tmp/a\\b"), std::pair("Variable", "/tmp/$HOME")),
    [](const auto& info) { return std::string(info.param.first); });

}  // namespace
}  // namespace tbt::test
