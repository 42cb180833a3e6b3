// Each decoder family against a small host file and the text expected of it
// (tests/golden/reports/<name>.json and <name>.txt), and the all-spaces
// report of the rich fixture host, as text and as registers with fields.
#include <gtest/gtest.h>

#include <charconv>
#include <functional>
#include <set>

#include "support/param_names.h"
#include "support/topology_builder.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using Report = std::function<void(ThunderboltUserClientUtils&, RouterHandle&, ReportSink&)>;

struct Golden {
  const char* name;  // the expected text, under tests/golden/reports/
  std::string host;
  Report report;
  int registers;  // at least this many registers, each with its fields
};

std::string golden(const char* name) { return test::goldenFile("reports/" + std::string(name)); }

const Golden kGoldens[] = {
    {"device_capabilities", golden("device_capabilities.json"),
     [](ThunderboltUserClientUtils& u, RouterHandle& h, ReportSink& s) { u.deviceSpaceForRouterHandle(h, s); }, 10},
    {"link_controller", golden("link_controller.json"),
     [](ThunderboltUserClientUtils& u, RouterHandle& h, ReportSink& s) { u.deviceCapabilityAtIndex(0x10, h, s); }, 10},
    {"ports", golden("ports.json"),
     [](ThunderboltUserClientUtils& u, RouterHandle& h, ReportSink& s) {
       u.portSpaceForPort(1, h, s);
       u.portSpaceForPort(2, h, s);
     },
     10},
    {"path_counter", golden("ports.json"),
     [](ThunderboltUserClientUtils& u, RouterHandle& h, ReportSink& s) {
       for (uint32_t port : {1u, 2u}) {
         u.pathSpaceForPort(port, h, s);
         u.counterSpaceForPort(port, h, s);
       }
     },
     10},
    // Two controllers, routers three deep, a link controller with two blocks:
    // every router of both controllers.
    {"rich_all_spaces", test::fixtureHost("rich.json"),
     [](ThunderboltUserClientUtils& u, RouterHandle&, ReportSink& s) { u.allSpaces(s); }, 1000},
};

// Keeps a report's registers with their fields, and the text as a text sink would.
class FieldSink final : public ReportSink {
 public:
  void write(std::string_view text) override { text_.append(text); }
  bool wantsFields() const override { return true; }
  void writeRegister(const ReportRegister& reg) override {
    text_.append(reg.text);
    checkFields(reg);
    ++registers_;
  }
  const std::string& text() const { return text_; }
  int registers() const { return registers_; }

 private:
  // The line shows each field as named, in order: the last word of its name,
  // then the value as the line prints it (decimal, or hex after "0x"), then
  // the value's name when it has one.
  static void checkFields(const ReportRegister& reg) {
    const std::string line(reg.text);
    char head[32];
    snprintf(head, sizeof head, "%03x:  %08x", reg.printedIndex, reg.raw);
    size_t pos = line.find(head);
    ASSERT_NE(pos, std::string::npos) << line;
    pos += strlen(head);
    std::set<std::string> names;
    for (const ReportField& f : reg.fields) {
      EXPECT_FALSE(f.name.empty()) << line;
      EXPECT_TRUE(names.insert(f.name).second) << "two fields named " << f.name << " in " << line;
      std::string key = f.name.substr(0, f.name.find(" ["));  // a repeated name carries its bits
      key = key.substr(key.rfind(' ') + 1);
      pos = line.find(key, pos);
      ASSERT_NE(pos, std::string::npos) << f.name << " not in " << line;
      pos += key.size();
      while (pos < line.size() && (line[pos] == ' ' || line[pos] == '=' || line[pos] == ':')) ++pos;
      if (!f.valueName.empty() && line.compare(pos, f.valueName.size(), f.valueName) == 0) {
        pos += f.valueName.size();  // a value shown by its name alone
        continue;
      }
      const bool hex = line.compare(pos, 2, "0x") == 0;
      if (hex) pos += 2;
      int64_t value = 0;
      const auto [end, ec] = std::from_chars(line.data() + pos, line.data() + line.size(), value, hex ? 16 : 10);
      ASSERT_EQ(ec, std::errc()) << f.name << " has no value in " << line;
      EXPECT_EQ(static_cast<uint32_t>(value), f.value) << f.name << " in " << line;
      pos = static_cast<size_t>(end - line.data());
      if (!f.valueName.empty()) {
        const size_t name = line.find(f.valueName, pos);
        EXPECT_LE(name, pos + 3) << f.name << " has not its value's name in " << line;
        pos = std::min(name, line.size());
      }
    }
  }

  std::string text_;
  int registers_ = 0;
};

void PrintTo(const Golden& g, std::ostream* os) { *os << g.name; }

class ReportGolden : public ::testing::TestWithParam<Golden> {};

// The text, and the fields each register line names, which a report as data
// gives: each found in its line with its value.
TEST_P(ReportGolden, MatchesTheExpectedTextAndItsFields) {
  const Golden& g = GetParam();
  test::ScopedHost host(g.host);
  const std::string expected = golden((std::string(g.name) + ".txt").c_str());
  LocalRouterHandle handle;
  ASSERT_FALSE(expected.empty());
  StringReportSink text;
  g.report(ThunderboltUserClientUtils::sharedInstance(), handle, text);
  EXPECT_EQ(text.text(), expected);
  FieldSink fields;
  g.report(ThunderboltUserClientUtils::sharedInstance(), handle, fields);
  EXPECT_EQ(fields.text(), expected);
  EXPECT_GT(fields.registers(), g.registers);
}

INSTANTIATE_TEST_SUITE_P(Families, ReportGolden, ::testing::ValuesIn(kGoldens), test::byName);

}  // namespace
}  // namespace tbt
