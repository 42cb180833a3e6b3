#include "linux/debugfs_text.h"

#include <charconv>

#include "platform/text.h"

namespace tbt::linux_host {
namespace {

// Splits a line into blank-separated tokens (at most max of them).
std::vector<std::string_view> tokens(std::string_view line, size_t max) {
  std::vector<std::string_view> out;
  size_t i = 0;
  while (i < line.size() && out.size() < max) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r')) ++i;
    size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\r') ++i;
    if (i > start) out.push_back(line.substr(start, i - start));
  }
  return out;
}

// "0x" followed by hex digits, fitting 32 bits.
bool hexWord(std::string_view token, uint32_t& value) {
  if (token.size() < 3 || token[0] != '0' || (token[1] != 'x' && token[1] != 'X')) return false;
  const char* end = token.data() + token.size();
  auto [stop, error] = std::from_chars(token.data() + 2, end, value, 16);
  return error == std::errc() && stop == end;
}

// The status of an in-band failure text ("<not accessible>" ...).
Status failureOf(std::string_view rest) {
  // The kernel knows the capability's ID but cannot size it, so lists none of
  // its double words: that index is not offered, as an unlisted one.
  if (rest.rfind("<unknown capability", 0) == 0 || rest.rfind("<unsupported capability", 0) == 0)
    return status::kUnsupported;
  // "<not accessible>", "<capability read failed>": the hardware read failed.
  return status::kDeviceError;
}

}  // namespace

SpaceSnapshot parseSpaceText(std::string_view text) {
  SpaceSnapshot words;
  size_t lines = 0;
  while (!text.empty() && lines < kMaxListedLines) {
    size_t newline = text.find('\n');
    std::string_view line = text.substr(0, newline);
    text = newline == std::string_view::npos ? std::string_view() : text.substr(newline + 1);
    std::vector<std::string_view> t = tokens(line, 6);
    uint32_t index = 0;
    if (t.empty() || t[0][0] == '#' || !hexWord(t[0], index)) continue;
    ++lines;
    if (words.count(index)) continue;
    if (t.size() >= 2 && t[1][0] == '<') {
      size_t at = line.find('<');
      words[index] = ListedWord{0, failureOf(line.substr(at))};
      continue;
    }
    // regs: five fields; path and counters: four. The value is the last.
    ListedWord word;
    if ((t.size() != 4 && t.size() != 5) || !hexWord(t.back(), word.value)) continue;
    uint32_t relative = 0, capability = 0, vsec = 0;
    if (std::from_chars(t[1].data(), t[1].data() + t[1].size(), relative).ec == std::errc() && relative <= 0xffff)
      word.relative = static_cast<uint16_t>(relative);
    if (hexWord(t[2], capability) && capability <= 0xff) word.capability = static_cast<uint8_t>(capability);
    if (t.size() == 5 && hexWord(t[3], vsec) && vsec <= 0xff) word.vsec = static_cast<uint8_t>(vsec);
    words[index] = word;
  }
  return words;
}

std::string writeLines(uint32_t index, const uint32_t* values, uint32_t count) {
  std::string text;
  for (uint32_t i = 0; i < count; ++i) appendf(text, "0x%04x 0x%08x\n", index + i, values[i]);
  return text;
}

std::vector<std::string> splitOnLines(std::string_view text, size_t maxBytes) {
  std::vector<std::string> chunks;
  while (!text.empty()) {
    size_t take = text.size() <= maxBytes ? text.size() : text.rfind('\n', maxBytes - 1);
    if (take == std::string_view::npos) return {};
    if (take != text.size()) ++take;  // the newline goes with its line
    chunks.emplace_back(text.substr(0, take));
    text.remove_prefix(take);
  }
  return chunks;
}

}  // namespace tbt::linux_host
