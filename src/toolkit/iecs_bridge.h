#pragma once
// The configuration bridge that a link controller offers as IECS device 3:
// through it one router reads and writes double words of another router's
// configuration space. The protocol is the same whether the IECS bytes travel
// through the kernel user client or through a parent router's link-controller
// mailbox; only the transport differs, so the transport is passed in.
//
// Bridges come in two forms, told apart by the identity word at offset 0:
//   direct form (0x8086):  8 bytes at offset 16 = data double word, then the
//                          address word with bit 31 set (bit 21 for a write);
//                          writing them performs the access, reading them
//                          back returns the data.
//   command form (0x0A27): address word (and data) at offset 9, then the
//                          four characters "CIOr" or "CIOw" at offset 16; the
//                          bridge clears offset 16 to 0 when it is done.
#include <cstdint>

#include "kernel/config_space.h"
#include "platform/platform.h"
#include "platform/status.h"

namespace tbt {

/// The IECS device number of the configuration bridge.
inline constexpr uint32_t kBridgeDevice = 3;

/// Identity words of the two bridge forms (offset 0 of the bridge).
inline constexpr uint32_t kDirectBridgeIdentity = 0x8086;
inline constexpr uint32_t kCommandBridgeIdentity = 0x0A27;

/// Bridge register offsets.
inline constexpr uint8_t kBridgeIdentityOffset = 0;
inline constexpr uint8_t kBridgeCommandAddressOffset = 9;
inline constexpr uint8_t kBridgeWindowOffset = 16;

/// Fields of the bridge's address word.
inline constexpr Bits kBridgeStart{31, 31};  // direct form: start the access
inline constexpr Bits kBridgeWrite{21, 21};  // direct form: the access is a write
inline constexpr Bits kBridgeSpace{20, 19};
inline constexpr Bits kBridgePort{18, 13};
inline constexpr Bits kBridgeIndex{12, 0};

/// Polling of hardware that signals completion: at most this many tries,
/// this far apart.
inline constexpr int kCompletionPolls = 50;
inline constexpr uint64_t kCompletionPollIntervalMicroseconds = 10'000;

/// Asks done() up to kCompletionPolls times, sleeping
/// kCompletionPollIntervalMicroseconds after each try that finds the hardware
/// still busy. Returns 0 as soon as done() is true, time-out after the last try.
template <typename Done>
Status pollForCompletion(Done done) {
  for (int poll = 0; poll < kCompletionPolls; ++poll) {
    if (done()) return status::kSuccess;
    host().sleepMicroseconds(kCompletionPollIntervalMicroseconds);
  }
  return status::kTimeout;
}

/// Byte transfers to the bridge device, implemented by each transport.
class BridgeTransport {
 public:
  virtual ~BridgeTransport() = default;
  /// Fills length bytes of data from the bridge's register offset.
  virtual Status read(uint8_t offset, uint32_t length, uint8_t* data) = 0;
  /// Sends length bytes of data to the bridge's register offset.
  virtual Status write(uint8_t offset, uint32_t length, const uint8_t* data) = 0;
};

/// Reads one double word (port, space, index) of the router behind the bridge.
/// outData is written only on success. Returns 0, unsupported for a bridge of
/// neither form, time-out when the command form never finishes, or the first
/// failing transfer's status.
Status bridgeConfigRead(BridgeTransport& transport, uint32_t port, uint32_t space, uint32_t index,
                        uint32_t& outData);

/// Writes one double word (port, space, index) of the router behind the
/// bridge. Statuses as bridgeConfigRead.
Status bridgeConfigWrite(BridgeTransport& transport, uint32_t port, uint32_t space, uint32_t index,
                         uint32_t data);

/// Little-endian packing of IECS bytes into double words, as the link
/// controller lays them out (byte 0 in bits 7..0).
uint32_t loadLittleEndian(const uint8_t* bytes);
void storeLittleEndian(uint32_t value, uint8_t* bytes);

}  // namespace tbt
