#pragma once
// The simulated host's start: the boot firmware that, when a boot selection
// is registered and the update options variable is set, runs the firmware
// utility the selection names before the system comes up. The utility
// flashes the displays the options name with the versions its payload files
// carry, then clears the selection and the options variable and leaves its
// outcome in the update result variable.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/sim_host.h"

namespace tbt::sim {

/// The variable whose presence makes the boot firmware run the utility.
inline constexpr const char* kUpdateOptionsVariable = "tbt-options";
/// The variable the utility leaves its outcome in: one byte, a FlashOutcome.
inline constexpr const char* kUpdateResultVariable = "VaneUpdateResult";

/// The utility's outcome, in the order it checks: the first failure wins,
/// except that a display not found does not stop the others being flashed.
enum class FlashOutcome : uint8_t {
  Flashed = 0,          // every UID named was flashed (or already current)
  OptionsUnparsed = 1,  // the options do not follow "-o" and "-u UID -ee[ -f] ... -sm[ -f] ..." groups
  PayloadUnusable = 2,  // a payload is missing, not a regular file, unreadable, or not named by the rule
  DisplayNotFound = 3,  // a UID matched no display
  NvmTooSmall = 4,      // a display's NVM cannot hold the switch payload
};

/// Payload files are read up to this size; a larger one is unusable.
inline constexpr size_t kMaxPayloadBytes = size_t{1} << 24;

/// The versions a payload's file name carries (the simulation's own naming
/// rule): "Panel-RR-VV.bin" is the switch ROM version 0xRR, revision 0xVV;
/// "PortMc-em-MMMMMMMM.bin" the port micro-controller version 0xMMMMMMMM.
struct SwitchPayloadVersion {
  uint32_t rom = 0, revision = 0;
};
std::optional<SwitchPayloadVersion> switchPayloadVersion(std::string_view fileName);
std::optional<uint32_t> microPayloadVersion(std::string_view fileName);

/// One display the options name: its UID and whether each flash is forced
/// ("-ee -f" for the switch, "-sm -f" for the micro-controllers).
struct FlashTarget {
  uint64_t uid = 0;
  bool forceSwitch = false;
  bool forceMicro = false;
};
/// Parses the utility's options; nullopt when they do not follow the form.
std::optional<std::vector<FlashTarget>> parseFlashOptions(std::string_view options);

/// The UID a display's own firmware reports: the one in its DROM header in
/// the EEPROM (found through the DFT capability's DROM offset), else the
/// registry's "UID"; nullopt when it has neither.
std::optional<uint64_t> displayUid(const Router& router);

/// Restarts the host: the restart request is cleared, the restart counted,
/// and the boot firmware runs the scheduled utility when there is one.
/// A registry built before the restart is not rebuilt.
/// Returns what the firmware did, as lines of text ("" when nothing ran).
std::string restartHost(SimHost& host);

}  // namespace tbt::sim
