#pragma once
// The few register fields that the simulated hardware itself needs to know.
#include <cstdint>

namespace tbt::sim {

/// A bit range of a double word, high bit first.
struct BitField {
  uint8_t hi, lo;
  constexpr uint32_t mask() const { return static_cast<uint32_t>((uint64_t{1} << (hi - lo + 1)) - 1) << lo; }
  constexpr uint32_t get(uint32_t word) const { return (word & mask()) >> lo; }
  constexpr uint32_t set(uint32_t word, uint32_t value) const { return (word & ~mask()) | ((value << lo) & mask()); }
};

/// Device space (adapter 0, space 2) double word 1.
inline constexpr uint32_t kRouterConfigDword = 1;
inline constexpr BitField kDepthField{22, 20};
inline constexpr BitField kMaxPortField{19, 14};
inline constexpr BitField kUpstreamPortField{13, 8};

/// Port space (space 1) double word 2: the adapter type.
inline constexpr uint32_t kAdapterTypeDword = 2;
inline constexpr BitField kAdapterTypeField{23, 0};
inline constexpr uint32_t kLaneAdapter = 0x000001;
inline constexpr uint32_t kHostInterfaceAdapter = 0x000002;

}  // namespace tbt::sim
