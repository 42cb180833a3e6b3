#include "sim/capability_chain.h"

#include "sim/register_fields.h"

namespace tbt::sim {
namespace {

constexpr BitField kFirstCapability{7, 0};
constexpr BitField kNextCapability{7, 0};
constexpr BitField kVendorLength{31, 24};
constexpr BitField kExtendedNext{15, 0};
// A chain of 8-bit pointers visits at most 256 distinct capabilities.
constexpr unsigned kMaxSteps = 256;
// Link-controller capability double word 2: the mailbox block's geometry.
constexpr uint32_t kMailboxGeometryDword = 2;
constexpr BitField kMailboxCount{3, 0};
constexpr BitField kMailboxOffset{15, 8};
constexpr BitField kMailboxStride{27, 16};

}  // namespace

std::optional<uint32_t> findDeviceCapability(const Router& router, uint32_t value, uint32_t mask) {
  uint32_t current = kFirstCapability.get(router.peek(0, kDeviceSpace, kRouterConfigDword));
  for (unsigned step = 0; step < kMaxSteps && current != 0; ++step) {
    uint32_t header = router.peek(0, kDeviceSpace, current);
    if ((header & mask) == value) return current;
    uint32_t next = kNextCapability.get(header);
    if (next == 0 && kVendorLength.get(header) == 0) {
      header = router.peek(0, kDeviceSpace, current + 1);
      next = kExtendedNext.get(header);
    }
    if (next == current) break;
    current = kNextCapability.get(header);
  }
  return std::nullopt;
}

std::optional<LinkControllerMailboxes> findLinkControllerMailboxes(const Router& router) {
  std::optional<uint32_t> header = findDeviceCapability(router, kLinkControllerCapability, kVendorCapabilityMask);
  if (!header) return std::nullopt;
  const uint32_t geometry = router.peek(0, kDeviceSpace, *header + kMailboxGeometryDword);
  return LinkControllerMailboxes{*header + kMailboxOffset.get(geometry), kMailboxCount.get(geometry),
                                 kMailboxStride.get(geometry)};
}

}  // namespace tbt::sim
