#pragma once
// Command-line options and operands of one command, and the number and byte
// parsers commands share. Every error is one line of text naming what is
// wrong; an empty text means success.
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tbt::cli {

/// One option a command accepts: --name, --name=VALUE, --name VALUE, -x VALUE.
struct OptionSpec {
  const char* name;                 // long name without the dashes
  char shortName = 0;               // one-letter form, or 0
  const char* valueName = nullptr;  // shown in help; null for a flag
  const char* help = "";
  bool repeatable = false;  // may be given more than once
  bool required = false;
};

/// The options (in command-line order) and operands of one command line.
class ParsedArgs {
 public:
  /// True when the option was given.
  bool has(std::string_view name) const;
  /// The value of the option's last occurrence, or null when absent.
  const std::string* value(std::string_view name) const;
  /// Every value of a repeatable option, in order.
  std::vector<std::string> values(std::string_view name) const;
  const std::vector<std::string>& operands() const { return operands_; }

  void addOption(std::string name, std::string value) { options_.emplace_back(std::move(name), std::move(value)); }
  void addOperand(std::string operand) { operands_.push_back(std::move(operand)); }

 private:
  std::vector<std::pair<std::string, std::string>> options_;
  std::vector<std::string> operands_;
};

/// Parses args against specs into out; "--" ends the options. Returns "" or
/// a one-line error (unknown option, missing value, repeated option, missing
/// required option).
std::string parseArgs(std::span<const std::string> args, std::span<const OptionSpec> specs, ParsedArgs& out);

/// Parses decimal or 0x-hex text no larger than maxValue into value.
/// Returns "" or a one-line error.
std::string parseNumber(std::string_view text, uint64_t maxValue, uint64_t& value);

/// Parses hex digit pairs (an optional 0x prefix) into bytes. Returns "" or a one-line error.
std::string parseHexBytes(std::string_view text, std::vector<uint8_t>& bytes);

/// The help lines of the options: one per option, aligned.
std::string optionsHelp(std::span<const OptionSpec> specs);

}  // namespace tbt::cli
