#include "driver/options.h"

#include <getopt.h>

#include "platform/platform.h"
#include "platform/text.h"

namespace tbt {

DriverFlags& driverFlags() {
  static DriverFlags flags;
  return flags;
}

void resetDriverFlags() { driverFlags() = DriverFlags{}; }

EntryOptions parseEntryOptions(int argc, char** argv) {
  static const option kLongOptions[] = {
      {"restart", no_argument, nullptr, 'r'}, {"arm", no_argument, nullptr, 'a'},
      {"backflash", no_argument, nullptr, 'b'}, {"no", no_argument, nullptr, 'n'},
      {"clean", no_argument, nullptr, 'c'},     {"ignore", no_argument, nullptr, 'i'},
      {"nomulti", no_argument, nullptr, 'm'},   {"nouid", no_argument, nullptr, 'u'},
      {"zero", no_argument, nullptr, 'z'},      {"version", no_argument, nullptr, 'v'},
      {"verbose", no_argument, nullptr, 'V'},   {nullptr, 0, nullptr, 0},
  };
  EntryOptions options;
  resetDriverFlags();  // the flags are this command line's, whatever ran before
  DriverFlags& flags = driverFlags();
  optind = 0;  // restart the parser's scan, also when called again in one process
  opterr = 1;
  int c;
  while ((c = getopt_long(argc, argv, "rabncimuzvV", kLongOptions, nullptr)) != -1) {
    switch (c) {
      case 'r':
        options.restart = true;
        options.arm = true;
        break;
      case 'a': options.arm = true; break;
      case 'b': options.backflash = true; break;
      case 'n': options.arm = false; break;
      case 'c': options.clean = true; break;
      case 'i': flags.ignore = true; break;
      case 'm': flags.multi = false; break;
      case 'u': flags.uid = false; break;
      case 'v': host().print(textf("Update Checker version %g\n", kUpdateCheckerVersion)); break;
      case 'V': flags.verbose = true; break;
      default: break;  // 'z', and '?' after the parser's own diagnostic
    }
  }
  options.firstOperand = optind;
  return options;
}

}  // namespace tbt
