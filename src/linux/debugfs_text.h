#pragma once
// The text of the kernel's debugfs register files (regs, path, counters):
// one header line, then one line per double word,
//   0x0039    0 0x04 0x00 0xc009048f        (regs: offset, relative offset, capability, VSEC, value)
//   0x0010    0 0x08 0x80000000             (path, counters: offset, relative offset, ID, value)
// and failures in band: "0x0039 <not accessible>", "0x0039 <capability read
// failed>", "0x0039 <unknown capability 0x12>", "0x0039 <unsupported capability 0x12>".
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/status.h"

namespace tbt::linux_host {

/// One listed double word: its value, or why it cannot be read, and where
/// the file places it (regs: the capability and VSEC IDs; path and counters:
/// the hop or counter ID as the capability; relative: the index inside it).
struct ListedWord {
  uint32_t value = 0;
  Status status = status::kSuccess;
  uint8_t capability = 0;
  uint8_t vsec = 0;
  uint16_t relative = 0;
};

/// The double words a file lists, by absolute index. An index it does not
/// list cannot be read through it.
using SpaceSnapshot = std::map<uint32_t, ListedWord>;

/// At most this many lines are taken from one file (a configuration space has
/// 8192 double words); the rest is ignored.
inline constexpr size_t kMaxListedLines = 0x2000;

/// Parses a file's text. Lines that fit none of the forms are skipped; the
/// first line that lists an index wins.
SpaceSnapshot parseSpaceText(std::string_view text);

/// The lines that write count double words from index: "0x%04x 0x%08x\n"
/// each (the kernel parses them with %i, so a bare leading 0 would be octal).
std::string writeLines(uint32_t index, const uint32_t* values, uint32_t count);

/// Splits text into chunks of at most maxBytes that end on line boundaries
/// (the kernel takes at most 4096 bytes per write() and parses whole lines).
/// A line longer than maxBytes cannot be split and gives no chunks.
std::vector<std::string> splitOnLines(std::string_view text, size_t maxBytes);

}  // namespace tbt::linux_host
