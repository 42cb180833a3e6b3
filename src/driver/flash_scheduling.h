#pragma once
// Scheduling a display flash for the next start of the host: the firmware
// utility and its two payloads are registered with the host's boot-selection
// command, keyed by the switch UIDs, and the firmware-update variables are
// set through the variable tool. Every command goes through the shell.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "driver/result_code.h"

namespace tbt {

/// Files of a flash, in the resource directory (the program's own directory).
inline constexpr const char* kFirmwareUtilityName = "VaneUtil.efi";
inline constexpr const char* kSwitchPayloadName = "Panel-26-02.bin";
inline constexpr const char* kMicroPayloadName = "PortMc-em-00020007.bin";

/// How many displays one flash can name.
inline constexpr uint32_t kMaxScheduledDisplays = 2;

/// Result of a command line that could not be formed.
inline constexpr ResultCode kCommandNotFormed = 3;

/// The directory that holds the firmware files: the program's path without
/// its last component ("/opt/uc/updatechecker" -> "/opt/uc", "/uc" -> "/",
/// "updatechecker" -> "").
/// toolPath: the program's own path as it was started (argv[0]).
/// Returns nullopt when there is no path or it is not plain ASCII.
std::optional<std::string> resourceDirectoryOf(const char* toolPath);

/// True when path can stand inside double quotes on a shell command line
/// without the shell interpreting any of it: no '"', '`', '$', '\\' and no
/// control character. A path that fails is logged, naming it.
bool acceptPathForShell(std::string_view path);

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
