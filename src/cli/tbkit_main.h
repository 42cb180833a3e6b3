#pragma once
// The diagnostics program's command framework: `tbkit FAMILY COMMAND ...`.
// A command family is a table of commands; a new family is one file that
// defines its table and one entry in the family list of tbkit_main.cpp.
// Every command gets --help and --verbose; a command that needs a host also
// gets --host (the host choice is made before the command runs).
#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/args.h"

namespace tbt::cli {

inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

/// What a running command sees: its arguments, its output streams and the
/// one-line error reporting every command uses.
class CommandContext {
 public:
  CommandContext(std::string commandName, const ParsedArgs& args, std::ostream& out, std::ostream& err)
      : name_(std::move(commandName)), args_(args), out_(out), err_(err) {}

  const ParsedArgs& args() const { return args_; }
  std::ostream& out() { return out_; }
  std::ostream& err() { return err_; }
  /// True with --verbose: log lines are shown on the error stream.
  bool verbose() const { return args_.has("verbose"); }

  /// Reads the option's value as a number of at most maxValue into value,
  /// which is left alone when the option is absent. Returns false after
  /// reporting a bad number (the command then returns kExitUsage).
  bool number(std::string_view option, uint64_t maxValue, uint64_t& value);
  /// Prints "tbkit FAMILY COMMAND: why" and returns kExitUsage.
  int usageError(const std::string& why);
  /// Prints "tbkit FAMILY COMMAND: why" and returns kExitFailure.
  int failure(const std::string& why);

 private:
  std::string name_;
  const ParsedArgs& args_;
  std::ostream& out_;
  std::ostream& err_;
};

/// One command of a family.
struct Command {
  const char* name;
  const char* operands;  // operand names for the usage line, "" for none
  const char* summary;   // one line
  const char* details;   // more help text, "" for none
  std::span<const OptionSpec> options;
  size_t minOperands = 0;
  size_t maxOperands = 0;
  bool needsHost = false;  // the command reaches hardware: --host applies
  int (*run)(CommandContext& context) = nullptr;
};

/// A family of commands: `tbkit NAME COMMAND`.
struct CommandFamily {
  const char* name;
  const char* summary;
  std::span<const Command> commands;
};

/// Runs tbkit with args (without the program name), printing to out and err.
/// Returns the exit status: 0, kExitFailure, or kExitUsage.
int runTbkit(std::span<const std::string> args, std::ostream& out, std::ostream& err);

/// The program's main: runTbkit on the process's arguments and streams.
int tbkitMain(int argc, char** argv);

/// Reads a whole file into bytes (at most maxSize). Returns "" or a one-line error.
std::string readFileBytes(const std::string& path, size_t maxSize, std::vector<uint8_t>& bytes);

/// Writes bytes to path through a temporary file in the same folder that is
/// renamed over path, so path never holds half a file. Returns "" or a one-line error.
std::string writeFileAtomically(const std::string& path, std::span<const uint8_t> bytes);

}  // namespace tbt::cli
