#pragma once
// The router configuration address and the few register fields that the
// access layers themselves interpret. One access moves one 32-bit double word.
#include <cstdint>

namespace tbt {

/// Configuration spaces, as numbered in every access.
inline constexpr uint32_t kPathSpace = 0;     // per port; two double words per hop entry
inline constexpr uint32_t kPortSpace = 1;     // per port (adapter)
inline constexpr uint32_t kDeviceSpace = 2;   // the router itself, port 0
inline constexpr uint32_t kCounterSpace = 3;  // per port; three double words per counter

/// A bit range hi..lo (inclusive) of a double word.
struct Bits {
  uint8_t hi;
  uint8_t lo;
  /// The field's value, shifted down.
  constexpr uint32_t of(uint32_t dword) const {
    const uint32_t width = hi - lo + 1u;
    const uint32_t mask = width >= 32 ? ~0u : (1u << width) - 1u;
    return (dword >> lo) & mask;
  }
};

/// Double words shared by the device space and the port space.
inline constexpr uint32_t kIdentityDword = 0;         // device space: vendor ID and device ID
inline constexpr uint32_t kFirstCapabilityDword = 1;  // bits 7..0: first capability pointer
inline constexpr uint32_t kDeviceRouteDword = 2;      // device space: the router's own route
inline constexpr uint32_t kAdapterTypeDword = 2;      // port space: adapter type

inline constexpr Bits kVendorID{15, 0};
inline constexpr Bits kDeviceID{31, 16};
inline constexpr Bits kFirstCapabilityPointer{7, 0};
inline constexpr Bits kAdapterType{23, 0};

/// Capability header (the capability's first double word).
inline constexpr Bits kCapabilityNext{7, 0};
inline constexpr Bits kCapabilityID{15, 8};
inline constexpr Bits kVsecID{23, 16};
inline constexpr Bits kVsecLength{31, 24};
/// Second double word of a long vendor-specific header.
inline constexpr Bits kCapabilityExtendedNext{15, 0};

/// The capability ID of a vendor-specific capability.
inline constexpr uint32_t kVendorSpecificCapability = 5;

}  // namespace tbt
