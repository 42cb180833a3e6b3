// The simulated host's system log and standard output: always recorded, and
// echoed to the real streams and the system log when echo is on.
#include <syslog.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>

#include "platform/text.h"
#include "sim/sim_host.h"

namespace tbt::sim {

namespace {
std::string timestamp() {
  using namespace std::chrono;
  auto now = system_clock::now();
  std::time_t t = system_clock::to_time_t(now);
  std::tm tm{};
  localtime_r(&t, &tm);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &tm);
  auto ms = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
  return textf("%s.%03d", date, static_cast<int>(ms));
}

void writeAll(FILE* stream, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}
}  // namespace

void SimHost::log(std::string_view text) {
  if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  logLines_.emplace_back(text);
  if (echo_) echoLogLine(text);
}

void SimHost::echoLogLine(std::string_view text) {
  std::string line = textf("%s %s[%d] ", timestamp().c_str(), ident_.c_str(), static_cast<int>(getpid()));
  line.append(text);
  line += '\n';
  writeAll(stderr, line);
  if (!syslogOpen_) {
    // openlog keeps the ident pointer: ident_ lives as long as this host.
    openlog(ident_.c_str(), LOG_PID, LOG_USER);
    syslogOpen_ = true;
  }
  std::string body(text);
  syslog(LOG_NOTICE, "%s", body.c_str());
}

void SimHost::closeSystemLog() {
  if (syslogOpen_) closelog();
  syslogOpen_ = false;
}

void SimHost::setLogIdent(std::string ident) {
  closeSystemLog();
  ident_ = std::move(ident);
}

void SimHost::print(std::string_view text) {
  printed_.append(text);
  if (echo_) writeAll(stdout, text);
}

void SimHost::shellPrint(std::string_view text) {
  shellOutput_.append(text);
  if (echo_) writeAll(stdout, text);
}

void SimHost::clearOutput() {
  logLines_.clear();
  printed_.clear();
  shellOutput_.clear();
}

}  // namespace tbt::sim
