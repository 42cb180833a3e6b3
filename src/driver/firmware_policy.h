#pragma once
// The version and connection policy of a display switch: whether its
// firmware is already current, and whether it is attached through the one
// upstream port over which it may be updated.
#include <cstdint>
#include <string_view>

#include "driver/result_code.h"
#include "platform/property.h"
#include "platform/registry.h"

namespace tbt {

/// Registry identity of a display switch (an "IOThunderboltSwitch").
inline constexpr std::string_view kDeviceVendorIDKey = "Device Vendor ID";
inline constexpr std::string_view kDeviceModelIDKey = "Device Model ID";
inline constexpr uint32_t kDisplayVendorID = 1;
inline constexpr uint32_t kDisplayModelID = 0x8002;

/// Registry keys of the firmware versions.
inline constexpr std::string_view kRomVersionKey = "ROM Version";
inline constexpr std::string_view kEepromRevisionKey = "EEPROM Revision";
inline constexpr std::string_view kNvmRevisionKey = "NVM Revision";
inline constexpr std::string_view kMicroVersionKey = "Micro Version";

/// The firmware that the payloads carry: switch ROM 0x26 revision 2 and port
/// micro-controller 0x20007.
inline constexpr uint32_t kCurrentRomBase = 0x26;
inline constexpr uint32_t kCurrentRomRevision = 2;
inline constexpr uint32_t kCurrentMicroVersion = 0x20007;

/// The property match that picks the display switches among the
/// "IOThunderboltSwitch" entries.
PropertyDict displaySwitchMatch();

/// True when the entry carries the display switch's vendor and model IDs.
bool isDisplaySwitch(const RegistryEntry& entry);

/// The switch's ROM revision: "EEPROM Revision", or "NVM Revision" when the
/// former is missing; 0 when both are.
uint32_t romRevisionOfEntry(const RegistryEntry& entry);

/// Decides whether a display switch runs the current firmware: its ROM
/// version and revision, then the micro-controller versions of its upstream
/// port and of its own ports. With the ignore flag every switch needs the
/// update. Logs its reasoning.
/// displaySwitch: the switch's registry entry (may be null).
/// Returns true when the switch is up to date, false when it needs the update.
bool checkFirmwareVersion(const RegistryEntry& displaySwitch);

/// Checks that a display switch is attached through its tethered upstream
/// port (port 1), the only one over which it may be updated.
/// displaySwitch: the switch's registry entry.
/// Returns 0, kNonTethered, kSecondaryLink (upstream port 2) or
/// kUpstreamPortNotFound.
ResultCode checkConnection(const RegistryEntry& displaySwitch);

}  // namespace tbt
