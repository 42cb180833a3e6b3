// tbkit diff on pairs of hosts that differ in known ways: a host captured,
// edited and compared with its source.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include <nlohmann/json.hpp>

#include "cli/tbkit_run.h"
#include "support/param_names.h"
#include "support/temp_dir.h"

namespace tbt::cli {
namespace {

using nlohmann::json;

const std::string kFixtures = TBT_FIXTURES_DIR;
const std::string kDefault = "sim";
const std::string kRich = "sim:" + kFixtures + "/hosts/rich.json";
const std::string kLinux = "linux:" + kFixtures + "/linux/chain";

json& routerAt(json& host, const std::string& route) {
  for (json& r : host["controllers"][0]["routers"])
    if (r["route"] == route) return r;
  throw std::runtime_error("no router " + route);
}

struct DiffCase {
  const char* name;
  std::string source;                 // A, and the host captured for B
  std::function<void(json&)> edit;    // what B changes (null: B is the capture as it is)
  std::vector<std::string> options;
  int status;
  std::vector<std::string> lines;     // lines the output must hold
};

// Sets a device-space double word of router 0x301.
std::function<void(json&)> deviceWord(const char* index, const char* value) {
  return [=](json& host) { routerAt(host, "0x301")["device-space"][index] = value; };
}
const auto setEeprom = deviceWord("0x44", "0x00000003");
void setCounter(json& host) { routerAt(host, "0x1")["ports"]["1"]["counter-space"] = {{"0x1", "0x00000005"}}; }

const DiffCase kCases[] = {
    {"CaptureOfTheDefaultHost", kDefault, nullptr, {}, 0, {"--- A: sim", "no differences"}},
    {"CaptureOfALinuxTree", kLinux, nullptr, {}, 0, {"no differences"}},
    {"ChangedField", kDefault, setEeprom, {}, 1,
     {"Router 0x301 (controller 0):",
      "  device space, VSEC length=0x10   VSEC ID=0x01 (DFT)   Cap ID=0x05   Next Cap Ptr=0x00",
      "-   044:  00000002   EEPROM [Done=0   Reload=0   None=0   BitBang=0   DO=0   DI=0   CS=1   SK=0]",
      "+   044:  00000003   EEPROM [Done=0   Reload=0   None=0   BitBang=0   DO=0   DI=0   CS=1   SK=1]"}},
    {"IgnoredField", kDefault, setEeprom, {"--ignore", "EEPROM SK"}, 0, {"no differences"}},
    {"ErrorCountIgnored", kDefault, deviceWord("0x41", "0x80000000"), {"--ignore", "errors"}, 0, {"no differences"}},
    {"ErrorEnableIsNoCount", kDefault, deviceWord("0x43", "0x00010000"), {"--ignore", "errors"}, 1,
     {"+   043:  00010000   CRC Err En 0x0001  Errs[P4:FC=0 HEC=0 LK=0   P3:FC=0 HEC=0 LK=0   P2:FC=0 HEC=0 LK=0   "
      "P1:FC=0 HEC=0 LK=0]"}},
    {"TimeoutIsNoTime", kDefault, deviceWord("0x4", "0x00000001"), {"--ignore", "time"}, 1,
     {"+   004:  00000001   Thunderbolt Version=0x00   Config Retry Timeout=0x01"}},
    {"OtherRouterChosen", kDefault, setEeprom, {"--route", "0x1"}, 0, {"no differences"}},
    {"OtherAdapterChosen", kDefault, setEeprom, {"--port", "63"}, 0, {"no differences"}},
    {"DeviceSpaceChosen", kDefault, setEeprom, {"--port", "0"}, 1, {}},
    {"RouterOnlyInA", kDefault,
     [](json& host) {
       auto& routers = host["controllers"][0]["routers"];
       routers.erase(routers.end() - 1);
     },
     {}, 1, {"Router 0x301 (controller 0): only in A, vendor 0x8086 device 0x1547, UID 0x0001d15b00a1c302"}},
    {"AnotherRouterAtTheRoute", kDefault,
     [](json& host) { routerAt(host, "0x301")["registry"]["UID"] = "0x1234"; },
     {}, 1, {"Router 0x301 (controller 0): another router", "+ vendor 0x8086 device 0x1547, UID 0x0000000000001234"}},
    {"UnreadableIsNotADifference", kDefault,
     [](json& host) {
       routerAt(host, "0x301")["read-failures"] = {
           {{"port", 0}, {"space", 2}, {"first", "0x44"}, {"last", "0x44"}, {"status", "0xe00002c7"}}};
     },
     {}, 0,
     {"  read on one side only: device space, VSEC length=0x10   VSEC ID=0x01 (DFT)   Cap ID=0x05   Next Cap Ptr=0x00",
      "+   044:  unreadable: 0xe00002c7 (unsupported)"}},
    {"CountersOfTheAdapterChosen", kDefault, setCounter, {"--port", "1"}, 1,
     {"  adapter 1 counter space", "+   001:  00000005"}},
    {"CountersIgnored", kDefault, setCounter, {"--ignore", "counters"}, 0, {"no differences"}},
    {"RouterBehindABridge", kRich,
     [](json& host) {
       for (json& r : host["controllers"][0]["routers"])
         if (r.contains("bridges")) {
           json& far = r["bridges"]["0"]["router"]["device-space"];
           far["0x1f0"] = "0x00000001";  // within what a capture reads behind a bridge
           return;
         }
     },
     {}, 1, {"Router 0x1 bus 0 (controller 0):", "+   1f0:  00000001"}},
};

void PrintTo(const DiffCase& c, std::ostream* os) { *os << c.name; }

class Diff : public ::testing::TestWithParam<DiffCase> {};

TEST_P(Diff, NamesWhatDiffers) {
  const DiffCase& c = GetParam();
  const test::TempDir folder;
  const std::string b = folder / "b.json";
  ASSERT_EQ(tbkit({"capture", "--host=" + c.source, "-o", b}).status, 0);
  if (c.edit) {
    std::ifstream in(b);
    json host = json::parse(in);
    c.edit(host);
    std::ofstream(b) << host.dump();
  }
  std::vector<std::string> args = {"diff", c.source, b};
  args.insert(args.end(), c.options.begin(), c.options.end());
  const Outcome text = tbkit(args);
  EXPECT_EQ(text.status, c.status) << text.out << text.err;
  EXPECT_EQ(text.err, "");
  for (const std::string& line : c.lines)
    EXPECT_NE(text.out.find(line + "\n"), std::string::npos) << line << " not in\n" << text.out;
  // The document is equal only when the text says so.
  args.push_back("--json");
  const json document = json::parse(tbkit(args).out, nullptr, false);
  EXPECT_EQ(document.value("equal", c.status != 0), c.status == 0);
}

INSTANTIATE_TEST_SUITE_P(Pairs, Diff, ::testing::ValuesIn(kCases), test::byName);

// Values from outside reach the terminal escaped; a word both sides list on
// its own is compared once.
TEST(DiffOutput, EscapesHostValuesAndShowsEachWordOnce) {
  const test::TempDir folder;
  const std::string a = folder / "a\x1b[31m.json", b = folder / "b.json";
  ASSERT_EQ(tbkit({"capture", "--host=sim", "-o", a}).status, 0);
  std::ifstream in(a);
  json host = json::parse(in);
  routerAt(host, "0x301")["device-space"]["0x44"] = "0x00000003";
  std::ofstream(b) << host.dump();
  const Outcome o = tbkit({"diff", a, b});
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.out.find('\x1b'), std::string::npos) << o.out;
  EXPECT_EQ(o.out.find("+   044:"), o.out.rfind("+   044:")) << o.out;
}

TEST(DiffUsage, RefusesWhatItCannotCompare) {
  struct Row {
    std::vector<std::string> args;
    std::string err;
  };
  const Row rows[] = {
      {{"diff", "sim"}, "tbkit diff: missing A B (see --help)\n"},
      {{"diff", "sim", "/nonexistent/host.json"},
       "tbkit diff: /nonexistent/host.json: cannot read the file: No such file or directory\n"},
      {{"diff", "sim", "linux:/nonexistent"}, ""},
  };
  for (const Row& row : rows) {
    const Outcome o = tbkit(row.args);
    EXPECT_EQ(o.status, 2) << row.args.back();
    if (!row.err.empty()) {
      EXPECT_EQ(o.err, row.err);
    }
    EXPECT_EQ(o.out, "");
  }
}

}  // namespace
}  // namespace tbt::cli
