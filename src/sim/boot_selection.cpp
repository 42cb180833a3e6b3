// The boot-selection command of the simulated shell. It accepts the
// firmware-utility form only (a mounted volume, the utility, its payloads
// and options); anything else is a usage error and registers nothing.
#include "sim/boot_selection.h"

#include <cctype>

#include "platform/text.h"
#include "sim/sim_host.h"

namespace tbt::sim {
namespace {

// Characters that a backslash escapes inside double quotes; before any other
// character the backslash stays.
bool escapableInDoubleQuotes(char c) { return c == '$' || c == '`' || c == '"' || c == '\\' || c == '\n'; }

// The expansion that starts at line[i] ('$' or '`'), as written; empty when
// the '$' starts none (a lone '$' is literal).
std::string_view expansionAt(std::string_view line, size_t i) {
  if (line[i] == '`') {
    size_t end = line.find('`', i + 1);
    return line.substr(i, end == std::string_view::npos ? std::string_view::npos : end - i + 1);
  }
  if (i + 1 >= line.size()) return {};
  const char next = line[i + 1];
  if (next == '(' || next == '{') {
    size_t end = line.find(next == '(' ? ')' : '}', i + 2);
    return line.substr(i, end == std::string_view::npos ? std::string_view::npos : end - i + 1);
  }
  size_t end = i + 1;
  while (end < line.size() && (std::isalnum(static_cast<unsigned char>(line[end])) || line[end] == '_')) ++end;
  if (end == i + 1 && std::string_view("?!#$*@-0123456789").find(next) != std::string_view::npos) end = i + 2;
  return line.substr(i, end - i == 1 ? 0 : end - i);
}

struct Splitter {
  std::string_view line;
  ShellWords out;
  std::string word;
  bool inWord = false;
  size_t expansionEnd = 0;  // characters before this belong to a noted expansion

  void endWord() {
    if (inWord) out.words.push_back(std::move(word));
    word.clear();
    inWord = false;
  }
  // Notes an expansion starting at i; its characters stay in the word.
  void noteExpansion(size_t i) {
    if (i < expansionEnd) return;
    std::string_view e = expansionAt(line, i);
    if (e.empty()) return;
    out.expansions.emplace_back(e);
    expansionEnd = i + e.size();
  }
  // One character outside quotes; returns the index of the last one used.
  size_t plain(size_t i) {
    const char c = line[i];
    if (std::isspace(static_cast<unsigned char>(c))) {
      endWord();
      return i;
    }
    inWord = true;
    if (c == '\\' && i + 1 < line.size()) {
      if (line[i + 1] != '\n') word += line[i + 1];  // backslash-newline joins lines
      return i + 1;
    }
    if (c == '$' || c == '`') noteExpansion(i);
    word += c;
    return i;
  }
  // One character inside double quotes.
  size_t doubleQuoted(size_t i) {
    const char c = line[i];
    if (c == '\\' && i + 1 < line.size() && escapableInDoubleQuotes(line[i + 1])) {
      if (line[i + 1] != '\n') word += line[i + 1];
      return i + 1;
    }
    if (c == '$' || c == '`') noteExpansion(i);
    word += c;
    return i;
  }
};

}  // namespace

int bootSelectionCommand(SimHost& host, const std::string& command) {
  std::string error;
  if (!parseBootSelection(command, &error)) {
    host.shellPrint(textf("bless: %s\n", error.c_str()));
    return kShellUsageError;
  }
  host.setScheduledBootEntry(command);
  return 0;
}

ShellWords splitShellWords(std::string_view line) {
  Splitter s{line, {}, {}, false, 0};
  char quote = 0;
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (quote == '\'') {
      if (c == '\'') quote = 0;
      else s.word += c;
    } else if (quote == '"') {
      if (c == '"') quote = 0;
      else i = s.doubleQuoted(i);
    } else if (c == '\'' || c == '"') {
      quote = c;
      s.inWord = true;
    } else {
      i = s.plain(i);
    }
  }
  s.out.complete = quote == 0;
  s.endWord();
  return std::move(s.out);
}

std::optional<BootSelection> parseBootSelection(std::string_view commandLine, std::string* error) {
  auto fail = [&](std::string reason) -> std::optional<BootSelection> {
    if (error) *error = std::move(reason);
    return std::nullopt;
  };
  ShellWords split = splitShellWords(commandLine);
  if (!split.complete) return fail("unterminated quote");
  const std::vector<std::string>& w = split.words;
  if (w.empty() || w[0] != kBootSelectionPath) return fail("not a boot-selection command");
  BootSelection selection;
  for (size_t i = 1; i < w.size(); i += 2) {
    if (i + 1 >= w.size()) return fail(textf("option %s needs a value", w[i].c_str()));
    const std::string& value = w[i + 1];
    if (w[i] == "-mount") selection.mount = value;
    else if (w[i] == "-firmware") selection.firmware = value;
    else if (w[i] == "-payload") selection.payloads.push_back(value);
    else if (w[i] == "-options") selection.options = value;
    else return fail(textf("unknown option %s", w[i].c_str()));
  }
  if (selection.firmware.empty()) return fail("-firmware is required");
  if (selection.mount.empty()) return fail("-mount is required with -firmware");
  return selection;
}

std::optional<BootSelection> bootSelection(const SimHost& host) {
  const std::optional<std::string>& entry = host.scheduledBootEntry();
  if (!entry) return std::nullopt;
  return parseBootSelection(*entry);
}

}  // namespace tbt::sim
