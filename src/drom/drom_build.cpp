// DROM building: the header, one entry per port of the port map, the two
// names and the extra generic entries, then the length and both checksums.
#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>

#include "drom/checksums.h"
#include "drom/drom.h"
#include "drom/entry_layout.h"

namespace tbt {
namespace {

constexpr uint32_t kROMAllocSize = 4096;
// The security block is written in growing steps past the image end (0, 1,
// 3, ... 496 bytes on); the storage keeps that much room after the buffer so
// the steps stay inside it even for an image that fills the buffer.
constexpr size_t kSecurityBlockReach = 497;

// The builder's length field keeps 10 bits: the low byte and bits 9..8.
constexpr uint32_t kLengthHighBits = 0x3;

uint8_t adapterHead(uint8_t port) {
  return static_cast<uint8_t>(drom_layout::kAdapterEntryBit | (port & drom_layout::kPortOrTypeMask));
}

// An adapter entry of the given length: its head, then every field of the
// tables that fits in it.
template <class Fields>
std::vector<uint8_t> adapterEntry(uint8_t port, uint8_t length, const Fields& fields,
                                  std::initializer_list<std::span<const drom_layout::EntryField<Fields>>> tables) {
  std::vector<uint8_t> entry(length, 0);
  entry[0] = length;
  entry[1] = adapterHead(port);
  for (const auto& rows : tables) drom_layout::encodeFields(rows, fields, entry);
  return entry;
}

// Stores a name the way both setters do: at most 253 characters and the terminator.
uint16_t storeName(std::array<char, kDromGenericDataSize>& field, const char* name) {
  size_t n = std::min(std::strlen(name) + 1, field.size());
  field.fill(0);
  std::memcpy(field.data(), name, n - 1);
  return static_cast<uint16_t>(n);
}

}  // namespace

void DROM::romCopy(const uint8_t* source, size_t count) {
  if (mROMOffset >= mROMAllocSize) {
    print("ROM overrun!");
    return;
  }
  const size_t fits = std::min(count, mROMAllocSize - mROMOffset);
  if (fits > 0) std::memcpy(mROM.data() + mROMOffset, source, fits);
  if (mOutput.print) {
    std::string text;
    for (size_t i = 0; i < fits; ++i) appendf(text, "0x%02x ", source[i]);
    text += "\n";
    mOutput.print(text);
  }
  mROMOffset += fits;
  if (fits < count) print("ROM overrun!");
}

void DROM::encodeSimplePort(const PortRecord&, uint8_t port, bool disabled) {
  const uint8_t entry[] = {drom_layout::kSimpleEntryLength,
                           static_cast<uint8_t>(adapterHead(port) | (disabled ? drom_layout::kDisabledBit : 0))};
  appendEntry(entry);
}

void DROM::encodeNullPort(const PortRecord& record, uint8_t port) {
  if (record.disabled) return encodeSimplePort(record, port, true);
  appendEntry(adapterEntry(port, drom_layout::kLaneEntryLength, record.lane, {drom_layout::laneFields()}));
}

void DROM::encodePCIPort(const PortRecord& record, uint8_t port) {
  if (record.disabled) return encodeSimplePort(record, port, true);
  const uint8_t length = record.pci.isUpAdapter ? drom_layout::kPCIeUpEntryLength : drom_layout::kPCIeDownEntryLength;
  appendEntry(adapterEntry(port, length, record.pci, {drom_layout::pcieHeadFields(), drom_layout::pcieUpFields()}));
}

void DROM::encodeDPPort(const PortRecord& record, uint8_t port) {
  if (record.disabled) return encodeSimplePort(record, port, true);
  appendEntry(adapterEntry(port, drom_layout::kDPEntryLength, record.dp, {drom_layout::dpFields()}));
}

void DROM::setVendorName(const char* name) {
  if (name == nullptr) name = "";
  print("Set Vendor Name: '%s' size: %zu\n", name, std::strlen(name) + 1);
  mVendorNameLength = storeName(mVendorName, name);
}

void DROM::setModelName(const char* name) {
  if (name == nullptr) name = "";
  print("Set Model Name: '%s' size: %zu\n", name, std::strlen(name) + 1);
  mModelNameLength = storeName(mModelName, name);
}

void DROM::addGenericType(uint32_t type, std::vector<uint8_t> data) {
  mGenericsArray.emplace_back(type, std::move(data));
}

const PortRecord& DROM::builderRecord(uint32_t port) const {
  // Records are taken by port number, so the highest port of a full
  // 13-port map has no record of its own: it encodes from an empty one.
  static const PortRecord kEmpty{};
  return port < mGenericROM.ports.size() ? mGenericROM.ports[port] : kEmpty;
}

Status DROM::buildROM(uint32_t mode) {
  print("buildROM\n");
  mROMAllocSize = kROMAllocSize;
  mROMReady = false;
  mROM.assign(mROMAllocSize + kSecurityBlockReach, 0);
  mROMOffset = 0;
  appendHeader();
  if (mPortMap.empty() && mode != kBuildHeaderOnly) return status::kNotReady;
  if (mode == kBuildFullImage) {
    encodePorts();
    encodeNames();
    encodeGenerics();
  }
  finishHeader();
  mROMReady = true;
  return status::kSuccess;
}

void DROM::appendHeader() {
  using namespace drom_header;
  std::array<uint8_t, kSize> header{};
  drom_layout::writeLE(&header[kUid], mGenericROM.uid, 8);
  header[kCrc8] = crc8(&header[kUid], 8);
  print("CRC8: 0x%x Len: 0x%x\n", header[kCrc8], 8u);
  drom_layout::encodeFields(drom_layout::headerFields(), mGenericROM, header);
  appendEntry(header);
}

void DROM::encodePorts() {
  for (const PortMapPair& pair : mPortMap) {
    const uint8_t port = static_cast<uint8_t>(pair.port);
    const PortRecord& record = builderRecord(pair.port);
    switch (pair.type & kAdapterClassMask) {
      case kLaneAdapterClass:
        encodeNullPort(record, port);
        break;
      case kPCIeAdapterClass:
        encodePCIPort(record, port);
        break;
      case kDPAdapterClass:
        encodeDPPort(record, port);
        break;
      default:
        print("Found unknown adapter type, 0x%06x, for port %d", pair.type, static_cast<int>(pair.port));
        break;
    }
  }
}

void DROM::encodeNames() {
  // The vendor name's length is clamped to its field, the model name's is
  // taken as stored; a full 254-byte name wraps the entry's length byte.
  const uint16_t vendorLength = std::min<uint16_t>(mVendorNameLength, kDromGenericDataSize);
  appendGenericEntry(vendorLength + 2, kGenericVendorName, reinterpret_cast<const uint8_t*>(mVendorName.data()),
                     vendorLength);
  appendGenericEntry(mModelNameLength + 2, kGenericModelName, reinterpret_cast<const uint8_t*>(mModelName.data()),
                     mModelNameLength);
}

void DROM::encodeGenerics() {
  // Entries are meant to be short: data of 254 bytes or more gets a length
  // byte that no longer matches the (at most 254) bytes written.
  for (const auto& [type, data] : mGenericsArray)
    appendGenericEntry(data.size() + 2, type & drom_layout::kPortOrTypeMask, data.data(),
                       std::min(data.size(), kDromGenericDataSize));
}

void DROM::appendGenericEntry(size_t length, uint32_t type, const uint8_t* data, size_t count) {
  const uint8_t head[] = {static_cast<uint8_t>(length), static_cast<uint8_t>(type)};
  appendEntry(head);
  romCopy(data, count);
}

void DROM::finishHeader() {
  using namespace drom_header;
  const uint32_t length = static_cast<uint32_t>(mROMOffset) - kCrc32Start;
  mROM[kLength] = static_cast<uint8_t>(length);
  mROM[kLength + 1] = static_cast<uint8_t>((length >> 8) & kLengthHighBits);
  const uint32_t crc = crc32c(mROM.data() + kCrc32Start, static_cast<int32_t>(length));
  print("rawROMPtr %p crcROMPtr %p crcLength: %u\n", static_cast<const void*>(mROM.data()),
        static_cast<const void*>(mROM.data() + kCrc32Start), length);
  drom_layout::writeLE(&mROM[kCrc32], crc, 4);
  print("CRC32: 0x%x Len: 0x%x Offset: 0x%x\n", crc, length, kCrc32Start);
}

void DROM::loadParsedForm(const ParsedROM& parsed, uint32_t genericsCount) {
  ParsedROM& values = mGenericROM;
  values = ParsedROM{};
  mVendorName.fill(0);
  mVendorNameLength = 0;
  mModelName.fill(0);
  mModelNameLength = 0;
  mGenericsArray.clear();
  values.uid = parsed.uid;
  values.version = parsed.version;
  values.vendorID = parsed.vendorID;
  values.modelID = parsed.modelID;
  values.modelRev = parsed.modelRev;
  values.firmwareRev = parsed.firmwareRev;
  // The parser keeps port n at index n - 1, the builder at index n.
  for (size_t port = 1; port < values.ports.size(); ++port) values.ports[port] = parsed.ports[port - 1];
  const uint32_t count = std::min<uint32_t>(genericsCount, kDromGenericRecords);
  for (uint32_t i = 0; i < count; ++i) {
    const GenericRecord& record = parsed.generics[i];
    const char* text = reinterpret_cast<const char*>(record.data.data());
    if (record.type == kGenericVendorName && record.dataSize > 0)
      setVendorName(text);
    else if (record.type == kGenericModelName && record.dataSize > 0)
      setModelName(text);
    else if (record.type != kGenericVendorName && record.type != kGenericModelName)
      addGenericType(record.type, std::vector<uint8_t>(record.data.begin(), record.data.begin() + record.dataSize));
  }
}

}  // namespace tbt
