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

/// text with every control character written as \xNN, so that a value read
/// from outside keeps a message on one line.
std::string escapeControls(std::string_view text);

}  // namespace tbt
