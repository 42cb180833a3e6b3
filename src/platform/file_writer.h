#pragma once
// Writing an output file so that nothing is lost: a regular file (or a new
// one) is replaced whole or not at all, keeping its owner and mode; a
// device or FIFO is written in place and never replaced; a symbolic link is
// refused rather than replaced or followed.
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tbt {

/// Writes bytes to path. "-" means standard output. A regular file is
/// written to a new temporary file beside it (created exclusively, with the
/// old file's owner and mode, or the mode a new file gets), synced, renamed
/// over path, and the directory is synced; a device or FIFO is written
/// through as it is.
/// Returns "" or one line: "cannot write PATH: REASON".
std::string writeFileSafely(const std::string& path, std::span<const uint8_t> bytes);

/// The same for text.
std::string writeFileSafely(const std::string& path, std::string_view text);

/// For tests: a function the writer calls with the target's path once the
/// temporary file is written and closed, just before it checks that the path
/// still names the file it found and renames over it (null: none).
using BeforeReplaceHook = void (*)(const std::string& path);
void setBeforeReplaceHook(BeforeReplaceHook hook);

}  // namespace tbt
