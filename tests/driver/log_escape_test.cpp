// Values from outside the program reach the log escaped: a path, a registry
// or device string, or a dictionary message can neither forge a line of its
// own nor send a control sequence to the terminal.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

#include "platform/system_log.h"
#include "support/display_host.h"
#include "support/param_names.h"
#include "support/temp_dir.h"

namespace tbt::test {
namespace {

struct EscapeCase {
  const char* name;
  std::string value;
  std::string logged;
};

void PrintTo(const EscapeCase& c, std::ostream* os) { *os << c.name; }

class EscapeForLog : public ::testing::TestWithParam<EscapeCase> {};

TEST_P(EscapeForLog, KeepsTextAndEscapesTheRest) { EXPECT_EQ(escapeControls(GetParam().value), GetParam().logged); }

INSTANTIATE_TEST_SUITE_P(
    Values, EscapeForLog,
    ::testing::Values(EscapeCase{"LineBreaks", "a\nb\r\tc", "a\\nb\\r\\tc"},
                      EscapeCase{"Utf8Kept", "caf\xc3\xa9 \xf0\x9f\x94\x8c", "caf\xc3\xa9 \xf0\x9f\x94\x8c"},
                      EscapeCase{"OverlongSlash", "\xc0\xaf", "\\xc0\\xaf"},
                      EscapeCase{"CutSequence", "x\xe2\x82", "x\\xe2\\x82"},
                      // Either side of each limit: printable ASCII, C1, the second byte's ranges.
                      EscapeCase{"PrintableBounds", "\x1f \x7e\x7f", "\\x1f ~\\x7f"},
                      EscapeCase{"C1Bounds", "\xc2\x80\xc2\x9f\xc2\xa0", "\\xc2\\x80\\xc2\\x9f\xc2\xa0"},
                      EscapeCase{"SurrogateAndAboveMax", "\xed\xa0\x80\xf4\x90\x80\x80\xf4\x8f\xbf\xbf",
                                 "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\xf4\x8f\xbf\xbf"}), byName);

// The update checker's own runs, each with one hostile value in its input.
struct InjectionCase {
  const char* name;
  std::function<void(nlohmann::json& host, const std::string& dir)> plant;
  std::vector<std::string> args;
  std::string toolDirectory;  // below the test's directory; empty: the directory itself
  std::string prefix, suffix;  // of the log line expected
};

void PrintTo(const InjectionCase& c, std::ostream* os) { *os << c.name; }

constexpr const char* kForged = "x\nSuccess\x1b[2J";
constexpr const char* kEscaped = "x\\nSuccess\\x1b[2J";

class LogInjection : public ::testing::TestWithParam<InjectionCase> {
 protected:
  const test::TempDir dir_;
};

TEST_P(LogInjection, LogsTheValueEscaped) {
  nlohmann::json document = defaultHostDocument();
  const std::string& dir = dir_.path();
  GetParam().plant(document, dir);
  ScopedHost host(document.dump());
  const InjectionCase& c = GetParam();
  runChecker(c.args, dir + (c.toolDirectory.empty() ? "" : "/" + c.toolDirectory) + "/updatechecker");
  const auto& log = host.sim().logLines();
  EXPECT_TRUE(std::any_of(log.begin(), log.end(), [&](const std::string& line) {
    return line.starts_with(c.prefix) && line.ends_with(c.suffix);
  })) << c.prefix << "..." << c.suffix;
  for (const std::string& line : host.sim().logLines())
    EXPECT_EQ(line.find_first_of("\n\x1b"), std::string::npos) << line;
}

INSTANTIATE_TEST_SUITE_P(
    UpdateChecker, LogInjection,
    ::testing::Values(
        InjectionCase{"ErrorDictionaryMessage",
                      [](nlohmann::json& host, const std::string& dir) {
                        host["controllers"] = nlohmann::json::array();  // no display: result 4
                        std::ofstream(dir + "/Errors.plist")
                            << "<plist version=\"1.0\"><dict><key>uc_error_0x00000004</key><string>" << kForged
                            << "</string></dict></plist>";
                      },
                      {}, "", "Error: '", std::string(kEscaped) + "'"},
        InjectionCase{"BoardId", [](nlohmann::json& host, const std::string&) { host["board-id"] = kForged; }, {},
                      "", "Host board-id = '", std::string(kEscaped) + "'"},
        InjectionCase{"DeviceSerialNumber",
                      [](nlohmann::json& host, const std::string&) {
                        routerOf(host, 0x301)["iecs"]["36/1"]["18"] = std::string("ASCII:") + kForged;
                      },
                      {}, "", "CM ASN '", std::string(kEscaped) + "'"},
        InjectionCase{"ProgramDirectory", [](nlohmann::json&, const std::string&) {}, {"-a"}, kForged,
                      "Set bless to flash using '/tmp/", std::string("/") + kEscaped + "'"}), byName);

}  // namespace
}  // namespace tbt::test
