#pragma once
// The diagnostics program's command framework: `tbkit FAMILY COMMAND ...`.
// A command family is a table of commands; a new family is one file that
// defines its table and one entry in the family list of tbkit_main.cpp.
// Every command gets --help and --verbose; a command that needs a host also
// gets --host (the host choice is made before the command runs), -V,
// --hardware-time (the simulated hardware time of the run, on standard error)
// and --save-host (the simulated host written back to its file at the end).
#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/args.h"
#include "platform/file_writer.h"

namespace tbt::sim {
class SimHost;
}

namespace tbt::cli {

inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

/// A space that a command's options address a block of: how many units it
/// has, and what an error says about it.
struct AddressSpace {
  uint64_t size;
  const char* why;  // "a configuration space has 0x2000 double words"
};

/// A router's configuration space: a configuration access's double-word index is 13 bits wide.
inline constexpr AddressSpace kConfigurationSpace = {0x2000, "a configuration space has 0x2000 double words"};
/// A switch's EEPROM and its NVM as the toolkit reaches them: by 16-bit byte addresses.
inline constexpr AddressSpace kSixteenBitAddresses = {0x10000, "addresses are 16 bits wide"};

/// What a running command sees: its arguments, its output streams and the
/// one-line error reporting every command uses.
class CommandContext {
 public:
  CommandContext(std::string commandName, const ParsedArgs& args, std::ostream& out, std::ostream& err)
      : name_(std::move(commandName)), args_(args), out_(out), err_(err) {}

  const ParsedArgs& args() const { return args_; }
  /// "FAMILY COMMAND" (or "COMMAND" for a command without a family).
  const std::string& name() const { return name_; }
  std::ostream& out() { return out_; }
  std::ostream& err() { return err_; }
  /// True with --verbose: log lines are shown on the error stream.
  bool verbose() const { return args_.has("verbose"); }
  /// The simulated machine a command that needs a host runs on, else null.
  sim::SimHost* simHost() const { return sim_; }
  void setSimHost(sim::SimHost* machine) { sim_ = machine; }

  /// Returns true when error is empty; otherwise reports "--option: error"
  /// as a usage error and returns false (the command then returns kExitUsage).
  bool checkOption(std::string_view option, const std::string& error);
  /// Reads the option's value as a number of at most maxValue into value,
  /// which is left alone when the option is absent. Returns false after
  /// reporting a bad number.
  bool number(std::string_view option, uint64_t maxValue, uint64_t& value);
  /// Reads the option's value as a size (a count or a length) of a block
  /// that starts at start (given by startOption) into size, which is left
  /// alone when the option is absent. Returns false after reporting a bad
  /// number or a block that reaches past the end of space.
  bool blockSize(std::string_view option, std::string_view startOption, uint64_t start, const AddressSpace& space,
                 uint64_t& size);
  /// Returns true when a block of size units from start (given by the two
  /// options) lies inside space; otherwise reports "--OPTION: at most N from
  /// --START S (why)" as a usage error and returns false.
  bool blockFits(std::string_view option, uint64_t size, std::string_view startOption, uint64_t start,
                 const AddressSpace& space);
  /// Reads the option's value as 1 to maxCount bytes in hex digit pairs into
  /// bytes, which is left alone when the option is absent. Returns false
  /// after reporting bad input.
  bool hexBytes(std::string_view option, size_t maxCount, std::vector<uint8_t>& bytes);
  /// Reads the router a command addresses: its route string from routeOption
  /// and its controller's router ID from --rid (see kRouterIDOption; 0 when
  /// absent). Returns false after reporting a bad number.
  bool router(std::string_view routeOption, uint64_t& route, uint8_t& routerID);
  /// Prints "tbkit FAMILY COMMAND: why" and returns kExitUsage. Like
  /// failure, it passes why through escapeControls: the values that errors
  /// quote (options, operands, file names, hosts) come from outside.
  int usageError(const std::string& why);
  /// Prints "tbkit FAMILY COMMAND: why" and returns kExitFailure; prints
  /// nothing once the output stream has failed (the program reports that).
  int failure(const std::string& why);

 private:
  std::string name_;
  const ParsedArgs& args_;
  std::ostream& out_;
  std::ostream& err_;
  sim::SimHost* sim_ = nullptr;
};

/// The --rid option of every command that addresses a router.
inline constexpr OptionSpec kRouterIDOption = {
    .name = "rid", .valueName = "N", .help = "the controller's router ID (default 0)"};

/// The options of base followed by more, for commands that share most of
/// their options.
template <size_t N, size_t M>
constexpr std::array<OptionSpec, N + M> withOptions(const std::array<OptionSpec, N>& base,
                                                   const OptionSpec (&more)[M]) {
  std::array<OptionSpec, N + M> options{};
  for (size_t i = 0; i < N; ++i) options[i] = base[i];
  for (size_t i = 0; i < M; ++i) options[N + i] = more[i];
  return options;
}

/// One command of a family.
struct Command {
  const char* name;
  const char* operands = "";  // operand names for the usage line, "" for none
  const char* summary = "";   // one line
  const char* details = "";   // more help text, "" for none
  std::span<const OptionSpec> options = {};
  size_t minOperands = 0;
  size_t maxOperands = 0;
  bool needsHost = false;  // the command reaches hardware: --host applies
  bool writes = false;     // the command writes registers (to drive pins or a mailbox, too)
  bool savesHost = false;  // the command always writes its simulated host back (as --save-host does)
  int (*run)(CommandContext& context) = nullptr;
};

/// A family of commands: `tbkit NAME COMMAND`.
struct CommandFamily {
  const char* name;
  const char* summary;
  std::span<const Command> commands;
};

/// Runs tbkit with args (without the program name), printing to out and err.
/// A command stops its work once out fails. Returns the exit status: 0,
/// kExitFailure (also when out has failed), or kExitUsage.
int runTbkit(std::span<const std::string> args, std::ostream& out, std::ostream& err);

/// The program's main: runTbkit on the process's arguments and streams, then
/// the check of standard output (see finishStandardOutput).
int tbkitMain(int argc, char** argv);

/// The bytes as two hex digits each, separated by blanks: "5a 17".
std::string hexText(std::span<const uint8_t> bytes);

/// Reads a whole regular file into bytes (at most maxSize). Returns "" or a
/// one-line error with the reason ("cannot read FILE: Is a directory").
std::string readFileBytes(const std::string& path, size_t maxSize, std::vector<uint8_t>& bytes);

/// Writes an output file as every command does (see writeFileSafely: "-" is
/// standard output, a device is written in place, a regular file replaced
/// whole). Returns "" or a one-line error.
inline std::string writeFileAtomically(const std::string& path, std::span<const uint8_t> bytes) {
  return writeFileSafely(path, bytes);
}

}  // namespace tbt::cli
