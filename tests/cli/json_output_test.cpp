// The JSON document of a report against the text of the same report on the
// same host: the same pieces in the same order, no register left as text.
#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include <nlohmann/json.hpp>

#include "cli/tbkit_main.h"
#include "platform/status.h"
#include "platform/text.h"
#include "support/param_names.h"

namespace tbt::cli {
namespace {

using nlohmann::json;

const std::string kFixtures = TBT_FIXTURES_DIR;
const std::string kRichHost = "--host=sim:" + kFixtures + "/hosts/rich.json";

// The text again from the document: its text pieces as they stand and, in
// between, one line for each register (its printed index and raw value); a
// read that failed adds no text of its own.
void checkReport(const json& document, const std::string& text, const std::string& errors) {
  size_t at = 0;
  for (const json& item : document["items"]) {
    if (item.contains("text")) {
      const std::string piece = item["text"].get<std::string>();
      // A register's line is never plain text in the document.
      EXPECT_FALSE(std::regex_search(piece, std::regex("(^|\n)  [0-9a-f]{3}:  [0-9a-f]{8}"))) << piece;
      EXPECT_EQ(text.compare(at, piece.size(), piece), 0) << "at " << at << ": " << piece;
      at += piece.size();
    } else if (item.contains("status")) {
      EXPECT_EQ(item.value("error", ""), describeStatus(std::stoul(item["status"].get<std::string>(), nullptr, 16)));
    } else {
      const size_t end = text.find('\n', text[at] == '\n' ? at + 1 : at);
      const std::string line = text.substr(at, end + 1 - at);
      const std::string head = textf("%03x:  %08x", item["printedIndex"].get<unsigned>(), item["raw"].get<unsigned>());
      EXPECT_NE(line.find(head), std::string::npos) << head << " is not " << line;
      at = end + 1;
    }
  }
  EXPECT_EQ(at, text.size());
  EXPECT_EQ(document["outcome"] == "complete", errors.empty()) << errors;
}

struct JsonCase {
  const char* name;
  std::vector<std::string> args;  // run as given for the text, and with --json
};

const JsonCase kCases[] = {
    {"ReportDevice", {"report", "device", "--host=sim", "--route", "0x301"}},
    {"ReportLinuxReadFailures", {"report", "all", "--host=linux:" + kFixtures + "/linux/chain"}},
    {"ReportMissingRouterFails", {"report", "device", "--route", "0x7", kRichHost}},
};

class JsonOutput : public ::testing::TestWithParam<JsonCase> {};

TEST_P(JsonOutput, StatesWhatTheTextSays) {
  std::vector<std::string> args = GetParam().args;
  std::ostringstream text, textErrors, document, documentErrors;
  const int textStatus = runTbkit(args, text, textErrors);
  args.push_back("--json");
  const int documentStatus = runTbkit(args, document, documentErrors);
  EXPECT_EQ(documentStatus, textStatus);
  EXPECT_EQ(documentErrors.str(), textErrors.str());
  const json parsed = json::parse(document.str(), nullptr, false);
  ASSERT_FALSE(parsed.is_discarded()) << "not one JSON document:\n" << document.str();
  checkReport(parsed, text.str(), textErrors.str());
}

INSTANTIATE_TEST_SUITE_P(Tbkit, JsonOutput, ::testing::ValuesIn(kCases), test::byName);

}  // namespace
}  // namespace tbt::cli
