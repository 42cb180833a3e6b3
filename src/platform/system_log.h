#pragma once
// The system log as the tools write it: each call is one line, sent to the
// host's syslog and echoed to standard error so that the person at the
// console sees the tool's reasoning as it happens.
#include <string>
#include <string_view>

namespace tbt {

/// Writes one log line to syslog and to standard error.
/// ident: the program name shown with the line ("updatechecker");
/// text: the message; one trailing newline is dropped.
/// The standard-error line reads "<timestamp> <ident>[<pid>] <text>", the
/// timestamp being local time as "2026-11-22 19:43:26.123".
void writeSystemLog(std::string_view ident, std::string_view text);


}  // namespace tbt
