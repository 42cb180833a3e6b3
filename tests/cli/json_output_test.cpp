// The JSON outputs against the text outputs of the same command on the same
// host or image: every fact the document states must be in the text, and the
// text must hold no router, double word or entry the document leaves out.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>

#include <nlohmann/json.hpp>

#include "cli/tbkit_main.h"
#include "platform/status.h"
#include "platform/text.h"
#include "support/param_names.h"
#include "support/temp_dir.h"

namespace tbt::cli {
namespace {

using nlohmann::json;

const std::string kFixtures = TBT_FIXTURES_DIR;
const std::string kRichHost = "--host=sim:" + kFixtures + "/hosts/rich.json";
const std::string kCorpus = kFixtures + "/../fuzz/corpus/drom_parse/";

size_t count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

unsigned long long u64(const json& hex) { return std::stoull(hex.get<std::string>(), nullptr, 16); }

// Each fact must appear in the text as a whole line's tail.
void expectLine(const std::string& text, const std::string& line) {
  EXPECT_NE(text.find(line + "\n"), std::string::npos) << "text lacks: " << line;
}

// ---- tbkit list ----

size_t checkAdapter(const json& adapter, const std::string& text);

size_t checkRouter(const json& router, const std::string& text) {
  std::string line = textf("Router %s (depth %u): ", router["route"].get<std::string>().c_str(),
                           router["depth"].get<unsigned>());
  if (router.contains("vendorID"))
    appendf(line, "vendor 0x%04x device 0x%04x", router["vendorID"].get<unsigned>(),
            router["deviceID"].get<unsigned>());
  else
    appendf(line, "identity unreadable: %s", router["identityError"].get<std::string>().c_str());
  line += router["uid"].is_null() ? ", no UID" : ", UID " + router["uid"].get<std::string>();
  expectLine(text, line);
  size_t routers = 1;
  for (const json& adapter : router["adapters"]) routers += checkAdapter(adapter, text);
  return routers;
}

size_t checkAdapter(const json& adapter, const std::string& text) {
  std::string line = textf("Adapter %u: %s", adapter["number"].get<unsigned>(),
                           adapter["type"].get<std::string>().c_str());
  if (adapter.contains("role")) {
    line += ", " + adapter["role"].get<std::string>();
    if (!adapter["from"].is_null()) line += " from router " + adapter["from"].get<std::string>();
  }
  const std::string attached = adapter.value("attached", "");
  if (attached == "router") line += ", to router " + adapter["router"]["route"].get<std::string>();
  if (attached == "xdomain") line += ", to another host (XDomain)";
  if (attached == "nothing") line += ", nothing attached";
  expectLine(text, line);
  return attached == "router" ? checkRouter(adapter["router"], text) : 0;
}

void checkList(const json& document, const std::string& text, const std::string&) {
  size_t routers = 0;
  for (const json& controller : document["controllers"]) {
    expectLine(text, textf("Controller %u: router ID %u", controller["index"].get<unsigned>(),
                           controller["routerID"].get<unsigned>()));
    routers += checkRouter(controller["hostRouter"], text);
  }
  EXPECT_EQ(count(text, "Controller "), document["controllers"].size());
  EXPECT_EQ(count(text, "Router "), routers);
}

// ---- tbkit read ----

void checkRead(const json& document, const std::string& text, const std::string&) {
  for (const json& v : document["values"])
    expectLine(text, textf("0x%04x: 0x%08x", v["index"].get<unsigned>(), v["value"].get<unsigned>()));
  EXPECT_EQ(count(text, "\n"), document["values"].size());
}

// ---- tbkit drom parse ----

// A decoded field prints as decimal or hex, as its row says.
void expectField(const std::string& text, const std::string& name, unsigned value) {
  const bool found = text.find(textf("%s: 0x%x\n", name.c_str(), value)) != std::string::npos ||
                     text.find(textf("%s: %u\n", name.c_str(), value)) != std::string::npos;
  EXPECT_TRUE(found) << "text lacks the field " << name << " = " << value;
}

// A failed parse stops its text at the failure; the document still states
// the whole image, and its checksums say why.
void checkDrom(const json& document, const std::string& text, const std::string& errors) {
  const json& header = document["header"];
  const json& crc8 = document["checksums"]["crc8"];
  const json& crc32 = document["checksums"]["crc32"];
  expectLine(text, textf("CRC8: 0x%x Len: 0x8", crc8["stored"].get<unsigned>()));
  for (const json* crc : {&crc8, &crc32}) {
    const std::string mismatch = textf("CRC%s: 0x%x != 0x%x", crc == &crc8 ? "8" : "32",
                                       (*crc)["stored"].get<unsigned>(), (*crc)["computed"].get<unsigned>());
    EXPECT_EQ((*crc)["status"] == "mismatch", text.find(mismatch + "\n") != std::string::npos) << mismatch;
  }
  EXPECT_EQ(document["result"] == "success", errors.empty()) << errors;
  if (!errors.empty()) return;
  expectLine(text, textf("CRC32: 0x%x Len: 0x%x", crc32["stored"].get<unsigned>(), header["length"].get<unsigned>()));
  expectLine(text, textf("uid: 0x%llx", u64(header["uid"])));
  expectLine(text, textf("Size: %u ROM buffer size: %u", header["length"].get<unsigned>(),
                         document["size"].get<unsigned>()));
  for (const char* name : {"vendorID", "modelID", "modelRev", "firmwareRev"})
    expectField(text, name, header[name].get<unsigned>());
  expectField(text, "Version", header["version"].get<unsigned>());
  for (const json& entry : document["entries"]) {
    const unsigned offset = entry["offset"].get<unsigned>();
    expectLine(text, textf("parsing entry at offset 0x%x %u", offset, offset));
    if (entry["kind"] == "generic") expectLine(text, textf("type: 0x%x", entry["type"].get<unsigned>()));
    if (entry.contains("vendorName")) expectLine(text, "Vendor Name; '" + entry["vendorName"].get<std::string>() + "'");
    if (entry.contains("modelName")) expectLine(text, "Model Name; '" + entry["modelName"].get<std::string>() + "'");
    if (entry["kind"] == "adapter") expectLine(text, textf("portNum: 0x%x", entry["port"].get<unsigned>()));
    if (!entry.contains("fields")) continue;
    for (const auto& [name, value] : entry["fields"].items()) expectField(text, name, value.get<unsigned>());
  }
  EXPECT_EQ(count(text, "parsing entry at offset"), document["entries"].size());
}

// ---- tbkit report ----

// The text again from the document: its text pieces as they stand and, in
// between, one line for each register (its printed index and raw value) or
// memory word; a read that failed adds no text of its own.
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
      const auto n = [&](const char* key) { return item[key].get<unsigned>(); };
      const std::string head = item["space"] == "lc-memory" ? textf("0x%04x: 0x%08x", n("address"), n("value"))
                                                            : textf("%03x:  %08x", n("printedIndex"), n("raw"));
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
  std::function<void(const json& document, const std::string& text, const std::string& errors)> check;
};

const JsonCase kCases[] = {
    {"ListRichHost", {"list", kRichHost}, checkList},
    {"ReadCount",
     {"read", "--route", "0x1", "--space", "device", "--index", "0", "--count", "5", kRichHost},
     checkRead},
    {"ReportDevice", {"report", "device", "--host=sim", "--route", "0x301"}, checkReport},
    {"ReportAllRelative", {"report", "all", "--relative", kRichHost}, checkReport},
    {"ReportLinkControllerMemory", {"report", "lc-memory", "--route", "0x1", "--lc", "0", kRichHost}, checkReport},
    {"ReportMissingAdapterFails", {"report", "port", "--route", "0x1", "--port", "60", kRichHost}, checkReport},
    {"ReportLinuxReadFailures", {"report", "all", "--host=linux:" + kFixtures + "/linux/chain"}, checkReport},
    {"ReportMissingRouterFails", {"report", "device", "--route", "0x7", kRichHost}, checkReport},
    {"DromAllAdapterKinds", {"drom", "parse", kCorpus + "lane6-pcie4-dp3.bin"}, checkDrom},
    {"DromPcieUp", {"drom", "parse", kCorpus + "lane1-pcieup1.bin", "--port-map", "lane1-pcieup1"}, checkDrom},
    {"DromNames", {"drom", "parse", kCorpus + "port14-then-names.bin", "--ignore-crcs"}, checkDrom},
    {"DromCorruptUid", {"drom", "parse", "CORRUPT", "--ignore-crcs"}, checkDrom},
    {"DromCorruptUidFails", {"drom", "parse", "CORRUPT"}, checkDrom},
};

class JsonOutput : public ::testing::TestWithParam<JsonCase> {};

TEST_P(JsonOutput, StatesWhatTheTextSays) {
  std::vector<std::string> args = GetParam().args;
  // CORRUPT: a copy of a valid image with one UID byte changed.
  const test::TempDir folder;
  const std::string corrupt = folder / "corrupt.bin";
  for (std::string& arg : args) {
    if (arg != "CORRUPT") continue;
    std::filesystem::copy_file(kCorpus + "lane6-pcie4-dp3.bin", corrupt,
                               std::filesystem::copy_options::overwrite_existing);
    std::fstream(corrupt, std::ios::in | std::ios::out | std::ios::binary).seekp(3).put('\x5a');
    arg = corrupt;
  }
  std::ostringstream text, textErrors, document, documentErrors;
  const int textStatus = runTbkit(args, text, textErrors);
  args.push_back("--json");
  const int documentStatus = runTbkit(args, document, documentErrors);
  EXPECT_EQ(documentStatus, textStatus);
  EXPECT_EQ(documentErrors.str(), textErrors.str());
  const json parsed = json::parse(document.str(), nullptr, false);
  ASSERT_FALSE(parsed.is_discarded()) << "not one JSON document:\n" << document.str();
  GetParam().check(parsed, text.str(), textErrors.str());
  std::filesystem::remove(corrupt);
}

INSTANTIATE_TEST_SUITE_P(Tbkit, JsonOutput, ::testing::ValuesIn(kCases), test::byName);

}  // namespace
}  // namespace tbt::cli
