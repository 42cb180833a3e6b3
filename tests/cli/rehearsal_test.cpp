// An update rehearsed end to end on a host file, through both programs as an
// administrator runs them: check and schedule, restart, check again; and each
// way the restart's flash fails. The programs lie in a temporary directory
// with the error dictionary and the files a flash names.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "cli/updatechecker_main.h"
#include "support/display_host.h"
#include "support/param_names.h"
#include "support/temp_dir.h"
#include "tbkit_run.h"

namespace tbt::cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::kFarRepairedUid;
using test::kNearUid;

class RehearsalTest : public testing::Test {
 protected:
  RehearsalTest() {
    fs::copy_file(TBT_BINARY_DIR "/Errors.plist", dir_ + "/Errors.plist");
    for (const char* name : {"VaneUtil.efi", "Panel-26-02.bin", "PortMc-em-00020007.bin"})
      std::ofstream(dir_ + "/" + name) << name;
    std::ofstream(file_) << sim::defaultHostJson();
    unsetenv("TBT_SAVE_HOST");
  }

  // updatechecker with args, the program in the temporary directory; its
  // standard output in out_. calls: the update check and backflash to run.
  int check(std::vector<std::string> args, const EntryCalls& calls = EntryCalls{checkForUpdates, runBackflash}) {
    args.insert(args.begin(), {dir_ + "/updatechecker", "--host=sim:" + file_});
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = updatecheckerMain(static_cast<int>(argv.size()), argv.data(), calls);
    out_ = testing::internal::GetCapturedStdout();
    err_ = testing::internal::GetCapturedStderr();
    return status;
  }
  Outcome restart() { return tbkit({"host", "restart", "--host=sim:" + file_}); }
  std::string text() const { return test::readFile(file_); }
  json doc() const { return json::parse(text()); }
  void edit(const std::function<void(json&)>& change) {
    json d = doc();
    change(d);
    std::ofstream(file_) << d.dump(2);
  }
  // The display's ROM version as the file holds it.
  std::string rom(uint64_t route) {
    json d = doc();
    return test::routerOf(d, route)["registry"]["ROM Version"].get<std::string>();
  }
  std::string variable(const char* name) { return doc()["nvram"].value(name, "<unset>"); }

  const test::TempDir temp_;
  const std::string dir_ = temp_.path(), file_ = temp_ / "host.json";
  std::string out_, err_;
};

std::string uidHex(uint64_t uid) { return textf("0x%016llx", static_cast<unsigned long long>(uid)); }

TEST_F(RehearsalTest, CheckScheduleRestartCheckAgain) {
  const std::string saved = "saved the simulated host to " + file_ + "\n";
  EXPECT_EQ(check({"-a", "--save-host"}), 0) << err_;
  EXPECT_EQ(out_, saved);
  json d = doc();
  EXPECT_EQ(d["nvram"]["tbt-options"], "%04");
  const std::string selection = d["boot-selection"];
  EXPECT_NE(selection.find("-u " + uidHex(kFarRepairedUid) + " -ee efi-kelvo-payload0-data -sm "
                           "efi-kelvo-payload1-data -u " + uidHex(kNearUid)),
            std::string::npos)
      << selection;
  EXPECT_EQ(test::routerOf(d, 0x301)["eeprom"]["bytes"]["0x100"], test::uidHeaderHex(kFarRepairedUid));

  Outcome restarted = restart();
  EXPECT_EQ(restarted.status, 0) << restarted.err;
  EXPECT_EQ(restarted.out,
            "simulated host restarted (restart 1)\n"
            "boot firmware: running " + dir_ + "/VaneUtil.efi: switch ROM 26.2, port micro-controllers 0x20007\n"
            "boot firmware: display 0x0001001a731ff1d0 at route 0x301: ROM 24.3 -> 26.2, "
            "port 1 micro-controller 0x20005 -> 0x20007\n"
            "boot firmware: display 0x0001d15b00a1c301 at route 0x1: ROM 24.3 -> 26.2, "
            "port 1 micro-controller 0x20005 -> 0x20007, port 3 micro-controller 0x20005 -> 0x20007\n"
            "boot firmware: VaneUpdateResult = 0 (every display flashed)\n" + saved);
  d = doc();
  EXPECT_FALSE(d.contains("boot-selection"));
  EXPECT_FALSE(d["nvram"].contains("tbt-options"));
  EXPECT_EQ(d["nvram"]["VaneUpdateResult"], "%00");
  EXPECT_EQ(d["restarts"], 1);

  // Up to date now; the earlier result is only cleared before a scheduling or by -c.
  EXPECT_EQ(check({"--save-host"}), 1);
  EXPECT_NE(err_.find("Route 301 is up to date"), std::string::npos) << err_;
  EXPECT_NE(err_.find("Error: 'No attached display needs a firmware update."), std::string::npos) << err_;
  EXPECT_EQ(variable("VaneUpdateResult"), "%00");
  EXPECT_EQ(check({"-c", "--save-host"}), 1);
  EXPECT_EQ(variable("VaneUpdateResult"), "<unset>");
}

TEST_F(RehearsalTest, RestartOptionRestartsAtTheEndOfTheRun) {
  EXPECT_EQ(check({"-r", "--save-host"}), 0) << err_;
  EXPECT_NE(out_.find("boot firmware: VaneUpdateResult = 0 (every display flashed)\nsaved"), std::string::npos);
  EXPECT_EQ(rom(0x1), "0x26");
  EXPECT_FALSE(doc().value("restart-requested", false));
}

// A boot selection without the update options runs nothing, and stays registered.
TEST_F(RehearsalTest, SelectionWithoutOptionsIsNotRun) {
  ASSERT_EQ(check({"-a", "--save-host"}), 0) << err_;
  edit([](json& d) { d["nvram"].erase("tbt-options"); });
  EXPECT_EQ(restart().out, "simulated host restarted (restart 1)\nboot firmware: nothing scheduled\n"
                           "saved the simulated host to " + file_ + "\n");
  EXPECT_EQ(rom(0x1), "0x24");
  EXPECT_TRUE(doc().contains("boot-selection"));
}

// What a failure row changes between scheduling and restart: the host
// document, or the files in the program directory.
using Breakage = std::function<void(const std::string& dir, json& host)>;

struct FailureRow {
  const char* name;
  Breakage breakIt;
  int code;  // VaneUpdateResult
  bool nearFlashed, farFlashed;
  std::string line;  // in the restart's output ("%s": the program directory)
};

class FlashFailureTest : public RehearsalTest, public testing::WithParamInterface<FailureRow> {};

Breakage replacing(const std::string& from, const std::string& to) {
  return [=](const std::string&, json& d) {
    std::string s = d["boot-selection"];
    s.replace(s.find(from), from.size(), to);
    d["boot-selection"] = s;
  };
}
Breakage panelOf(uintmax_t size) {
  return [=](const std::string& dir, json&) { fs::resize_file(dir + "/Panel-26-02.bin", size); };
}
Breakage nearNvmOf(int size) {
  return [=](const std::string&, json& d) { test::routerOf(d, 0x1)["nvm"] = {{"size", size}}; };
}
// The near display at the payload's ROM, at the given revision.
Breakage nearRevision(int revision) {
  return [=](const std::string&, json& d) {
    test::routerOf(d, 0x1)["registry"]["ROM Version"] = "0x26";
    test::routerOf(d, 0x1)["registry"]["EEPROM Revision"] = revision;
  };
}

const std::string kNear = "boot firmware: display 0x0001d15b00a1c301 at route 0x1: ";

const FailureRow kFailures[] = {
    {"DisplayUnplugged", [](const std::string&, json& d) { test::removeRouter(d, 0x301); }, 3, true, false,
     "boot firmware: no display with UID 0x0001001a731ff1d0\n"},
    {"OptionsDoNotParse", replacing("-sm", "-sn"), 1, false, false,
     "boot firmware: cannot parse the options '-o -u 0x0001001a731ff1d0 -ee efi-kelvo-payload0-data -sn "},
    {"PayloadMissing", [](const std::string& dir, json&) { fs::remove(dir + "/Panel-26-02.bin"); }, 2, false, false,
     "boot firmware: payload %s/Panel-26-02.bin: No such file or directory\n"},
    {"PayloadNameCarriesNoVersion",
     [](const std::string& dir, json& d) {
       fs::copy_file(dir + "/Panel-26-02.bin", dir + "/Panel-26.bin");
       replacing("Panel-26-02.bin", "Panel-26.bin")(dir, d);
     },
     2, false, false, "boot firmware: payload %s/Panel-26.bin: the name does not carry a version (Panel-RR-VV.bin)\n"},
    {"PayloadAtLimit", panelOf(1 << 24), 0, true, true, "VaneUpdateResult = 0"},
    {"PayloadAboveLimit", panelOf((1 << 24) + 1), 2, false, false,
     "boot firmware: payload %s/Panel-26-02.bin: larger than 16777216 bytes\n"},
    {"NvmOneByteShort", nearNvmOf(14), 4, false, true, 
     kNear + "its NVM (14 bytes) cannot hold the switch payload (15 bytes)\n"},
    {"NvmThePayloadsSize", nearNvmOf(15), 0, true, true, kNear + "ROM 24.3 -> 26.2,"},
    // A display at the payload's ROM is flashed only from an earlier revision.
    {"RevisionBelowThePayloads", nearRevision(1), 0, true, true, kNear + "ROM 26.1 -> 26.2,"},
    {"RevisionThePayloads", nearRevision(2), 0, true, true, kNear + "ROM 26.2 kept,"},
};

TEST_P(FlashFailureTest, RecordsItsResult) {
  const FailureRow& row = GetParam();
  ASSERT_EQ(check({"-a", "--save-host"}), 0) << err_;
  edit([&](json& d) { row.breakIt(dir_, d); });
  Outcome restarted = restart();
  EXPECT_EQ(restarted.status, 0) << restarted.err;
  const std::string line = textf(row.line.c_str(), dir_.c_str());
  EXPECT_NE(restarted.out.find(line), std::string::npos) << restarted.out;
  EXPECT_EQ(variable("VaneUpdateResult"), textf("%%%02x", row.code));
  EXPECT_EQ(rom(0x1), row.nearFlashed ? "0x26" : "0x24");
  if (doc()["controllers"][0]["routers"].size() == 3) {
    EXPECT_EQ(rom(0x301), row.farFlashed ? "0x26" : "0x24");
  }
  EXPECT_FALSE(doc().contains("boot-selection"));
  EXPECT_EQ(variable("tbt-options"), "<unset>");
}

INSTANTIATE_TEST_SUITE_P(Rows, FlashFailureTest, testing::ValuesIn(kFailures), test::byName);

// With a fake update check: the version, the log lines echoed, the hardware
// time; a host file naming an unknown key is refused in one line.
TEST_F(RehearsalTest, VersionLogLinesHardwareTimeAndHostErrors) {
  int checks = 0;
  const EntryCalls fake{[&](int, const char* const*, bool) {
                          ++checks;
                          return result::kSuccess;
                        },
                        [](const char*, const char*, const char*) { return result::kSuccess; }};
  EXPECT_EQ(check({"-v", "-V", "-b", "onlyone"}, fake), 135);
  EXPECT_EQ(out_, "Update Checker version 57\n");
  EXPECT_NE(err_.find("updatechecker["), std::string::npos) << "log lines are echoed";
  EXPECT_NE(err_.find("simulated hardware time: "), std::string::npos) << err_;
  check({}, fake);
  EXPECT_EQ(checks, 1);
  EXPECT_EQ(err_.find("simulated hardware time"), std::string::npos) << "only with -V";
  std::ofstream(file_) << R"({ "lid-closed": false, "bogus-key": 1 })";
  EXPECT_EQ(check({"-a"}, fake), 2);
  EXPECT_EQ(checks, 1);
  EXPECT_NE(err_.find("bogus-key"), std::string::npos) << err_;
  EXPECT_EQ(err_.find('\n'), err_.size() - 1) << "one line: " << err_;
}

TEST_F(RehearsalTest, NothingIsWrittenWithoutSaving) {
  const std::string before = text();
  setenv("TBT_SAVE_HOST", "0", 1);
  EXPECT_EQ(check({"-r"}), 0);
  EXPECT_EQ(text(), before);
  setenv("TBT_SAVE_HOST", "1", 1);
  EXPECT_EQ(check({"-a"}), 0);
  EXPECT_TRUE(doc().contains("boot-selection"));
}

TEST_F(RehearsalTest, RefusedSaves) {
  struct Row {
    const char* environment;
    std::vector<std::string> args;
    const char* error;
  } rows[] = {
      {"yes", {}, "updatechecker: TBT_SAVE_HOST: expected 1 or 0, got 'yes'\n"},
      {"", {"--host=sim", "--save-host"},
       "updatechecker: --save-host needs a simulated host file to write back to (--host=sim:FILE)\n"},
      {"1", {"--host=sim"}, "updatechecker: TBT_SAVE_HOST=1 needs a simulated host file to write back to "
                            "(--host=sim:FILE)\n"},
  };
  for (const Row& row : rows) {
    setenv("TBT_SAVE_HOST", row.environment, 1);
    EXPECT_EQ(check(row.args), 2);
    EXPECT_EQ(err_, row.error);
  }
  unsetenv("TBT_SAVE_HOST");
}

TEST_F(RehearsalTest, AFileChangedDuringTheRunIsLeftAlone) {
  const std::string theirs = R"({"nvram": {"theirs": "1"}})";
  EntryCalls calls{[&](int, const char* const*, bool) -> ResultCode {
                     std::ofstream(file_) << theirs;
                     return 0;
                   },
                   runBackflash};
  EXPECT_EQ(check({"-r", "--save-host"}, calls), 1);
  EXPECT_NE(err_.find("updatechecker: " + file_ + ": changed by someone else during the run; not saved\n"),
            std::string::npos)
      << err_;
  EXPECT_EQ(text(), theirs);
}

}  // namespace
}  // namespace tbt::cli
