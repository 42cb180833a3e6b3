#include "cli/args.h"

#include <algorithm>
#include <limits>

#include "platform/text.h"

namespace tbt::cli {
namespace {

const OptionSpec* findLong(std::span<const OptionSpec> specs, std::string_view name) {
  for (const OptionSpec& spec : specs)
    if (name == spec.name) return &spec;
  return nullptr;
}

const OptionSpec* findShort(std::span<const OptionSpec> specs, char name) {
  for (const OptionSpec& spec : specs)
    if (spec.shortName != 0 && spec.shortName == name) return &spec;
  return nullptr;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool hasHexPrefix(std::string_view text) {
  return text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

// Splits one argument into the option it names and an attached value.
std::string resolveOption(std::span<const OptionSpec> specs, const std::string& arg, const OptionSpec*& spec,
                          std::string& attached, bool& hasAttached) {
  hasAttached = false;
  if (arg.starts_with("--")) {
    std::string_view body = std::string_view(arg).substr(2);
    size_t equals = body.find('=');
    if (equals != std::string_view::npos) {
      attached = std::string(body.substr(equals + 1));
      hasAttached = true;
      body = body.substr(0, equals);
    }
    spec = findLong(specs, body);
  } else {
    spec = arg.size() == 2 ? findShort(specs, arg[1]) : nullptr;
  }
  return spec == nullptr ? textf("unknown option %s", arg.c_str()) : std::string();
}

}  // namespace

bool ParsedArgs::has(std::string_view name) const { return value(name) != nullptr; }

const std::string* ParsedArgs::value(std::string_view name) const {
  for (auto it = options_.rbegin(); it != options_.rend(); ++it)
    if (it->first == name) return &it->second;
  return nullptr;
}

std::vector<std::string> ParsedArgs::values(std::string_view name) const {
  std::vector<std::string> found;
  for (const auto& [option, value] : options_)
    if (option == name) found.push_back(value);
  return found;
}

std::string parseArgs(std::span<const std::string> args, std::span<const OptionSpec> specs, ParsedArgs& out) {
  bool optionsEnded = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
      out.addOperand(arg);
      continue;
    }
    if (arg == "--") {
      optionsEnded = true;
      continue;
    }
    const OptionSpec* spec = nullptr;
    std::string value;
    bool hasAttached = false;
    std::string error = resolveOption(specs, arg, spec, value, hasAttached);
    if (!error.empty()) return error;
    if (spec->valueName == nullptr && hasAttached) return textf("--%s takes no value", spec->name);
    if (spec->valueName != nullptr && !hasAttached) {
      if (i + 1 >= args.size()) return textf("--%s needs a value (%s)", spec->name, spec->valueName);
      value = args[++i];
    }
    if (!spec->repeatable && out.has(spec->name)) return textf("--%s given more than once", spec->name);
    out.addOption(spec->name, value);
  }
  for (const OptionSpec& spec : specs)
    if (spec.required && !out.has(spec.name)) return textf("missing --%s", spec.name);
  return std::string();
}

std::string parseNumber(std::string_view text, uint64_t maxValue, uint64_t& value) {
  const bool hex = hasHexPrefix(text);
  std::string_view digits = hex ? text.substr(2) : text;
  const uint64_t base = hex ? 16 : 10;
  if (digits.empty())
    return textf("'%.*s' is not a number (decimal or 0x-hex)", static_cast<int>(text.size()), text.data());
  uint64_t result = 0;
  for (char c : digits) {
    int digit = hexDigit(c);
    if (digit < 0 || static_cast<uint64_t>(digit) >= base)
      return textf("'%.*s' is not a number (decimal or 0x-hex)", static_cast<int>(text.size()), text.data());
    if (result > (std::numeric_limits<uint64_t>::max() - static_cast<uint64_t>(digit)) / base)
      return textf("%.*s is out of range (at most 0x%llx)", static_cast<int>(text.size()), text.data(),
                   static_cast<unsigned long long>(maxValue));
    result = result * base + static_cast<uint64_t>(digit);
  }
  if (result > maxValue)
    return textf("%.*s is out of range (at most 0x%llx)", static_cast<int>(text.size()), text.data(),
                 static_cast<unsigned long long>(maxValue));
  value = result;
  return std::string();
}

std::string parseHexBytes(std::string_view text, std::vector<uint8_t>& bytes) {
  std::string_view digits = hasHexPrefix(text) ? text.substr(2) : text;
  if (digits.size() % 2 != 0)
    return textf("'%.*s' has an odd number of hex digits", static_cast<int>(text.size()), text.data());
  std::vector<uint8_t> result;
  for (size_t i = 0; i < digits.size(); i += 2) {
    int high = hexDigit(digits[i]);
    int low = hexDigit(digits[i + 1]);
    if (high < 0 || low < 0) return textf("'%.*s' is not hex bytes", static_cast<int>(text.size()), text.data());
    result.push_back(static_cast<uint8_t>(high << 4 | low));
  }
  bytes = std::move(result);
  return std::string();
}

std::string optionsHelp(std::span<const OptionSpec> specs) {
  std::vector<std::string> heads;
  size_t widest = 0;
  for (const OptionSpec& spec : specs) {
    std::string head =
        spec.shortName != 0 ? textf("-%c, --%s", spec.shortName, spec.name) : textf("    --%s", spec.name);
    if (spec.valueName != nullptr) appendf(head, " %s", spec.valueName);
    widest = std::max(widest, head.size());
    heads.push_back(std::move(head));
  }
  std::string text;
  for (size_t i = 0; i < specs.size(); ++i)
    appendf(text, "  %-*s  %s%s%s\n", static_cast<int>(widest), heads[i].c_str(), specs[i].help,
            specs[i].required ? " (required)" : "", specs[i].repeatable ? " (repeatable)" : "");
  return text;
}

}  // namespace tbt::cli
