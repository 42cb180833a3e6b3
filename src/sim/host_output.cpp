// The simulated host's system log and standard output: always recorded, and
// echoed to the real streams and the system log when echo is on.
#include <cstdio>

#include "platform/system_log.h"
#include "sim/sim_host.h"

namespace tbt::sim {

namespace {
void writeAll(FILE* stream, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}
}  // namespace

void SimHost::log(std::string_view text) {
  if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  logLines_.emplace_back(text);
  if (echo_) writeSystemLog(ident_, text);
}

void SimHost::setLogIdent(std::string ident) { ident_ = std::move(ident); }

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
