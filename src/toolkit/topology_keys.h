#pragma once
// What the topology knows about an adapter from the registry. The registry's
// classes and keys (platform/registry_keys.h) and the adapter-type values
// (kernel/config_space.h) come along with it.
#include <cstdint>

#include "kernel/config_space.h"
#include "platform/registry.h"
#include "platform/registry_keys.h"

namespace tbt {

/// The name of an "Adapter Type" ("Port" for a lane adapter, "NHI", "DP In",
/// "DP Out", "PCI Down", "PCI Up"), "?" for any other.
const char* adapterTypeName(uint64_t type);

/// The port's "Adapter Type", 0 when it has none.
uint64_t adapterTypeOfPort(const RegistryEntry& port);

}  // namespace tbt
