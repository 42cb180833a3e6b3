#include "platform/text.h"

#include <cstdio>

namespace tbt {

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

std::string escapeControls(std::string_view text) {
  std::string out;
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) appendf(out, "\\x%02x", byte);
    else out += c;
  }
  return out;
}

}  // namespace tbt
