#include "driver/options.h"

#include <getopt.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/platform.h"
#include "platform/text.h"

namespace tbt {
namespace {

constexpr const char* kShortOptions = "rabncimuzvV";

// The long-option parser's own diagnostic for the argument it has just
// refused, word for word, but written here with the parser kept quiet: the
// program's name and the argument come from outside, and a control
// character in them must not reach the terminal.
std::string parserDiagnostic(char** argv, const option* longOptions) {
  const std::string program = escapeControls(argv[0] ? argv[0] : "");
  if (optopt != 0 && std::strchr(kShortOptions, optopt) == nullptr) {
    const char c = static_cast<char>(optopt);
    return textf("%s: invalid option -- '%s'\n", program.c_str(), escapeControls(std::string_view(&c, 1)).c_str());
  }
  // A long option: the argument just passed over.
  const std::string_view argument = argv[optind - 1];
  if (optopt != 0) {
    const option* o = longOptions;
    while (o->name && o->val != optopt) ++o;
    return textf("%s: option '--%s' doesn't allow an argument\n", program.c_str(), o->name ? o->name : "");
  }
  const std::string_view name = argument.substr(2, argument.find('=') - 2);
  std::string possibilities;
  int matches = 0;
  for (const option* o = longOptions; o->name; ++o)
    if (std::string_view(o->name).starts_with(name)) {
      appendf(possibilities, " '--%s'", o->name);
      ++matches;
    }
  if (matches > 1)
    return textf("%s: option '%s' is ambiguous; possibilities:%s\n", program.c_str(),
                 escapeControls(argument).c_str(), possibilities.c_str());
  return textf("%s: unrecognized option '%s'\n", program.c_str(), escapeControls(argument).c_str());
}

}  // namespace

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
  opterr = 0;  // the diagnostic is made by parserDiagnostic
  int c;
  while ((c = getopt_long(argc, argv, kShortOptions, kLongOptions, nullptr)) != -1) {
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
      case '?': std::fputs(parserDiagnostic(argv, kLongOptions).c_str(), stderr); break;
      default: break;  // 'z'
    }
  }
  options.firstOperand = optind;
  return options;
}

}  // namespace tbt
