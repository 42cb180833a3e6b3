#pragma once
// The capability chain of a router's device space as the hardware lays it
// out, walked over the stored double words (models bypassed) the way host
// software walks it, so that a model sits where software will look for it.
#include <cstdint>
#include <optional>

#include "sim/router.h"

namespace tbt::sim {

/// Device-space capabilities by their header masked with kVendorCapabilityMask
/// (vendor-specific ID and capability ID 5).
inline constexpr uint32_t kVendorCapabilityMask = 0xFFFF00;
inline constexpr uint32_t kDftCapability = 0x010500;
inline constexpr uint32_t kLinkControllerCapability = 0x060500;

/// The double-word index of the first device-space capability of router
/// whose header, masked with mask, equals value; nullopt when the chain holds
/// none. The first pointer is DW1 bits 7..0, each header's next pointer its
/// bits 7..0; a header with neither next pointer nor vendor length (bits
/// 31..24) keeps its pointer in the following double word, of which the low
/// byte is followed. The walk ends at a zero pointer, at a capability that
/// points to itself, or after 256 steps (a looping chain).
std::optional<uint32_t> findDeviceCapability(const Router& router, uint32_t value, uint32_t mask);

/// The link controller's mailbox block as its capability's double word 2
/// lays it out; the IECS mailboxes and the NVM mailbox sit in it.
struct LinkControllerMailboxes {
  uint32_t base;    // device-space index of the first mailbox: the capability plus bits 15..8
  uint32_t count;   // IECS mailboxes: bits 3..0
  uint32_t stride;  // double words from one IECS mailbox to the next: bits 27..16
};

/// Double words of a mailbox, from its base: where the data read in arrives.
inline constexpr uint32_t kMailboxReadDataDword = 116;
inline constexpr uint32_t kMailboxDataDwords = 16;

/// The mailbox block of router's link controller; nullopt when its chain has
/// no link-controller capability.
std::optional<LinkControllerMailboxes> findLinkControllerMailboxes(const Router& router);

}  // namespace tbt::sim
