#pragma once
// Scheduling a display flash for the next start of the host: the firmware
// utility and its two payloads are registered with the host's boot-selection
// command, keyed by the switch UIDs, and the firmware-update variables are
// set through the variable tool. Every command goes through the shell.
#include <cstdint>
#include <string>

#include "driver/result_code.h"

namespace tbt {

/// How many displays one flash can name.
inline constexpr uint32_t kMaxScheduledDisplays = 2;

/// Result of a command line that could not be formed.
inline constexpr ResultCode kCommandNotFormed = 3;

/// Runs one command line through the host's shell (logged first when verbose).
/// command: the command line.
/// Returns the shell's raw status (an exit status of 1 is 0x100), or 1 when
/// the command is not plain ASCII and cannot be handed to the shell.
int executeShellCommand(const std::string& command);

/// Schedules the flash of the accepted displays: clears the previous update
/// result, sets the update options variable and registers the firmware
/// utility and payloads with the UIDs (the far display first when two are
/// named and the multi flag is on; only the near one when it is off).
/// routes, uids: the accepted switches' route strings and UIDs, in acceptance
/// order (count entries are used, at most two); count: how many were
/// accepted; resourceDirectory: where the firmware files lie.
/// Returns 0, kNothingToUpdate for no switch or a missing argument,
/// kCommandNotFormed when no command line could be formed (a directory the
/// shell would interpret), or the raw status of the first failing command.
ResultCode scheduleFlash(const uint64_t* routes, const uint64_t* uids, uint32_t count,
                         const char* resourceDirectory);

}  // namespace tbt
