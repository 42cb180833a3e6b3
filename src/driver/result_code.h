#pragma once
// The update driver's result codes: the outcome of one run, logged through
// the error dictionary and returned as the process exit status. 0 is
// success; 1 to 16 are refusals by policy or by the state of the host; 128
// and up are failures to read or reach something. In backflash mode any
// other non-zero value is the raw status of a shell command.
#include <cstdint>

namespace tbt {

using ResultCode = uint32_t;

namespace result {
inline constexpr ResultCode kSuccess = 0;
// No display switch needs an update; in backflash also: a shell command
// string could not be converted.
inline constexpr ResultCode kNothingToUpdate = 1;
inline constexpr ResultCode kLidClosed = 2;
inline constexpr ResultCode kNotOnExternalPower = 3;
inline constexpr ResultCode kNoDisplayFound = 4;
inline constexpr ResultCode kTooManyFound = 5;
// Not directly connected and the parent is not a display switch, or deeper than depth 2.
inline constexpr ResultCode kUnsupportedTopology = 6;
inline constexpr ResultCode kNonTethered = 7;
// Connected through the secondary link, or a micro-controller in the wrong host-connect mode.
inline constexpr ResultCode kSecondaryLink = 8;
inline constexpr ResultCode kHostControllerTooOld = 9;
inline constexpr ResultCode kBootFirmwareTooOld = 11;
inline constexpr ResultCode kOnlyUidRepaired = 13;
// The resource directory is missing, or scheduling the flash failed;
// in backflash: the command could not be formed.
inline constexpr ResultCode kSchedulingFailed = 16;
inline constexpr ResultCode kCannotSortUids = 128;
inline constexpr ResultCode kSwitchSearchFailed = 129;
inline constexpr ResultCode kParentSwitchNotFound = 130;
inline constexpr ResultCode kUpstreamPortNotFound = 131;
inline constexpr ResultCode kMicroControllerUnreadable = 132;
inline constexpr ResultCode kNoRoute = 134;
inline constexpr ResultCode kMissingOperands = 135;
// A host switch's children could not be walked, or no host port of adapter type 1.
inline constexpr ResultCode kHostPortsUnavailable = 136;
inline constexpr ResultCode kNoHostMicroVersion = 137;
inline constexpr ResultCode kBootFirmwareUnreadable = 138;
inline constexpr ResultCode kUidNotRecovered = 139;
inline constexpr ResultCode kNoRouterHandle = 140;
}  // namespace result

}  // namespace tbt
