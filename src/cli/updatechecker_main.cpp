#include "cli/updatechecker_main.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/host_choice.h"
#include "cli/host_commands.h"
#include "cli/standard_output.h"
#include "driver/options.h"
#include "platform/text.h"
#include "sim/sim_host.h"

namespace tbt::cli {
namespace {

constexpr const char* kProgramName = "updatechecker";
// The exit status of a run whose host could not be written back.
constexpr int kSaveFailed = 1;

// The help text; %g is the version.
constexpr const char* kUsage =
    "Usage: updatechecker [--host=sim[:FILE] [--save-host] | --host=linux[:ROOT]] [options]\n"
    "       updatechecker [--host=...] -b [options] UTILITY PAYLOAD0 PAYLOAD1\n"
    "\n"
    "Update Checker version %g.\n"
    "\n"
    "Decides whether the firmware of the attached Thunderbolt displays must be\n"
    "updated and, with -a or -r, schedules the update for the next start of the\n"
    "host. The reasoning goes to the system log and to standard error; a failed\n"
    "run's outcome is logged with its message from Errors.plist in the program's\n"
    "directory.\n"
    "\n"
    "Options (processed in command-line order):\n"
    "  -r, --restart    schedule the flash as -a does, and restart the host after\n"
    "                   a success\n"
    "  -a, --arm        schedule the flash when an update is needed\n"
    "  -n, --no         do not schedule: cancels the scheduling of an earlier -a or\n"
    "                   -r, not the restart (-r -n restarts without scheduling,\n"
    "                   -n -r schedules again)\n"
    "  -b, --backflash  put firmware back: schedule UTILITY with PAYLOAD0 and\n"
    "                   PAYLOAD1 for every display found, the farthest first.\n"
    "                   Takes three operands; given two, PAYLOAD1 is passed on\n"
    "                   empty and the command names \"(null)\" in its place; with\n"
    "                   fewer the run fails (result code 0x87)\n"
    "  -c, --clean      first clear the firmware-update variables of an earlier run\n"
    "  -i, --ignore     skip the firmware version check and force the flash\n"
    "  -m, --nomulti    when two displays need an update, schedule only the nearer\n"
    "                   one\n"
    "  -u, --nouid      never repair a bad switch UID: a display whose UID is bad\n"
    "                   then fails the run (result code 0x8b) instead of being\n"
    "                   repaired; it is not skipped\n"
    "  -z, --zero       accepted; does nothing\n"
    "  -v, --version    print \"Update Checker version %g\", then carry on\n"
    "  -V, --verbose    more log lines, among them each command of a scheduling\n"
    "                   before it runs; on a simulated host, report the simulated\n"
    "                   hardware time and configuration accesses at exit\n"
    "      --help       print this text and exit\n"
    "\n"
    "Files:\n"
    "  The program's directory holds Errors.plist and the files a flash names:\n"
    "  VaneUtil.efi, Panel-26-02.bin and PortMc-em-00020007.bin. It is the\n"
    "  directory of the path the program was started by; started by a bare name\n"
    "  (through PATH) or through a symbolic link, it is the directory of the\n"
    "  executable itself (the link's target).\n"
    "\n"
    "Host:\n"
    "  --host=sim       the built-in simulated host\n"
    "  --host=sim:FILE  the simulated host described by the JSON file FILE\n"
    "  --host=linux     this Linux machine (sysfs and debugfs; root needed)\n"
    "  --host=linux:ROOT  a copy of a Linux machine's /sys below ROOT\n"
    "  TBT_HOST         the same values, used when --host is not given\n"
    "  With neither, this machine when it has /sys/bus/thunderbolt.\n"
    "  --save-host      at the end, write the simulated host's state back to FILE\n"
    "                   (after the restart that -r asked for); a FILE that changed\n"
    "                   during the run is left alone and the run exits 1\n"
    "  TBT_SAVE_HOST    1: as --save-host; 0 or unset: do not save\n"
    "\n"
    "Exit status: the low eight bits of the result code (0 on success);\n"
    "2 when the host cannot be chosen or its file is malformed; 1 when the host\n"
    "cannot be saved.\n";

bool asksForHelp(const std::vector<char*>& args) {
  for (size_t i = 1; i < args.size(); ++i) {
    std::string_view arg = args[i];
    if (arg == "--") break;
    if (arg == "--help") return true;
  }
  return false;
}

}  // namespace

int updatecheckerMain(int argc, char** argv, const EntryCalls& calls) {
  std::vector<char*> args(argv, argv + argc);
  if (asksForHelp(args)) {
    std::fputs(textf(kUsage, kUpdateCheckerVersion, kUpdateCheckerVersion).c_str(), stdout);
    return finishStandardOutput(kProgramName, 0, 0, false);
  }
  std::string error;
  HostFileKeeper keeper;
  const size_t given = args.size();
  std::optional<bool> save = takeSaveHostRequest(args, std::getenv(kSaveHostEnvironmentVariable), &error);
  if (save && *save) {
    std::string file;
    error = hostFileToSave(args, args.size() != given ? kSaveHostOption : "TBT_SAVE_HOST=1", &file);
    if (error.empty()) error = keeper.remember(file);
  }
  std::optional<ChosenHost> chosen;
  if (error.empty()) chosen = chooseHost(args, &error);
  if (!chosen) {
    std::fputs(textf("%s: %s\n", kProgramName, escapeControls(error).c_str()).c_str(), stderr);
    return kHostChoiceFailed;
  }
  if (chosen->sim) {
    chosen->sim->setLogIdent(kProgramName);
    chosen->sim->setEcho(true);
  }
  sim::SimHost* machine = chosen->sim;
  auto previous = installPlatform(std::move(chosen->platform));
  int entryArgc = static_cast<int>(args.size());
  args.push_back(nullptr);  // the argument vector ends with a null entry
  int status = runUpdateChecker(entryArgc, args.data(), calls);
  if (machine && driverFlags().verbose) std::fputs(hardwareTimeText(*machine).c_str(), stderr);
  if (machine && *save) {
    std::string report;
    error = keeper.save(*machine, report);
    std::fputs(report.c_str(), stdout);
    if (!error.empty()) {
      std::fprintf(stderr, "%s: %s\n", kProgramName, error.c_str());
      status = kSaveFailed;
    }
  }
  installPlatform(std::move(previous));
  return finishStandardOutput(kProgramName, status, 0, false);
}

}  // namespace tbt::cli
