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

/// value made safe to stand inside a log line: tab, newline and carriage
/// return written as \t, \n and \r, every other control character (C0, DEL,
/// C1) and every byte that is not part of well-formed UTF-8 as \xHH. Every
/// value that comes from outside the program (a path, a string from the
/// registry or a device, a message from a dictionary file) goes through it
/// before it is logged, so that it can neither start a line of its own nor
/// reach a terminal as a control sequence.
std::string escapeForLog(std::string_view value);

}  // namespace tbt
