// The exact command lines a scheduling hands to the shell, what the shell's
// boot-selection command makes of them, and the paths it must never see.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/boot_selection.h"
#include "support/display_host.h"

namespace tbt::test {
namespace {

using nlohmann::json;

std::string group(uint64_t uid, bool force) {
  const char* f = force ? " -f" : "";
  return textf(" -u 0x%016llx -ee%s efi-kelvo-payload0-data -sm%s efi-kelvo-payload1-data",
               static_cast<unsigned long long>(uid), f, f);
}

std::string scheduled(std::vector<std::string> groups) {
  const std::string dir = TBT_BINARY_DIR;
  std::string out = "/usr/sbin/bless -mount / -firmware \"" + dir + "/VaneUtil.efi\" -payload \"" + dir +
                    "/Panel-26-02.bin\" -payload \"" + dir + "/PortMc-em-00020007.bin\" -options \"-o";
  for (const std::string& g : groups) out += g;
  return out + "\"";
}

struct CommandCase {
  const char* name;
  void (*edit)(json&);
  std::vector<std::string> args;
  std::string command;
};

const CommandCase kCommands[] = {
    {"OneUid", [](json& h) { removeRouter(h, 0x301); }, {"-a"}, scheduled({group(kNearUid, false)})},
    {"TwoUidsFarFirst", nullptr, {"-a"}, scheduled({group(kFarRepairedUid, false), group(kNearUid, false)})},
    {"NoMulti", nullptr, {"-a", "-m"}, scheduled({group(kNearUid, false)})},
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
  ASSERT_EQ(runChecker(GetParam().args), 0);
  const std::vector<std::string> expected = {"nvram -d VaneUpdateResult", "nvram tbt-options=%04",
                                             GetParam().command};
  EXPECT_EQ(host.sim().shellCommands(), expected);
  EXPECT_EQ(host.sim().nvram().at("tbt-options"), "\x04");
  auto selection = sim::bootSelection(host.sim());
  ASSERT_TRUE(selection);
  EXPECT_EQ(selection->mount, "/");
  EXPECT_EQ(selection->payloads.size(), 2u);
  EXPECT_EQ(selection->options.rfind("-o -u 0x", 0), 0u) << selection->options;
}

INSTANTIATE_TEST_SUITE_P(UpdateChecker, FlashCommands, ::testing::ValuesIn(kCommands),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(FlashCommands, BootSelectionRecordsWhatItWasGiven) {
  ScopedHost host(DefaultHost{});
  ASSERT_EQ(runChecker({"-a"}, "/opt/my tools/updatechecker"), 0);
  auto selection = sim::bootSelection(host.sim());
  ASSERT_TRUE(selection);
  EXPECT_EQ(selection->firmware, "/opt/my tools/VaneUtil.efi");
  EXPECT_EQ(selection->payloads,
            (std::vector<std::string>{"/opt/my tools/Panel-26-02.bin", "/opt/my tools/PortMc-em-00020007.bin"}));
  EXPECT_EQ(selection->options, "-o" + group(kFarRepairedUid, false) + group(kNearUid, false));
  EXPECT_EQ(host.sim().runShell("/usr/sbin/bless -mount / -payload x"), 1 << 8) << "no utility: usage error";
}

TEST(FlashCommands, ShellWords) {
  sim::ShellWords w = sim::splitShellWords(R"(a "b c\"d\x" 'e $f' "$(g) `h`" i\ j $HOME)");
  EXPECT_EQ(w.words, (std::vector<std::string>{"a", "b c\"d\\x", "e $f", "$(g) `h`", "i j", "$HOME"}));
  EXPECT_EQ(w.expansions, (std::vector<std::string>{"$(g)", "`h`", "$HOME"}));
  EXPECT_FALSE(sim::splitShellWords("a \"b").complete);
}

// Restart comes only after a success.
TEST(FlashCommands, RestartOnlyOnSuccess) {
  for (bool lidClosed : {false, true}) {
    json doc = defaultHostDocument();
    doc["lid-closed"] = lidClosed;
    ScopedHost host(doc.dump());
    EXPECT_EQ(runChecker({"-r"}), lidClosed ? 2 : 0);
    EXPECT_EQ(host.sim().restartRequested(), !lidClosed);
    EXPECT_EQ(host.sim().scheduledBootEntry().has_value(), !lidClosed);
  }
}

// A path that the shell would interpret inside double quotes is refused
// before any command runs, whether it is the program's directory or a
// backflash operand.
const char* const kHostile[] = {"/tmp/a\"b", "/tmp/$(touch x)", "/tmp/`id`", "/tmp/a\nb", "/tmp/a\\b", "/tmp/$HOME"};

class HostilePaths : public ::testing::TestWithParam<const char*> {};

TEST_P(HostilePaths, NeverReachTheShell) {
  const std::string bad = GetParam();
  const std::vector<std::vector<std::string>> runs = {
      {"-a"}, {"-b", bad, "p0", "p1"}, {"-b", "u", bad, "p1"}, {"-b", "u", "p0", bad}};
  for (const auto& args : runs) {
    ScopedHost host(DefaultHost{});
    const std::string toolPath = args[0] == "-a" ? bad + "/updatechecker" : defaultToolPath();
    EXPECT_EQ(runChecker(args, toolPath), 16);
    EXPECT_TRUE(host.sim().shellCommands().empty());
    bool named = false;
    for (const std::string& line : host.sim().logLines())
      named = named || line.rfind("Refusing path with shell metacharacters: '/tmp/", 0) == 0;
    EXPECT_TRUE(named);
  }
}

INSTANTIATE_TEST_SUITE_P(UpdateChecker, HostilePaths, ::testing::ValuesIn(kHostile));

}  // namespace
}  // namespace tbt::test
