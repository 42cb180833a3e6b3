#include "platform/text.h"

#include <cstdio>

namespace tbt {
namespace {

// The length of the well-formed UTF-8 sequence of a multi-byte character at
// the start of bytes (lead byte 0xC2..0xF4), or 0 when there is none there.
size_t utf8SequenceLength(std::string_view bytes) {
  const auto at = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = at(0);
  const size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                        : lead >= 0xE0 && lead <= 0xEF ? 3
                        : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                       : 0;
  if (length == 0 || bytes.size() < length) return 0;
  // The second byte's range excludes overlong forms, surrogates and code
  // points above U+10FFFF.
  const unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (at(1) < low || at(1) > high) return 0;
  for (size_t i = 2; i < length; ++i)
    if (at(i) < 0x80 || at(i) > 0xBF) return 0;
  return length;
}

}  // namespace

std::string vtextf(const char* format, va_list args) {
  char small[256];
  va_list copy;
  va_copy(copy, args);
  int n = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (n < 0) return std::string();
  if (static_cast<size_t>(n) < sizeof small) return std::string(small, static_cast<size_t>(n));
  std::string out(static_cast<size_t>(n) + 1, '\0');
  std::vsnprintf(out.data(), out.size(), format, args);
  out.resize(static_cast<size_t>(n));
  return out;
}

std::string textf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string out = vtextf(format, args);
  va_end(args);
  return out;
}

void appendf(std::string& out, const char* format, ...) {
  va_list args;
  va_start(args, format);
  out += vtextf(format, args);
  va_end(args);
}

std::string escapeControls(std::string_view value) {
  std::string out;
  out.reserve(value.size());
  for (size_t i = 0; i < value.size();) {
    const auto c = static_cast<unsigned char>(value[i]);
    if (c >= 0x20 && c < 0x7F) {
      out += value[i++];
      continue;
    }
    const size_t length = c >= 0x80 ? utf8SequenceLength(value.substr(i)) : 0;
    // U+0080..U+009F (0xC2 0x80..0x9F) are the C1 control characters.
    const bool c1 = length == 2 && c == 0xC2 && static_cast<unsigned char>(value[i + 1]) < 0xA0;
    if (length != 0 && !c1) {
      out.append(value.substr(i, length));
      i += length;
      continue;
    }
    const size_t count = c1 ? 2 : 1;
    for (size_t k = 0; k < count; ++k) {
      const auto byte = static_cast<unsigned char>(value[i + k]);
      if (byte == '\n') out += "\\n";
      else if (byte == '\t') out += "\\t";
      else if (byte == '\r') out += "\\r";
      else appendf(out, "\\x%02x", byte);
    }
    i += count;
  }
  return out;
}

}  // namespace tbt
