#pragma once
// The display update check: the default mode of the update checker.
#include "driver/result_code.h"

namespace tbt {

/// Finds the display switches, verifies (and if need be repairs) their UIDs,
/// applies the version and connection policy, checks the host and, with
/// arm, schedules the flash for the next start of the host.
/// argc, argv: the program's arguments; argv[0], the program's own path,
/// locates the directory that holds the firmware files.
/// arm: schedule the flash when every condition holds.
/// Returns result::kSuccess when an update is possible (and, with arm,
/// scheduled), otherwise the result code that stopped it.
ResultCode checkForUpdates(int argc, const char* const* argv, bool arm);

}  // namespace tbt
