#pragma once
// The one way texts are built: printf-style with compiler format checking.
#include <cstdarg>
#include <string>
#include <string_view>

namespace tbt {

/// Formats like printf and returns the text.
std::string textf(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// va_list form of textf.
std::string vtextf(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

/// Appends formatted text to out.
void appendf(std::string& out, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// text made safe to stand inside one line of a log or an error: tab,
/// newline and carriage return written as \t, \n and \r, every other control
/// character (C0, DEL, C1) and every byte that is not part of well-formed
/// UTF-8 as \xHH. Every value that comes from outside the program (a path, a
/// string from the registry, a device or a host file, a message from a
/// dictionary file) goes through it before it is logged or quoted, so that it
/// can neither start a line of its own nor reach a terminal as a control
/// sequence.
std::string escapeControls(std::string_view value);

}  // namespace tbt
