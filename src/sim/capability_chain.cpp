#include "sim/capability_chain.h"

#include "sim/register_fields.h"

namespace tbt::sim {
namespace {

// Device-space double words that are registers of their own, never capabilities.
constexpr uint32_t kFirstCapabilityDword = 2;
// Link-controller capability double word 2: the mailbox block's geometry.
constexpr uint32_t kMailboxGeometryDword = 2;
constexpr BitField kMailboxCount{3, 0};
constexpr BitField kMailboxOffset{15, 8};
constexpr BitField kMailboxStride{27, 16};

}  // namespace

std::optional<uint32_t> findDeviceCapability(const Router& router, uint32_t value, uint32_t mask) {
  std::optional<uint32_t> found;
  router.forEachStored(0, kDeviceSpace, [&](uint32_t index, uint32_t word) {
    if (index >= kFirstCapabilityDword && (word & mask) == value && (!found || index < *found)) found = index;
  });
  return found;
}

std::optional<LinkControllerMailboxes> findLinkControllerMailboxes(const Router& router) {
  std::optional<uint32_t> header = findDeviceCapability(router, kLinkControllerCapability, kVendorCapabilityMask);
  if (!header) return std::nullopt;
  const uint32_t geometry = router.peek(0, kDeviceSpace, *header + kMailboxGeometryDword);
  return LinkControllerMailboxes{*header + kMailboxOffset.get(geometry), kMailboxCount.get(geometry),
                                 kMailboxStride.get(geometry)};
}

}  // namespace tbt::sim
