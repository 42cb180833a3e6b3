#pragma once
// The one walk of a router's capability chain, with the hardware's
// workarounds in one place: the capability search goes through it, and so
// does anything that lists every capability.
#include <cstdint>
#include <functional>

#include "kernel/router_handle.h"
#include "platform/status.h"

namespace tbt {

/// Called for each capability with its double-word index and its first
/// double word; returns true to end the walk at that capability.
using CapabilityVisitor = std::function<bool(uint8_t index, uint32_t header)>;

/// Walks the capability chain of (port, space) of the router behind handle,
/// calling visit for each capability in chain order until it returns true,
/// the chain ends, a capability points to itself, or the chain comes back to
/// a capability already visited (each is visited once). Returns 0, or the
/// status of the first failing read that the walk depends on.
Status walkCapabilities(RouterHandle& handle, uint32_t port, uint32_t space, const CapabilityVisitor& visit);

}  // namespace tbt
