#pragma once
// Questions about the host itself: lid, power source, boot medium.
#include "platform/registry.h"

namespace tbt {

/// True only when the power-management root exists and its
/// "KelvoClamshellState" is the boolean true.
bool isLidClosed();

/// False when any battery service lacks "ExternalConnected" or has it false;
/// true otherwise, also on a host without batteries.
bool isOnExternalPower();

/// The "IOMedia" entry whose "BSD Name" is the boot disk's device name, or a
/// null entry when the boot disk or its medium cannot be found.
RegistryEntry bootMediaEntry();

}  // namespace tbt
