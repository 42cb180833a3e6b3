#pragma once
// The router configuration address and the register fields that more than
// one layer interprets. One access moves one 32-bit double word.
#include <cstdint>

namespace tbt {

/// Configuration spaces, as numbered in every access.
inline constexpr uint32_t kPathSpace = 0;     // per port; two double words per hop entry
inline constexpr uint32_t kPortSpace = 1;     // per port (adapter)
inline constexpr uint32_t kDeviceSpace = 2;   // the router itself, port 0
inline constexpr uint32_t kCounterSpace = 3;  // per port; three double words per counter

/// The name of a space as the commands take and print it ("path", "port",
/// "device", "counter"); null for a number that is not a space.
constexpr const char* configSpaceName(uint32_t space) {
  constexpr const char* kNames[] = {"path", "port", "device", "counter"};
  return space < 4 ? kNames[space] : nullptr;
}

/// A bit range hi..lo (inclusive) of a double word.
struct Bits {
  uint8_t hi;
  uint8_t lo;
  /// The field's mask, not shifted.
  constexpr uint32_t mask() const {
    const uint32_t width = hi - lo + 1u;
    return width >= 32 ? ~0u : (1u << width) - 1u;
  }
  /// The field's value, shifted down.
  constexpr uint32_t of(uint32_t dword) const { return (dword >> lo) & mask(); }
  /// value placed into the field (bits above the field's width are cut).
  constexpr uint32_t place(uint32_t value) const { return (value & mask()) << lo; }
};

/// Double words shared by the device space and the port space.
inline constexpr uint32_t kIdentityDword = 0;         // device space: vendor ID and device ID
inline constexpr uint32_t kFirstCapabilityDword = 1;  // bits 7..0: first capability pointer
inline constexpr uint32_t kDeviceRouteDword = 2;      // device space: the router's own route
inline constexpr uint32_t kAdapterTypeDword = 2;      // port space: adapter type

/// Port space double words that size the adapter's other spaces.
inline constexpr uint32_t kCountersDword = 1;  // Max Counters
inline constexpr uint32_t kHopDword = 5;       // Max In HopID
inline constexpr Bits kMaxCounters{18, 8};     // counters, three double words each
inline constexpr Bits kMaxInHopID{10, 0};      // the highest hop entry, two double words each
inline constexpr uint32_t kPathEntryDwords = 2;
inline constexpr uint32_t kCounterDwords = 3;

inline constexpr Bits kVendorID{15, 0};
inline constexpr Bits kDeviceID{31, 16};
inline constexpr Bits kFirstCapabilityPointer{7, 0};
inline constexpr Bits kAdapterType{23, 0};

/// Adapter types, as port space double word 2 and the registry's
/// "Adapter Type" carry them.
inline constexpr uint32_t kLaneAdapterType = 0x000001;  // a lane (link) adapter
inline constexpr uint32_t kNHIAdapterType = 0x000002;   // the host interface
inline constexpr uint32_t kDPInAdapterType = 0x0E0101;
inline constexpr uint32_t kDPOutAdapterType = 0x0E0102;
inline constexpr uint32_t kPCIDownAdapterType = 0x100101;
inline constexpr uint32_t kPCIUpAdapterType = 0x100102;

/// Capability header (the capability's first double word).
inline constexpr Bits kCapabilityNext{7, 0};
inline constexpr Bits kCapabilityID{15, 8};
inline constexpr Bits kVsecID{23, 16};
inline constexpr Bits kVsecLength{31, 24};
/// Second double word of a long vendor-specific header.
inline constexpr Bits kCapabilityExtendedNext{15, 0};

/// The capability ID of a vendor-specific capability.
inline constexpr uint32_t kVendorSpecificCapability = 5;

/// Search keys of the vendor-specific capabilities of a router's device
/// space: the first double word masked with kVendorCapabilityMask (capability
/// ID and vendor-specific ID) equals the key.
inline constexpr uint32_t kVendorCapabilityMask = 0xFFFF00;
inline constexpr uint32_t kDftCapabilityKey = 0x010500;             // EEPROM pins, DROM offset
inline constexpr uint32_t kLinkControllerCapabilityKey = 0x060500;  // mailboxes

/// Double word 2 of the link-controller capability describes its mailboxes.
inline constexpr uint32_t kLinkControllerMailboxDword = 2;
struct LinkControllerMailboxFields {
  Bits count{3, 0};     // number of mailboxes
  Bits offset{15, 8};   // first mailbox, in double words from the capability
  Bits length{27, 16};  // distance between two mailboxes, in double words
};
inline constexpr LinkControllerMailboxFields kLinkControllerMailbox{};

}  // namespace tbt
