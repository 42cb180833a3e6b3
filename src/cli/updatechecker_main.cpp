#include "cli/updatechecker_main.h"

#include <cinttypes>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "cli/host_choice.h"
#include "driver/options.h"
#include "sim/sim_host.h"

namespace tbt::cli {
namespace {

constexpr const char* kProgramName = "updatechecker";

constexpr const char* kUsage =
    "Usage: updatechecker [--host=sim[:FILE] | --host=linux[:ROOT]] [options]\n"
    "       updatechecker [--host=...] -b [options] UTILITY PAYLOAD0 [PAYLOAD1]\n"
    "\n"
    "Decides whether the firmware of the attached Thunderbolt displays must be\n"
    "updated and, with -a or -r, schedules the update for the next start of the\n"
    "host. The reasoning goes to the system log and to standard error; the\n"
    "outcome is logged with its message from Errors.plist beside the program.\n"
    "\n"
    "Options (processed in command-line order):\n"
    "  -r, --restart    schedule the flash and restart the host after a success\n"
    "  -a, --arm        schedule the flash when an update is needed\n"
    "  -b, --backflash  put firmware back: schedule UTILITY with PAYLOAD0 and\n"
    "                   PAYLOAD1 for every display found\n"
    "  -n, --no         do not schedule (cancels an earlier -a or -r)\n"
    "  -c, --clean      first clear the firmware-update variables of an earlier run\n"
    "  -i, --ignore     skip the firmware version check and force the flash\n"
    "  -m, --nomulti    schedule one display even when two need an update\n"
    "  -u, --nouid      do not repair a bad switch UID\n"
    "  -z, --zero       accepted; does nothing\n"
    "  -v, --version    print the version, then carry on\n"
    "  -V, --verbose    more log lines; on a simulated host, report the simulated\n"
    "                   hardware time and configuration accesses at exit\n"
    "      --help       print this text and exit\n"
    "\n"
    "Host:\n"
    "  --host=sim       the built-in simulated host\n"
    "  --host=sim:FILE  the simulated host described by the JSON file FILE\n"
    "  --host=linux     this Linux machine (sysfs and debugfs; root needed)\n"
    "  --host=linux:ROOT  a copy of a Linux machine's /sys below ROOT\n"
    "  TBT_HOST         the same values, used when --host is not given\n"
    "  With neither, this machine when it has /sys/bus/thunderbolt.\n"
    "\n"
    "Exit status: the low eight bits of the result code (0 on success);\n"
    "2 when the host cannot be chosen or its file is malformed.\n";

bool asksForHelp(const std::vector<char*>& args) {
  for (size_t i = 1; i < args.size(); ++i) {
    std::string_view arg = args[i];
    if (arg == "--") break;
    if (arg == "--help") return true;
  }
  return false;
}

// The simulated hardware time a run would have taken on real hardware.
void reportHardwareTime(const sim::SimHost& machine) {
  std::fprintf(stderr, "simulated hardware time: %.6f s, %" PRIu64 " configuration accesses\n",
               static_cast<double>(machine.hardwareTimeMicroseconds()) / 1e6, machine.configAccessCount());
}

}  // namespace

int updatecheckerMain(int argc, char** argv, const EntryCalls& calls) {
  std::vector<char*> args(argv, argv + argc);
  if (asksForHelp(args)) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  std::string error;
  auto chosen = chooseHost(args, &error);
  if (!chosen) {
    std::fprintf(stderr, "%s: %s\n", kProgramName, error.c_str());
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
  if (machine && driverFlags().verbose) reportHardwareTime(*machine);
  installPlatform(std::move(previous));
  return status;
}

}  // namespace tbt::cli
