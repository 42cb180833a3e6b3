#pragma once
// Bit layouts of the three adapter entry kinds as data: one row per field,
// in the order the parser prints them. The parser decodes with the rows and
// the builder encodes with the same rows, so the two never disagree on where
// a field lives.
#include <cstdint>
#include <span>
#include <string>
#include <variant>

#include "drom/rom_record.h"
#include "platform/text.h"

namespace tbt::drom_layout {

/// One field of an adapter entry.
template <class Fields>
struct EntryField {
  const char* format;  // the line printed when it is decoded; null: stored only
  uint8_t byte;        // offset from the entry's first byte
  uint8_t size;        // 1 or 2 bytes, little-endian
  uint8_t hi;          // bit range within those bytes
  uint8_t lo;
  std::variant<uint8_t Fields::*, uint16_t Fields::*> member;
  uint8_t minEntryLength = 0;             // decoded only from entries at least this long
  uint8_t Fields::*decodeGate = nullptr;  // decoded only when this earlier field is set
  uint8_t Fields::*encodeGate = nullptr;  // encoded only when this field is set
};

/// Lane adapter entries: 8 bytes.
inline constexpr uint8_t kLaneEntryLength = 8;
/// PCIe entries: 11 bytes for an up adapter, 3 otherwise.
inline constexpr uint8_t kPCIeUpEntryLength = 11;
inline constexpr uint8_t kPCIeDownEntryLength = 3;
inline constexpr uint8_t kPCIeUpMinLength = 4;
/// DisplayPort entries: the builder writes the 5-byte (v2) form; 4-byte entries are v1.
inline constexpr uint8_t kDPEntryLength = 5;
inline constexpr uint8_t kDPv1EntryLength = 4;
/// Every entry starts with its length and the port or type byte: bit 7 marks
/// an adapter entry, bit 6 a disabled adapter, bits 5..0 hold the port
/// number (adapter entries) or the type (generic entries).
inline constexpr uint8_t kEntryHeadSize = 2;
inline constexpr uint8_t kAdapterEntryBit = 0x80;
inline constexpr uint8_t kDisabledBit = 0x40;
inline constexpr uint8_t kPortOrTypeMask = 0x3F;
/// A port-only entry: what a disabled adapter gets.
inline constexpr uint8_t kSimpleEntryLength = 2;

std::span<const EntryField<LanePortFields>> laneFields();
/// The PCIe fields before and after the derived isUpAdapter line.
std::span<const EntryField<PCIePortFields>> pcieHeadFields();
std::span<const EntryField<PCIePortFields>> pcieUpFields();
std::span<const EntryField<DPPortFields>> dpFields();

/// Reads the size-byte little-endian word at entry[byte].
inline uint32_t readWord(const uint8_t* entry, uint8_t byte, uint8_t size) {
  uint32_t word = entry[byte];
  if (size == 2) word |= static_cast<uint32_t>(entry[byte + 1]) << 8;
  return word;
}

inline uint32_t fieldMask(uint8_t hi, uint8_t lo) { return (1u << (hi - lo + 1)) - 1; }

/// Decodes rows from entry (available bytes readable from it, entryLength the
/// entry's length byte) into fields, appending each printed line to text.
/// Returns false, leaving the remaining rows, when a field would lie past
/// the available bytes.
template <class Fields>
bool decodeFields(std::span<const EntryField<Fields>> rows, const uint8_t* entry, size_t available, uint8_t entryLength,
                  Fields& fields, std::string& text) {
  for (const auto& row : rows) {
    if (entryLength < row.minEntryLength) continue;
    if (row.decodeGate != nullptr && fields.*(row.decodeGate) == 0) continue;
    if (static_cast<size_t>(row.byte) + row.size > available) return false;
    uint32_t value = (readWord(entry, row.byte, row.size) >> row.lo) & fieldMask(row.hi, row.lo);
    std::visit(
        [&](auto member) { fields.*member = static_cast<std::remove_reference_t<decltype(fields.*member)>>(value); },
        row.member);
    if (row.format != nullptr) appendf(text, row.format, value);
  }
  return true;
}

/// Encodes rows of fields into a zero-filled entry; rows past its end and
/// rows whose gate is clear are left out. One-bit fields are booleans.
template <class Fields>
void encodeFields(std::span<const EntryField<Fields>> rows, const Fields& fields, std::span<uint8_t> entry) {
  for (const auto& row : rows) {
    if (static_cast<size_t>(row.byte) + row.size > entry.size()) continue;
    if (row.encodeGate != nullptr && fields.*(row.encodeGate) == 0) continue;
    uint32_t value = std::visit([&](auto member) { return static_cast<uint32_t>(fields.*member); }, row.member);
    if (row.hi == row.lo) value = value != 0;
    uint32_t word = readWord(entry.data(), row.byte, row.size) | ((value & fieldMask(row.hi, row.lo)) << row.lo);
    entry[row.byte] = static_cast<uint8_t>(word);
    if (row.size == 2) entry[row.byte + 1] = static_cast<uint8_t>(word >> 8);
  }
}

}  // namespace tbt::drom_layout
