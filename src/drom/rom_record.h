#pragma once
// The decoded form of a device ROM (DROM) image and the port map that says
// what kind of adapter each port is.
//
// Image layout, multi-byte fields little-endian:
//   0  CRC-8 of bytes 1..8          9  CRC-32C of `length` bytes from 13
//   1  UID (8 bytes)               13  version       14  length (2 bytes)
//  16  vendor ID   18  model ID    20  model rev.    21  firmware rev.
//  22  entries, up to offset length + 13
// Each entry starts with its length (including these two bytes) and a byte
// whose bit 7 marks an adapter entry (bit 6 disabled, bits 5..0 the port
// number) or a generic entry (bits 5..0 the type).
#include <array>
#include <cstddef>
#include <cstdint>

namespace tbt {

inline constexpr size_t kDromPortRecords = 13;
inline constexpr size_t kDromGenericRecords = 10;
inline constexpr size_t kDromGenericDataSize = 254;

/// Byte offsets of the image header.
namespace drom_header {
inline constexpr uint32_t kCrc8 = 0;
inline constexpr uint32_t kUid = 1;
inline constexpr uint32_t kCrc32 = 9;
/// The CRC-32 and the length field both count from here.
inline constexpr uint32_t kCrc32Start = 13;
inline constexpr uint32_t kVersion = 13;
inline constexpr uint32_t kLength = 14;
inline constexpr uint32_t kVendorId = 16;
inline constexpr uint32_t kModelId = 18;
inline constexpr uint32_t kModelRev = 20;
inline constexpr uint32_t kFirmwareRev = 21;
inline constexpr uint32_t kSize = 22;
}  // namespace drom_header

/// Generic entry types the parser names.
inline constexpr uint8_t kGenericVendorName = 1;
inline constexpr uint8_t kGenericModelName = 2;

/// Fields of a lane (null-port) adapter entry.
struct LanePortFields {
  uint8_t hasDualLinkPort = 0;
  uint8_t dualLinkBit4 = 0;  // stored and re-encoded, never printed
  uint8_t dualLinkPortRID = 0;
  uint8_t dualLinkPortNum = 0;
  uint8_t microType = 0;
  uint8_t microRID = 0;
  uint8_t microAID = 0;
  uint8_t hasPeerPort = 0;
  uint8_t peerPortRID = 0;
  uint8_t peerPortNum = 0;
  bool operator==(const LanePortFields&) const = default;
};

/// Fields of a PCIe adapter entry. isUpAdapter is not a stored bit: an entry
/// of 4 bytes or more is an up adapter's.
struct PCIePortFields {
  uint8_t pciDeviceNum = 0;
  uint8_t pciFunctionNum = 0;
  uint8_t isUpAdapter = 0;
  uint8_t isSlotDevice = 0;
  uint8_t isLeafDevice = 0;
  uint8_t hasAsymBandwidth = 0;
  uint16_t requiredBandwidth = 0;
  uint16_t maxBandwidth = 0;
  uint16_t requiredBandIn = 0;
  uint16_t maxBandIn = 0;
  bool operator==(const PCIePortFields&) const = default;
};

/// Fields of a DisplayPort adapter entry.
struct DPPortFields {
  uint8_t isCaptive = 0;
  uint16_t bandwidth = 0;
  uint8_t hasPreferredPort = 0;
  uint8_t preferredNullPort = 0;
  bool operator==(const DPPortFields&) const = default;
};

/// One port's record; which field group is meaningful follows from the port
/// map's adapter type for the port.
struct PortRecord {
  bool disabled = false;
  LanePortFields lane;
  PCIePortFields pci;
  DPPortFields dp;
  bool operator==(const PortRecord&) const = default;
};

/// One generic entry: its type and data bytes. Names are kept zero-terminated.
struct GenericRecord {
  uint8_t type = 0;
  uint8_t dataSize = 0;
  std::array<uint8_t, kDromGenericDataSize> data{};
  bool operator==(const GenericRecord&) const = default;
};

/// The parsed form of an image (and the builder's input, see DROM::genericROM).
struct ParsedROM {
  uint64_t uid = 0;
  uint8_t rid = 0;  // uid AND 0xF
  uint8_t version = 0;
  uint16_t size = 0;  // the length field
  uint16_t vendorID = 0;
  uint16_t modelID = 0;
  uint8_t modelRev = 0;
  uint8_t firmwareRev = 0;
  std::array<PortRecord, kDromPortRecords> ports{};
  std::array<GenericRecord, kDromGenericRecords> generics{};
  bool operator==(const ParsedROM&) const = default;
};

/// One port map pair: a port number and the adapter type word of that port.
struct PortMapPair {
  uint32_t port = 0;
  uint32_t type = 0;
  bool operator==(const PortMapPair&) const = default;
};

/// Adapter classes: bits 23..8 of a type word select the entry layout; the
/// low byte (direction or kind) does not matter to the entry format.
inline constexpr uint32_t kAdapterClassMask = 0xFFFF00;
inline constexpr uint32_t kLaneAdapterClass = 0x000000;
inline constexpr uint32_t kPCIeAdapterClass = 0x100100;
inline constexpr uint32_t kDPAdapterClass = 0x0E0100;

}  // namespace tbt
