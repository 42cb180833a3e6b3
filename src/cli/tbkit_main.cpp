#include "cli/tbkit_main.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>

#include "cli/capture_command.h"
#include "cli/diff_command.h"
#include "cli/drom_commands.h"
#include "cli/eeprom_commands.h"
#include "cli/host_choice.h"
#include "cli/host_commands.h"
#include "cli/log_echo.h"
#include "cli/progress_line.h"
#include "cli/report_commands.h"
#include "cli/standard_output.h"
#include "cli/topology_commands.h"
#include "platform/file_reader.h"
#include "platform/platform.h"
#include "platform/text.h"

namespace tbt::cli {
namespace {

constexpr const char* kProgram = "tbkit";

// Every command family of the program, in the order help lists them.
const CommandFamily* const kFamilies[] = {
    &dromFamily(),  &listFamily(), &pathsFamily(),  &readFamily(), &writeFamily(),
    &iecsFamily(),  &eepromFamily(), &nvmFamily(), &reportFamily(), &captureFamily(),
    &hostFamily(),  &diffFamily(),
};

const OptionSpec kCommonOptions[] = {
    {.name = "help", .shortName = 'h', .help = "show this help and exit"},
    {.name = "verbose", .shortName = 'v', .help = "also show progress lines, and log lines on the error stream"},
    kQuietOption,
};

const OptionSpec kHostOption = {.name = "host",
                                .valueName = "sim|sim:FILE|linux|linux:ROOT",
                                .help =
                                    "the host: the built-in simulated host, one described by FILE, this "
                                    "Linux machine or a copy of its /sys below ROOT (default: $TBT_HOST, "
                                    "else this machine)"};
// Taken out of the arguments with --host (see takeSaveHostRequest); listed for help.
const OptionSpec kSaveHostSpec = {.name = "save-host",
                                  .help = "write the simulated host's state back to FILE at the end, after the "
                                          "restart the run asked for (also TBT_SAVE_HOST=1)"};
const OptionSpec kHardwareTimeOption = {.name = "hardware-time",
                                        .shortName = 'V',
                                        .help = "then the simulated hardware time and accesses, on standard error"};

std::vector<OptionSpec> optionsOf(const Command& command) {
  std::vector<OptionSpec> options(command.options.begin(), command.options.end());
  if (command.needsHost) options.insert(options.end(), {kHostOption, kSaveHostSpec, kHardwareTimeOption});
  options.insert(options.end(), std::begin(kCommonOptions), std::end(kCommonOptions));
  return options;
}

bool asksForHelp(std::span<const std::string> args) {
  for (const std::string& arg : args) {
    if (arg == "--") return false;
    if (arg == "--help" || arg == "-h") return true;
  }
  return false;
}

void printProgramHelp(std::ostream& out) {
  out << "usage: tbkit FAMILY COMMAND [options] [operands]\n"
         "Thunderbolt diagnostics: every toolkit operation from the command line.\n\n"
         "command families:\n";
  for (const CommandFamily* family : kFamilies) out << textf("  %-10s %s\n", family->name, family->summary);
  out << "\n'tbkit FAMILY --help' lists a family's commands; every command takes --help.\n"
         "'tbkit --version' prints the version.\n";
}

void printFamilyHelp(const CommandFamily& family, std::ostream& out) {
  out << textf("usage: tbkit %s COMMAND [options] [operands]\n%s\n\ncommands:\n", family.name, family.summary);
  int width = 10;
  for (const Command& command : family.commands) width = std::max(width, static_cast<int>(std::strlen(command.name)));
  for (const Command& command : family.commands) out << textf("  %-*s %s\n", width, command.name, command.summary);
}

// A family whose one command carries the family's own name is that command:
// `tbkit paths` rather than `tbkit paths paths`.
bool isSingleCommand(const CommandFamily& family) {
  return family.commands.size() == 1 && std::string_view(family.commands[0].name) == family.name;
}

// "drom parse", or "paths" for a single-command family.
std::string commandTitle(const CommandFamily& family, const Command& command) {
  return isSingleCommand(family) ? std::string(family.name) : textf("%s %s", family.name, command.name);
}

void printCommandHelp(const CommandFamily& family, const Command& command, std::ostream& out) {
  out << textf("usage: tbkit %s [options]%s%s\n%s\n", commandTitle(family, command).c_str(),
               *command.operands ? " " : "", command.operands, command.summary);
  if (*command.details) out << "\n" << command.details;
  std::vector<OptionSpec> options = optionsOf(command);
  out << "\noptions:\n" << optionsHelp(options);
}

const CommandFamily* findFamily(std::string_view name) {
  for (const CommandFamily* family : kFamilies)
    if (name == family->name) return family;
  return nullptr;
}

const Command* findCommand(const CommandFamily& family, std::string_view name) {
  for (const Command& command : family.commands)
    if (name == command.name) return &command;
  return nullptr;
}

// Takes --host and --save-host out of args and loads the host they name;
// installs it for the command's run, and the previous platform comes back
// when the guard ends.
class HostGuard {
 public:
  /// save: the command saves whatever the options say.
  std::string load(std::vector<std::string>& args, bool save) {
    std::vector<char*> raw{const_cast<char*>(kProgram)};
    for (std::string& arg : args) raw.push_back(arg.data());
    std::string error;
    const char* environment = std::getenv(kSaveHostEnvironmentVariable);
    std::optional<bool> asked = takeSaveHostRequest(raw, environment, &error);
    if (!asked) return error;
    saving_ = save || *asked;
    if (saving_) {
      const char* source = save ? "this command"
                           : args.size() + 1 != raw.size() ? kSaveHostOption
                                                           : "TBT_SAVE_HOST=1";
      std::string file;
      error = hostFileToSave(raw, source, &file);
      if (error.empty()) error = keeper_.remember(file);
      if (!error.empty()) return error;
    }
    std::optional<ChosenHost> chosen = chooseHost(raw, &error);
    if (!chosen) return error;
    args.assign(raw.begin() + 1, raw.end());
    sim_ = chosen->sim;
    loaded_ = std::move(chosen->platform);
    return std::string();
  }
  /// Installs the loaded host; with echoLog its log lines also go to err.
  void install(bool echoLog, std::ostream& err) {
    std::unique_ptr<Platform> platform = std::move(loaded_);
    if (echoLog) platform = echoingLog(std::move(platform), err);
    previous_ = installPlatform(std::move(platform));
    installed_ = true;
  }
  ~HostGuard() {
    if (installed_) installPlatform(std::move(previous_));
  }
  /// The installed machine when it is simulated, else null.
  sim::SimHost* sim() const { return sim_; }
  /// Ends a run that saves: the restart asked for, then the host written
  /// back (what that printed goes to out). "" or a one-line error.
  std::string finish(std::ostream& out) {
    if (!saving_ || !sim_) return std::string();
    std::string report;
    std::string error = keeper_.save(*sim_, report);
    out << report;
    return error;
  }

 private:
  std::unique_ptr<Platform> loaded_;
  std::unique_ptr<Platform> previous_;
  sim::SimHost* sim_ = nullptr;
  bool installed_ = false;
  bool saving_ = false;
  HostFileKeeper keeper_;
};

int runCommand(const CommandFamily& family, const Command& command, std::vector<std::string> args, std::ostream& out,
               std::ostream& err) {
  const std::string name = textf("%s %s", kProgram, commandTitle(family, command).c_str());
  if (asksForHelp(args)) {
    printCommandHelp(family, command, out);
    return kExitSuccess;
  }
  HostGuard host;
  if (command.needsHost) {
    std::string error = host.load(args, command.savesHost);
    if (!error.empty()) {
      err << name << ": " << escapeControls(error) << "\n";
      return kHostChoiceFailed;
    }
  }
  ParsedArgs parsed;
  std::vector<OptionSpec> options = optionsOf(command);
  CommandContext context(name, parsed, out, err);
  std::string error = parseArgs(args, options, parsed);
  if (!error.empty()) return context.usageError(error);
  const size_t operands = parsed.operands().size();
  if (operands < command.minOperands) return context.usageError(textf("missing %s", command.operands));
  if (operands > command.maxOperands)
    return context.usageError(textf("unexpected operand '%s'", parsed.operands()[command.maxOperands].c_str()));
  if (command.needsHost) host.install(context.verbose(), err);
  // A copy of a host's files takes no writes: say so before the command starts.
  if (command.writes) {
    const std::string refused = platform().writesRefusedBecause();
    if (!refused.empty()) return context.failure(refused);
  }
  context.setSimHost(host.sim());
  int status = command.run(context);
  if (host.sim() && parsed.has(kHardwareTimeOption.name)) err << hardwareTimeText(*host.sim());
  if (std::string saveError = host.finish(out); !saveError.empty()) status = context.failure(saveError);
  // Output that could not be written fails the command, however it ended.
  if (!out.flush()) status = kExitFailure;
  return status;
}

}  // namespace

bool CommandContext::checkOption(std::string_view option, const std::string& error) {
  if (error.empty()) return true;
  usageError(textf("--%.*s: %s", static_cast<int>(option.size()), option.data(), error.c_str()));
  return false;
}

bool CommandContext::number(std::string_view option, uint64_t maxValue, uint64_t& value) {
  const std::string* text = args_.value(option);
  return text == nullptr || checkOption(option, parseNumber(*text, maxValue, value));
}

bool CommandContext::blockSize(std::string_view option, std::string_view startOption, uint64_t start,
                               const AddressSpace& space, uint64_t& size) {
  uint64_t parsed = size;
  if (!number(option, UINT64_MAX, parsed) || !blockFits(option, parsed, startOption, start, space)) return false;
  size = parsed;
  return true;
}

bool CommandContext::blockFits(std::string_view option, uint64_t size, std::string_view startOption, uint64_t start,
                               const AddressSpace& space) {
  if (start <= space.size && size <= space.size - start) return true;
  usageError(textf("--%.*s: at most 0x%llx from --%.*s 0x%llx (%s)", static_cast<int>(option.size()), option.data(),
                   static_cast<unsigned long long>(start < space.size ? space.size - start : 0),
                   static_cast<int>(startOption.size()), startOption.data(), static_cast<unsigned long long>(start),
                   space.why));
  return false;
}

bool CommandContext::hexBytes(std::string_view option, size_t maxCount, std::vector<uint8_t>& bytes) {
  const std::string* text = args_.value(option);
  if (text == nullptr) return true;
  std::vector<uint8_t> parsed;
  std::string error = parseHexBytes(*text, parsed);
  if (error.empty() && (parsed.empty() || parsed.size() > maxCount)) error = textf("give 1 to %zu bytes", maxCount);
  if (!checkOption(option, error)) return false;
  bytes = std::move(parsed);
  return true;
}

bool CommandContext::router(std::string_view routeOption, uint64_t& route, uint8_t& routerID) {
  uint64_t id = routerID;
  if (!number(routeOption, UINT64_MAX, route) || !number(kRouterIDOption.name, UINT8_MAX, id)) return false;
  routerID = static_cast<uint8_t>(id);
  return true;
}

int CommandContext::usageError(const std::string& why) {
  err_ << name_ << ": " << escapeControls(why) << " (see --help)\n";
  return kExitUsage;
}

int CommandContext::failure(const std::string& why) {
  // Once the output has failed, that failure is the one the program reports.
  if (!out_) return kExitFailure;
  err_ << name_ << ": " << escapeControls(why) << "\n";
  return kExitFailure;
}

int runTbkit(std::span<const std::string> args, std::ostream& out, std::ostream& err) {
  if (args.empty()) {
    err << kProgram << ": missing command family (see tbkit --help)\n";
    return kExitUsage;
  }
  if (args[0] == "--help" || args[0] == "-h") {
    printProgramHelp(out);
    return kExitSuccess;
  }
  if (args[0] == "--version") {
    out << kProgram << " (" << TBT_PROJECT_NAME << ") " << TBT_VERSION << "\n";
    return kExitSuccess;
  }
  const CommandFamily* family = findFamily(args[0]);
  if (family == nullptr) {
    err << kProgram << ": unknown command family '" << escapeControls(args[0]) << "' (see tbkit --help)\n";
    return kExitUsage;
  }
  if (isSingleCommand(*family))
    return runCommand(*family, family->commands[0], std::vector<std::string>(args.begin() + 1, args.end()), out, err);
  if (args.size() < 2) {
    err << kProgram << " " << family->name << ": missing command (see tbkit " << family->name << " --help)\n";
    return kExitUsage;
  }
  if (args[1] == "--help" || args[1] == "-h") {
    printFamilyHelp(*family, out);
    return kExitSuccess;
  }
  const Command* command = findCommand(*family, args[1]);
  if (command == nullptr) {
    err << kProgram << " " << family->name << ": unknown command '" << escapeControls(args[1]) << "' (see tbkit "
        << family->name << " --help)\n";
    return kExitUsage;
  }
  return runCommand(*family, *command, std::vector<std::string>(args.begin() + 2, args.end()), out, err);
}

int tbkitMain(int argc, char** argv) {
  std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
  StandardOutputBuffer buffer;
  std::ostream out(&buffer);
  const int status = runTbkit(args, out, std::cerr);
  return finishStandardOutput(kProgram, status, buffer.error(), true);
}

std::string hexText(std::span<const uint8_t> bytes) {
  std::string text;
  for (uint8_t byte : bytes) appendf(text, "%s%02x", text.empty() ? "" : " ", byte);
  return text;
}

std::string readFileBytes(const std::string& path, size_t maxSize, std::vector<uint8_t>& bytes) {
  std::string data;
  std::string reason = readRegularFile(path, maxSize, data);
  if (!reason.empty()) return textf("cannot read %s: %s", path.c_str(), reason.c_str());
  bytes.assign(data.begin(), data.end());
  return std::string();
}

}  // namespace tbt::cli
