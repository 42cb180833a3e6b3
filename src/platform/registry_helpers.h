#pragma once
// Small readers of registry properties and the Thunderbolt switch lookups of
// an entry. They hold no state; absence is reported as false, a null entry or
// an all-ones default, never as an error.
#include <cstdint>
#include <string_view>

#include "platform/registry.h"
#include "platform/registry_keys.h"

namespace tbt {

/// The value of routeOfEntry when the entry has no route string.
inline constexpr uint64_t kNoRoute = ~uint64_t{0};

/// The router ID of a controller whose host switch has this "UID": its low four bits.
constexpr uint8_t routerIDOfUID(uint64_t uid) { return static_cast<uint8_t>(uid & 0xF); }

/// Finds the data property `key` from `entry` (searching its children
/// recursively when options has kSearchRecursively) and copies at most
/// bufferLength of its bytes, from offset 0, into buffer. A string property
/// gives its characters. Bytes beyond the property's length are left as they
/// were. Returns true when the property was found.
bool readRegistryData(const RegistryEntry& entry, std::string_view key, uint32_t options, uint8_t* buffer,
                      uint32_t bufferLength);

/// Reads the entry's own numeric property `key` into value (its low 32 bits).
/// Returns false, leaving value unchanged, when it is missing or not a number.
bool readRegistryNumber(const RegistryEntry& entry, std::string_view key, uint32_t& value);

/// 64-bit form of readRegistryNumber.
bool readRegistryNumber64(const RegistryEntry& entry, std::string_view key, uint64_t& value);

/// The first child of entry in the service plane that conforms to className,
/// or a null entry.
RegistryEntry firstChildOfClass(const RegistryEntry& entry, std::string_view className);

/// The nearest "IOThunderboltSwitch" among the entry's ancestors (the entry
/// itself excluded), or a null entry.
RegistryEntry parentSwitchOfEntry(const RegistryEntry& entry);

/// The nearest ancestor switch whose "Route String" is 0 (the host switch of
/// the controller above the entry), or a null entry.
RegistryEntry rootSwitchOfEntry(const RegistryEntry& entry);

/// The entry's "Route String", or kNoRoute when it has none.
uint64_t routeOfEntry(const RegistryEntry& entry);

/// The low four bits of the entry's "UID"; 0xF when it has none.
uint8_t routerIDOfEntry(const RegistryEntry& entry);

}  // namespace tbt
