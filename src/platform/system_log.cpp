#include "platform/system_log.h"

#include <syslog.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

#include "platform/text.h"

namespace tbt {
namespace {

// Local time with milliseconds: "2026-11-22 19:43:26.123".
std::string timestamp() {
  auto now = std::chrono::system_clock::now();
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  std::tm local{};
  localtime_r(&seconds, &local);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &local);
  return textf("%s.%03d", date, static_cast<int>(ms));
}

// openlog keeps the pointer it is given, so the ident it was opened with
// lives here for the rest of the process; it is reopened when it changes.
void openSyslogAs(std::string_view ident) {
  static std::string opened;
  static bool isOpen = false;
  if (isOpen && opened == ident) return;
  opened.assign(ident);
  openlog(opened.c_str(), LOG_PID, LOG_USER);
  isOpen = true;
}

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

std::string escapeForLog(std::string_view value) {
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

void writeSystemLog(std::string_view ident, std::string_view text) {
  if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  openSyslogAs(ident);
  syslog(LOG_NOTICE, "%.*s", static_cast<int>(text.size()), text.data());
  std::string line = textf("%s %.*s[%d] %.*s\n", timestamp().c_str(), static_cast<int>(ident.size()), ident.data(),
                           static_cast<int>(getpid()), static_cast<int>(text.size()), text.data());
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

}  // namespace tbt
