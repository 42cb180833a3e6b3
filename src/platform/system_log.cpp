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


}  // namespace


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
