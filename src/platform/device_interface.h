#pragma once
// The controller driver's user-client interface: a plug-in created for a
// controller's registry entry hands out a device interface, a table of
// operations. Configuration data travels big-endian in the buffer.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/registry.h"
#include "platform/status.h"

namespace tbt {

/// Versions of the device interface; version 2 is asked for first.
inline constexpr uint32_t kDeviceInterfaceV1 = 1;
inline constexpr uint32_t kDeviceInterfaceV2 = 2;

/// A configuration double word as it travels in the buffer (big-endian).
constexpr uint32_t loadBigEndian(const uint8_t* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}
constexpr void storeBigEndian(uint32_t value, uint8_t* bytes) {
  bytes[0] = static_cast<uint8_t>(value >> 24);
  bytes[1] = static_cast<uint8_t>(value >> 16);
  bytes[2] = static_cast<uint8_t>(value >> 8);
  bytes[3] = static_cast<uint8_t>(value);
}

/// IECS transaction direction and mode values.
inline constexpr uint32_t kIecsDirectionRead = 0;
inline constexpr uint32_t kIecsDirectionWrite = 1;

/// Double-word indexes of a configuration access are 13 bits wide.
inline constexpr uint32_t kConfigIndexCount = 0x2000;

/// Double-word indexes first to last (inclusive).
struct IndexRange {
  uint32_t first = 0;
  uint32_t last = 0;
  bool operator==(const IndexRange&) const = default;
};

/// Sorts ranges and joins those that overlap or touch.
inline void joinRanges(std::vector<IndexRange>& ranges) {
  std::sort(ranges.begin(), ranges.end(), [](const IndexRange& a, const IndexRange& b) { return a.first < b.first; });
  size_t kept = 0;
  for (const IndexRange& r : ranges) {
    if (kept > 0 && uint64_t{ranges[kept - 1].last} + 1 >= r.first) ranges[kept - 1].last = std::max(ranges[kept - 1].last, r.last);
    else ranges[kept++] = r;
  }
  ranges.resize(kept);
}

/// One open device interface of one controller. Destroying it is the release entry.
class DeviceInterface {
 public:
  virtual ~DeviceInterface() = default;
  /// Reads count double words; buffer receives them big-endian.
  virtual Status configRead(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t count,
                            uint8_t* buffer) = 0;
  /// Writes count double words given big-endian in buffer.
  virtual Status configWrite(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t count,
                             const uint8_t* buffer) = 0;
  /// The indexes of a space that the backend knows something about, by
  /// ascending index: every index outside them answers a read alike (the
  /// same value or the same failure), so that one read stands for them all.
  /// A backend that cannot tell lists every index (the default).
  virtual std::vector<IndexRange> listedIndexes(uint64_t /*route*/, uint32_t /*port*/, uint32_t /*space*/) {
    return {{0, kConfigIndexCount - 1}};
  }
  virtual Status rescanBus() = 0;
  /// Writes writeLength bytes, then reads readLength bytes, at the I2C address.
  virtual Status i2cTransaction(uint64_t route, uint8_t address, uint32_t writeLength, const uint8_t* writeBuffer,
                                uint32_t readLength, uint8_t* readBuffer) = 0;
  /// Moves length bytes at offset of an IECS device; direction 1 writes the
  /// buffer, 0 fills it. Mode is 1 or 2 as the caller chooses by bus.
  virtual Status iecsTransaction(uint64_t route, uint32_t bus, uint32_t device, uint8_t offset, uint32_t length,
                                 uint8_t* buffer, uint32_t direction, uint32_t mode) = 0;
};

/// A plug-in object created for one controller entry.
class ControllerPlugIn {
 public:
  virtual ~ControllerPlugIn() = default;
  /// Asks for the device interface of the given version; null when the
  /// controller does not offer it.
  virtual std::unique_ptr<DeviceInterface> queryInterface(uint32_t version) = 0;
};

/// The platform's plug-in mechanism for the controller driver.
class ControllerDriver {
 public:
  virtual ~ControllerDriver() = default;
  /// Creates the plug-in for a controller entry; a non-zero status on failure.
  virtual Status createPlugIn(const RegistryEntry& controller, std::unique_ptr<ControllerPlugIn>& out) = 0;
};

}  // namespace tbt
