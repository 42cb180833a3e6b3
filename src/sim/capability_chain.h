#pragma once
// Where a router's hardware has a capability. The host file declares a
// capability by storing its header in the router's device space; the model
// of what the capability does sits at that double word. The chain of next
// pointers that software walks to find it is data like any other: the
// simulation never walks it, so software that walks it wrongly (a broken or
// looping chain, a pointer cut short) does not find what the hardware has,
// as on a real router.
//
// The rule: a capability is at the lowest device-space double word, other
// than double words 0 (identity) and 1 (router configuration), whose stored
// value masked with the capability's mask equals its header value. A host
// file that stores a header value anywhere else in device space (say, in a
// mailbox's data) should place the real capability below it.
#include <cstdint>
#include <optional>

#include "sim/router.h"

namespace tbt::sim {

/// Device-space capabilities by their header masked with kVendorCapabilityMask
/// (vendor-specific ID and capability ID 5).
inline constexpr uint32_t kVendorCapabilityMask = 0xFFFF00;
inline constexpr uint32_t kDftCapability = 0x010500;
inline constexpr uint32_t kLinkControllerCapability = 0x060500;

/// The double-word index of router's device-space capability whose header,
/// masked with mask, equals value, by the rule above; nullopt when the host
/// file declares none.
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

/// The mailbox block of router's link controller; nullopt when the router
/// declares no link-controller capability.
std::optional<LinkControllerMailboxes> findLinkControllerMailboxes(const Router& router);

}  // namespace tbt::sim
