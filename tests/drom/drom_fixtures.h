#pragma once
// Helpers of the DROM tests: a DROM whose output is captured, and
// hand-made images with valid checksums.
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "drom/checksums.h"
#include "drom/drom.h"

namespace tbt::testing_drom {

using Bytes = std::vector<uint8_t>;

/// A DROM object whose printed and logged lines collect in `printed` and
/// `logged`, given the port map when there is one.
struct CapturedDROM {
  explicit CapturedDROM(std::span<const PortMapPair> map = {}) {
    if (!map.empty()) drom.setPortMap(map);
  }
  Status parse(const Bytes& image, bool ignoreCRCs = false) {
    return drom.parseROMDataIgnoreCRCs(image.data(), static_cast<uint32_t>(image.size()), ignoreCRCs);
  }
  std::string printed;
  std::string logged;
  DROM drom{DromOutput{[this](std::string_view t) { printed += t; }, [this](std::string_view t) { logged += t; }}};
};

/// The CRC-32 an image stores in bytes 9..12.
inline uint32_t storedCrc32(const uint8_t* image) {
  return image[9] | image[10] << 8 | image[11] << 16 | static_cast<uint32_t>(image[12]) << 24;
}

/// An image: the 22-byte header (uid 0x10 + rid 1, version, vendor 0x1234,
/// model 0x5678) followed by the entries; length and both checksums valid.
inline Bytes makeImage(const std::vector<Bytes>& entries, uint8_t version = 1) {
  Bytes image = {0, 0x11, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, version, 0, 0, 0x34, 0x12, 0x78, 0x56, 0, 0};
  for (const Bytes& entry : entries) image.insert(image.end(), entry.begin(), entry.end());
  const uint32_t length = static_cast<uint32_t>(image.size() - 13);
  image[14] = static_cast<uint8_t>(length);
  image[15] = static_cast<uint8_t>(length >> 8);
  image[0] = crc8(image.data() + 1, 8);
  const uint32_t crc = crc32c(image.data() + 13, static_cast<int32_t>(length));
  for (int i = 0; i < 4; ++i) image[9 + i] = static_cast<uint8_t>(crc >> (8 * i));
  return image;
}

/// A map of one port of each class: 1 lane, 2 PCIe, 3 DisplayPort.
inline const std::vector<PortMapPair> kOneOfEach = {{1, 0x1}, {2, 0x100101}, {3, 0x0E0101}};

}  // namespace tbt::testing_drom
