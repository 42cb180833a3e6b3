#pragma once
// Bit layouts of the image header's ID fields and of the three adapter entry
// kinds as data: one row per field, in the order the parser prints them. The
// parser decodes with the rows and the builder encodes with the same rows, so
// the two never disagree on where a field lives.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <variant>

#include "drom/rom_record.h"
#include "kernel/config_space.h"
#include "platform/text.h"

namespace tbt::drom_layout {

/// One field of an adapter entry or of the header.
template <class Fields>
struct EntryField {
  const char* format;  // the line printed when it is decoded; null: stored only
  uint8_t byte;        // offset from the entry's (or image's) first byte
  uint8_t size;        // 1 or 2 bytes, little-endian
  Bits bits;           // bit range within those bytes
  std::variant<uint8_t Fields::*, uint16_t Fields::*> member;
  uint8_t minEntryLength = 0;             // decoded only from entries at least this long
  uint8_t Fields::*decodeGate = nullptr;  // decoded only when this earlier field is set
  uint8_t Fields::*encodeGate = nullptr;  // encoded only when this field is set
  uint8_t encodeHi = 0;                   // when set: the encoder fills bits up to this one, the
                                          // parser still reads `bits` only
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

/// The header's version and ID fields (the UID, length and checksums are
/// handled on their own).
std::span<const EntryField<ParsedROM>> headerFields();
std::span<const EntryField<LanePortFields>> laneFields();
/// The PCIe fields before and after the derived isUpAdapter line.
std::span<const EntryField<PCIePortFields>> pcieHeadFields();
std::span<const EntryField<PCIePortFields>> pcieUpFields();
std::span<const EntryField<DPPortFields>> dpFields();

/// The count-byte (at most 8) little-endian number at bytes.
inline uint64_t readLE(const uint8_t* bytes, size_t count) {
  uint64_t value = 0;
  for (size_t i = count; i-- > 0;) value = (value << 8) | bytes[i];
  return value;
}

/// Stores the low count bytes of value little-endian at bytes.
inline void writeLE(uint8_t* bytes, uint64_t value, size_t count) {
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(value >> (8 * i));
}

/// Decodes rows from entry (available bytes readable from it, entryLength the
/// entry's length byte, 0 for the header) into fields, appending each printed
/// line to text. Returns false, leaving the remaining rows, when a field
/// would lie past the available bytes.
template <class Fields>
bool decodeFields(std::span<const EntryField<Fields>> rows, const uint8_t* entry, size_t available, uint8_t entryLength,
                  Fields& fields, std::string& text) {
  for (const auto& row : rows) {
    if (entryLength < row.minEntryLength) continue;
    if (row.decodeGate != nullptr && fields.*(row.decodeGate) == 0) continue;
    if (static_cast<size_t>(row.byte) + row.size > available) return false;
    uint32_t value = row.bits.of(static_cast<uint32_t>(readLE(entry + row.byte, row.size)));
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
    const Bits bits = row.encodeHi > row.bits.hi ? Bits{row.encodeHi, row.bits.lo} : row.bits;
    if (bits.hi == bits.lo) value = value != 0;
    uint8_t* at = entry.data() + row.byte;
    writeLE(at, readLE(at, row.size) | bits.place(value), row.size);
  }
}

}  // namespace tbt::drom_layout
