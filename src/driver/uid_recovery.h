#pragma once
// The switch UID kept at the head of a display switch's device ROM: reading
// and verifying it against its CRC-8, and rebuilding it from the link
// controller's assembly serial number ("CM ASN") when it is missing or
// corrupt.
#include <cstdint>

#include "platform/registry.h"
#include "platform/status.h"

namespace tbt {

/// A UID whose header checks out but that was never assigned: treated as missing.
inline constexpr uint64_t kPlaceholderUID = 0x0001000000000000;

/// The two fixed parts of a rebuilt UID (bits 63-48 and 47-32).
inline constexpr uint16_t kRecoveredUIDFirstPart = 1;
inline constexpr uint16_t kRecoveredUIDSecondPart = 0x1A;

/// Reads the UID from the switch's EEPROM and checks it against the CRC-8
/// stored before it.
/// displaySwitch: the switch's registry entry; code: receives 0, IOError
/// (kIOError) when the CRC does not match, general failure without a router
/// handle, or the EEPROM's failure (may be null).
/// Returns the UID as read (0 when it was never read), also on failure.
uint64_t readSwitchUID(const RegistryEntry& displaySwitch, Status* code);

/// Builds a replacement UID from the switch's "CM ASN" string.
/// displaySwitch: the switch's registry entry; firstPart, secondPart: bits
/// 63-48 and 47-32 of the UID.
/// Returns the UID, or 0 when the string cannot be read.
uint64_t makeUIDFromASN(const RegistryEntry& displaySwitch, uint16_t firstPart, uint16_t secondPart);

/// Writes the UID, CRC-8 first, into the switch's EEPROM; with the uid flag
/// cleared it only logs that it will not.
/// displaySwitch: the switch's registry entry; uid: the UID to store.
/// Returns 0 or the failing write's status.
Status writeSwitchUID(const RegistryEntry& displaySwitch, uint64_t uid);

/// Verifies the switch's UID and, when it is corrupt or the placeholder,
/// rebuilds it from the ASN, writes it and reads it back (up to fifteen
/// attempts).
/// displaySwitch: the switch's registry entry; uid: receives the new UID
/// when it was recovered.
/// Returns 0 when the UID needed no repair, kRepaired when it was recovered,
/// or the failure: a connection-check result, kNotWritable (no replacement
/// or the write failed), kInternalError (the read-back differs), or the
/// status of the read.
Status recoverSwitchUID(const RegistryEntry& displaySwitch, uint64_t* uid);

}  // namespace tbt
