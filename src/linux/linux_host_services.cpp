// Host services of a real Linux machine.
#include <errno.h>
#include <time.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "linux/linux_parts.h"
#include "platform/plist.h"
#include "platform/system_log.h"
#include "platform/text.h"

namespace tbt::linux_host {
namespace {

// The wait status of a shell that could not start its command (exit 127).
constexpr int kNotRunStatus = 127 << 8;

}  // namespace

int LinuxHostServices::shell(const std::string& command) {
  if (copy_) {
    log(textf("Command not run for a copy of a host: '%s'\n", escapeControls(command).c_str()));
    return kNotRunStatus;
  }
  return std::system(command.c_str());
}

void LinuxHostServices::sleepMicroseconds(uint64_t microseconds) {
  timespec wanted{static_cast<time_t>(microseconds / 1000000), static_cast<long>(microseconds % 1000000) * 1000};
  while (nanosleep(&wanted, &wanted) != 0 && errno == EINTR) {
  }
}

uint64_t LinuxHostServices::nowMicroseconds() {
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
          .count());
}

void LinuxHostServices::log(std::string_view text) { writeSystemLog(program_invocation_short_name, text); }

void LinuxHostServices::print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

std::optional<PropertyDict> LinuxHostServices::readPropertyList(const std::string& path) {
  return readPropertyListFile(path);
}

}  // namespace tbt::linux_host
