// Every result code of the update check and of backflash, each produced on a
// variation of the default host, with the log line that explains it.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "support/display_host.h"
#include "support/host_builder.h"
#include "support/param_names.h"

namespace tbt::test {
namespace {

using nlohmann::json;
using Lines = std::vector<std::string>;

struct ResultCase {
  const char* name;
  std::function<void(json&)> edit;
  Lines args;
  int exitStatus;
  std::string line;  // a log line the run must write
  std::string toolPath = defaultToolPath();
};

void validHeaders(json& h) { setUidHeader(h, 0x301, kFarRegistryUid); }
// Both displays' ROM version and revision and their micro-controllers' version.
void firmware(json& h, const char* rom, int revision, const char* micro) {
  for (uint64_t route : {0x1, 0x301}) {
    json& display = routerOf(h, route);
    display["registry"]["ROM Version"] = rom;
    display["registry"]["EEPROM Revision"] = revision;
    for (const char* port : {"1", "3"}) display["ports"][port]["registry"]["Micro Version"] = micro;
  }
}
void upToDate(json& h) { firmware(h, "0x27", 3, "0x20007"); }
void onBattery(json& h) { h["batteries"] = {{{"external-connected", false}}}; }
void earlyHostController(json& h) { routerOf(h, 0x0)["registry"]["Device ID"] = "0x1513"; }
void hostController(json& h, const char* device, const char* rom, int revision) {
  routerOf(h, 0x0)["registry"] = {{"UID", "0x10"}, {"Device ID", device}, {"ROM Version", rom}, {"EEPROM Revision", revision}};
}
void boardNeedingRom25(json& h, const char* rom, int revision) {
  h["board-id"] = "Brd-6A1C0D33E9B21F47";
  hostController(h, "0x15eb", rom, revision);
}
json& hostPort(json& h, int port) { return routerOf(h, 0x0)["ports"][std::to_string(port)]["registry"]; }

const ResultCase kCases[] = {
    {"Ready", nullptr, {}, 0, "Success"},
    {"Scheduled", nullptr, {"-a"}, 0, "Will update route 301 (depth 2) with UID 0001001a731ff1d0"},
    {"UpToDate", [](json& h) { validHeaders(h), upToDate(h); }, {}, 1, "Route 301 is up to date"},
    {"OnlyUidRepaired", upToDate, {}, 13, "UID was recovered"},
    {"LidClosedNoRestart", [](json& h) { h["lid-closed"] = true; }, {"-r"}, 2, "Cannot update because of error 0x2"},
    {"OnBattery", onBattery, {}, 3, "Cannot update because of error 0x3"},
    {"NoDisplay", [](json& h) { removeRouter(h, 0x1); }, {}, 4, "Cannot update because of error 0x4"},
    {"ThirdDirect", [](json& h) { addDisplay(h, 0x3, 0x33); }, {}, 5, "Directly connected, but too many found."},
    {"ThirdChained", [](json& h) { addDisplay(h, 0x401, 0x33); }, {}, 5,
     "Not directly connected. Parent *is* EXDP, but too many found."},
    {"ParentNotDisplay", [](json& h) { routerOf(h, 0x1)["registry"]["Device Model ID"] = "0x8003"; }, {}, 6,
     "Not directly connected and parent not EXDP"},
    {"TooDeep", [](json& h) { addDisplay(h, 0x40301, 0x44); }, {}, 6, "Error 0x6 occurred with route 40301"},
    {"NonTethered", [](json& h) { validHeaders(h), setUpstreamPort(h, 0x301, 3); }, {}, 7,
     "EXDP connected via non-tethered (Upstream Port # = 3)"},
    {"SecondaryLink", [](json& h) { validHeaders(h), setUpstreamPort(h, 0x301, 2); }, {}, 8,
     "EXDP connected via secondary link (Upstream Port # = 2)"},
    {"Em1NotHostConnect", [](json& h) { routerOf(h, 0x1)["iecs"]["36/0"]["36"] = "00"; }, {}, 8,
     "EM1 not in host-connect mode"},
    {"Em3HostConnect", [](json& h) { routerOf(h, 0x301)["iecs"]["42/0"]["36"] = "01"; }, {}, 8,
     "EM3 in host-connect mode"},
    {"MicroUnreadable", [](json& h) { routerOf(h, 0x1)["iecs"].erase("42/0"); }, {}, 132,
     "Could not read micro at 0x2a."},
    // The display's firmware at, one below and above what the payloads carry.
    {"FirmwareAtCurrent", [](json& h) { validHeaders(h), firmware(h, "0x26", 2, "0x20007"); }, {}, 1,
     "Route 301 is up to date"},
    {"RevisionBelowCurrent", [](json& h) { validHeaders(h), firmware(h, "0x26", 1, "0x20007"); }, {}, 0,
     "EXDP ROM Version = 26.1"},
    {"MicroBelowCurrent", [](json& h) { validHeaders(h), firmware(h, "0x26", 2, "0x20006"); }, {}, 0,
     "EXDP Up Micro Version = 0x20006"},
    {"RevisionAboveCurrent", [](json& h) { validHeaders(h), firmware(h, "0x26", 3, "0x20008"); }, {}, 1,
     "ROM Version base = 26; revision >= 2"},
    // The host controller's firmware at, one below and above its minimum.
    {"HostRom25Revision0", [](json& h) { boardNeedingRom25(h, "0x25", 0); }, {}, 9, "0x15eb Host ROM Version = 25.0"},
    {"HostRom25Revision1", [](json& h) { boardNeedingRom25(h, "0x25", 1); }, {}, 0, "0x15eb Host ROM Version = 25.1"},
    {"LongerBoardIdIsAnother",
     [](json& h) { boardNeedingRom25(h, "0x24", 8), h["board-id"] = "Brd-6A1C0D33E9B21F47A"; }, {}, 0, "Success"},
    {"LaterHostRevisionTooOld", [](json& h) { hostController(h, "0x1547", "0x23", 3); }, {}, 9,
     "0x1547 Host ROM Version = 23.3"},
    {"LaterHostAtMinimum", [](json& h) { hostController(h, "0x1548", "0x23", 4); }, {}, 0,
     "0x1548 Host ROM Version = 23.4"},
    {"LaterHostRomAbove", [](json& h) { hostController(h, "0x1547", "0x24", 0); }, {}, 0, "Success"},
    {"HostMicroAtMinimum", earlyHostController, {}, 0, "Success"},
    {"HostMicroTooOld", [](json& h) { earlyHostController(h), hostPort(h, 1)["Micro Version"] = "0x20102"; }, {}, 9,
     "Cannot update because of error 0x9"},
    {"NoHostMicro", [](json& h) { earlyHostController(h), hostPort(h, 1).erase("Micro Version"); }, {}, 137,
     "Cannot update because of error 0x89"},
    {"NoHostLanePort",
     [](json& h) {
       earlyHostController(h);
       for (int p = 1; p <= 4; ++p) hostPort(h, p)["Adapter Type"] = 0x0e0101;
     },
     {}, 136, "Cannot update because of error 0x88"},
    {"BootFirmwareTooOld", [](json& h) { h["rom"]["version"] = "A.B.0116.B06"; }, {}, 11, "Host EFI: 0116.B06"},
    {"BootFirmwareAtMinimum", [](json& h) { h["rom"]["version"] = "A.B.0116.B07"; }, {}, 0, "Host EFI: 0116.B07"},
    {"BootFirmwareReleaseTooOld", [](json& h) { h["rom"]["version"] = "A.B.0115.B09"; }, {}, 11,
     "Host EFI: 0115.B09"},
    {"EngineeringBootFirmware", [](json& h) { h["rom"]["version"] = "A.B.ENGR.A00"; }, {}, 0, "Host EFI: ENGR.A00"},
    {"BootFirmwareOtherMaker", [](json& h) { h["rom"]["vendor"] = "Other Inc."; }, {}, 138,
     "Cannot update because of error 0x8a"},
    {"RouteZero",
     [](json& h) {
       // The chained display reports route 0, so its handle reaches the host
       // router, which then needs a DFT capability and a UID header of its own.
       validHeaders(h);
       h = SwitchHostBuilder(h, 0x0)
               .dft(0x40, kDromOffset)
               .eeprom(2048, {{hex(kDromOffset), uidHeaderHex(kFarRegistryUid)}})
               .document();
       routerOf(h, 0x301)["registry"]["Route String"] = 0;
     },
     {}, 134, "Error 0x86 occurred with route 0"},
    {"RepairRefused", nullptr, {"-u"}, 139, "Could not recover UID (0xe00002c9)"},
    {"RepairNotTethered", [](json& h) { setUpstreamPort(h, 0x301, 3); }, {}, 139, "Could not recover UID (0x7)"},
    {"ResourceDirectoryNotAscii", nullptr, {"-a"}, 16, "Could not get resources path", "/opt/\xc3\xa9/updatechecker"},
    {"ResourceDirectoryByte80", nullptr, {"-a"}, 16, "Could not get resources path", "/opt/\x80/updatechecker"},
    // Backflash.
    {"BackflashOnBattery", onBattery, {"-b", "u", "p0", "p1"}, 3, "Cannot update because of error 0x3"},
    {"BackflashRouteZero", [](json& h) { routerOf(h, 0x1)["registry"]["Route String"] = 0; }, {"-b", "u", "p0"},
     134, "Cannot update because of error 0x86"},
    {"BackflashNotAscii", nullptr, {"-b", "/fw/\xc3\xa9.efi", "p0", "p1"}, 1,
     "Could not get command string for '/usr/sbin/bless -mount / -firmware \"/fw/\xc3\xa9.efi\" -payload \"p0\" "
     "-payload \"p1\" -options \"-o -u 0x0001d15b00a1c302 -ee -f efi-kelvo-payload0-data -sm -f "
     "efi-kelvo-payload1-data -u 0x0001d15b00a1c301 -ee -f efi-kelvo-payload0-data -sm -f "
     "efi-kelvo-payload1-data\"'"},
    {"BackflashOneOperand", nullptr, {"-b", "u"}, 135,
     "Error: 'Backflash needs at least two operands: the firmware utility and the first payload file.'"},
};

class ResultCodes : public ::testing::TestWithParam<ResultCase> {};

TEST_P(ResultCodes, ExitStatusAndReason) {
  const ResultCase& c = GetParam();
  json doc = defaultHostDocument();
  if (c.edit) c.edit(doc);
  ScopedHost host(doc.dump());
  EXPECT_EQ(runChecker(c.args, c.toolPath), c.exitStatus);
  EXPECT_TRUE(logged(host.sim(), c.line)) << "missing log line: " << c.line;
  auto given = [&](const char* option) { return std::find(c.args.begin(), c.args.end(), option) != c.args.end(); };
  if (!given("-b") && (c.exitStatus != 0 || !(given("-a") || given("-r")))) {
    EXPECT_TRUE(host.sim().shellCommands().empty()) << "a failed or unarmed check runs no command";
  }
}

INSTANTIATE_TEST_SUITE_P(UpdateChecker, ResultCodes, ::testing::ValuesIn(kCases), byName);

}  // namespace
}  // namespace tbt::test
