// DROM parsing: the header with its two checksums, then the entry walk.
//
// The walk trusts nothing in the image: it never reads past the buffer, ends
// at an entry too short to hold its own two-byte head (a zero length would
// otherwise revisit the same entry forever), and skips adapter entries whose
// port the map names but the parsed form has no record for, going on with
// the entries after them.
#include <algorithm>
#include <cstring>

#include "drom/checksums.h"
#include "drom/drom.h"
#include "drom/entry_layout.h"

namespace tbt {
namespace {

using drom_layout::readLE;

// Decodes rows into fields and prints the lines they make in one piece.
template <class Fields>
bool decodeAndPrint(const DromOutput& output, std::span<const drom_layout::EntryField<Fields>> rows,
                    const uint8_t* entry, size_t available, uint8_t entryLength, Fields& fields) {
  std::string text;
  const bool inside = drom_layout::decodeFields(rows, entry, available, entryLength, fields, text);
  if (output.print) output.print(text);
  return inside;
}

}  // namespace

Status DROM::parseROMData(const uint8_t* buffer, uint32_t size) { return parseROMDataIgnoreCRCs(buffer, size, false); }

Status DROM::parseROMDataIgnoreCRCs(const uint8_t* buffer, uint32_t size, bool ignoreCRCs) {
  logLine("parseROMData\n");
  if (buffer == nullptr) return status::kBadArgument;
  hexDumpWidth(buffer, size, 16);
  fParsedROM = ParsedROM{};
  if (mPortMap.empty()) return status::kNotReady;
  if (size < drom_header::kSize) {
    print("ROM buffer of %u bytes is shorter than the %u-byte header\n", size, drom_header::kSize);
    return status::kGeneralFailure;
  }
  Status result = parseHeader(buffer, size, ignoreCRCs);
  if (result != status::kSuccess) return result;
  return walkEntries(buffer, size);
}

Status DROM::parseHeader(const uint8_t* buffer, uint32_t size, bool ignoreCRCs) {
  using namespace drom_header;
  print("CRC8: 0x%x Len: 0x%x\n", buffer[kCrc8], 8u);
  uint8_t crc = crc8(buffer + kUid, 8);
  if (crc != buffer[kCrc8]) {
    print("CRC8: 0x%x != 0x%x\n", buffer[kCrc8], crc);
    if (!ignoreCRCs) return status::kChecksumMismatch;
  }

  fParsedROM.uid = readLE(buffer + kUid, 8);
  fParsedROM.rid = static_cast<uint8_t>(fParsedROM.uid & 0xF);
  print("uid: 0x%llx\n", static_cast<unsigned long long>(fParsedROM.uid));
  print("rid: 0x%x\n", fParsedROM.rid);

  const auto headerFields = drom_layout::headerFields();
  decodeAndPrint(mOutput, headerFields.first(1), buffer, size, 0, fParsedROM);
  if (fParsedROM.version > 1) print("Trying to parse an unknown style ROM (Version %u)\n", fParsedROM.version);

  // The length counts from offset 13, yet the check compares it with the
  // whole buffer; a short buffer is caught again by the checksum and the walk.
  uint16_t length = static_cast<uint16_t>(readLE(buffer + kLength, 2));
  fParsedROM.size = length;
  print("Size: %u ROM buffer size: %u\n", length, size);
  if (size < length) return status::kGeneralFailure;

  uint32_t storedCrc = static_cast<uint32_t>(readLE(buffer + kCrc32, 4));
  print("CRC32: 0x%x Len: 0x%x\n", storedCrc, length);
  uint32_t covered = std::min<uint32_t>(length, size - kCrc32Start);
  if (covered < length)
    print("CRC32 covers 0x%x bytes but the buffer holds 0x%x after offset 0x%x\n", length, covered, kCrc32Start);
  uint32_t computed = crc32c(buffer + kCrc32Start, static_cast<int32_t>(covered));
  if (computed != storedCrc) {
    print("CRC32: 0x%x != 0x%x\n", storedCrc, computed);
    if (!ignoreCRCs) return status::kChecksumMismatch;
  }
  decodeAndPrint(mOutput, headerFields.subspan(1), buffer, size, 0, fParsedROM);
  return status::kSuccess;
}

Status DROM::walkEntries(const uint8_t* buffer, uint32_t size) {
  Status result = status::kSuccess;
  const uint32_t end = static_cast<uint32_t>(fParsedROM.size) + drom_header::kCrc32Start;
  uint32_t offset = drom_header::kSize;
  while (offset < end) {
    print("parsing entry at offset 0x%x %u\n", offset, offset);
    if (offset >= size) {
      print("overstepped buffer size!\n");
      print("offset 0x%x size 0x%x\n", offset, end);
      return status::kGeneralFailure;
    }
    const uint8_t* entry = buffer + offset;
    const size_t available = size - offset;
    if (entry[0] < drom_layout::kEntryHeadSize) {
      print("entry length %u at offset 0x%x is shorter than its 2-byte head\n", entry[0], offset);
      result = status::kGeneralFailure;
      break;
    }
    bool inside = available >= drom_layout::kEntryHeadSize &&
                  ((entry[1] & drom_layout::kAdapterEntryBit) ? parseAdapterEntry(entry, available, result)
                                                              : parseGenericEntry(entry, available));
    if (!inside) {
      print("entry at offset 0x%x reaches past the buffer end 0x%x\n", offset, size);
      result = status::kGeneralFailure;
      break;
    }
    offset += entry[0];
  }
  print("offset 0x%x size 0x%x\n", offset, end);
  return result;
}

bool DROM::parseGenericEntry(const uint8_t* entry, size_t available) {
  if (mGenericsCount >= kDromGenericRecords) return true;
  const uint8_t entryLength = entry[0];
  if (entryLength > available) return false;
  GenericRecord& record = fParsedROM.generics[mGenericsCount];
  ++mGenericsCount;
  record.type = entry[1] & drom_layout::kPortOrTypeMask;
  record.dataSize = static_cast<uint8_t>(entryLength - drom_layout::kEntryHeadSize);
  print("Generic Entry: 0x%x\n", mGenericsCount);
  print("type: 0x%x\n", record.type);
  print("entryLength: %u dataSize: 0x%x\n", entryLength, record.dataSize);
  std::memcpy(record.data.data(), entry + drom_layout::kEntryHeadSize, record.dataSize);
  const char* text = reinterpret_cast<const char*>(record.data.data());
  if (record.type == kGenericVendorName) {
    record.data.back() = 0;
    print("Vendor Name; '%s'\n", text);
  } else if (record.type == kGenericModelName) {
    record.data.back() = 0;
    print("Model Name; '%s'\n", text);
  } else {
    print("Unknown generic type\n");
  }
  return true;
}

bool DROM::parseAdapterEntry(const uint8_t* entry, size_t available, Status& result) {
  const uint32_t port = entry[1] & drom_layout::kPortOrTypeMask;
  print("portNum: 0x%x\n", port);
  const PortMapPair* pair = findPort(port);
  if (pair == nullptr) {
    print("Could not find port %d in port map!\n", static_cast<int>(port));
    return true;
  }
  // A map may name adapters the parsed form has no record for.
  if (port == 0 || port > kDromPortRecords) {
    print("portNum %u is outside the %zu port records; entry skipped\n", port, kDromPortRecords);
    result = status::kGeneralFailure;
    return true;
  }
  const uint32_t adapterClass = pair->type & kAdapterClassMask;
  if (adapterClass != kLaneAdapterClass && adapterClass != kPCIeAdapterClass && adapterClass != kDPAdapterClass) {
    print("Unknown adpater type: 0x%06x\n", pair->type);
    result = status::kGeneralFailure;
    return true;
  }
  PortRecord& record = fParsedROM.ports[port - 1];
  record.disabled = (entry[1] & drom_layout::kDisabledBit) != 0;
  print("disabled: 0x%x\n", record.disabled ? 1u : 0u);
  if (record.disabled) return true;
  return decodeAdapterFields(adapterClass, entry, available, record);
}

bool DROM::decodeAdapterFields(uint32_t adapterClass, const uint8_t* entry, size_t available, PortRecord& record) {
  using namespace drom_layout;
  const uint8_t entryLength = entry[0];
  if (adapterClass == kLaneAdapterClass)
    return decodeAndPrint(mOutput, laneFields(), entry, available, entryLength, record.lane);
  if (adapterClass == kPCIeAdapterClass) {
    if (!decodeAndPrint(mOutput, pcieHeadFields(), entry, available, entryLength, record.pci)) return false;
    record.pci.isUpAdapter = entryLength >= kPCIeUpMinLength;
    print("isUpAdapter: %u\n", record.pci.isUpAdapter);
    return decodeAndPrint(mOutput, pcieUpFields(), entry, available, entryLength, record.pci);
  }
  if (entryLength > kDPv1EntryLength) print("DP Port v2 - entryLength: 0x%x\n", entryLength);
  return decodeAndPrint(mOutput, dpFields(), entry, available, entryLength, record.dp);
}

}  // namespace tbt
