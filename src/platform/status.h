#pragma once
// Status codes of every toolkit operation: 0 for success, otherwise one of the
// host's I/O status codes. Logic never spells these numbers out.
#include <cstdint>
#include <string>

namespace tbt {

using Status = uint32_t;

namespace status {
inline constexpr Status kSuccess = 0;
// A stored checksum of a device ROM image differs from the computed one.
inline constexpr Status kChecksumMismatch = 0xe0000001;
inline constexpr Status kGeneralFailure = 0xe00002bc;
inline constexpr Status kNoMemory = 0xe00002bd;
inline constexpr Status kNoResources = 0xe00002be;
inline constexpr Status kNoDevice = 0xe00002c0;
inline constexpr Status kBadArgument = 0xe00002c2;
inline constexpr Status kExclusiveAccess = 0xe00002c5;
inline constexpr Status kUnsupported = 0xe00002c7;
inline constexpr Status kInternalError = 0xe00002c9;
inline constexpr Status kIOError = 0xe00002ca;
inline constexpr Status kNotReadable = 0xe00002ce;
inline constexpr Status kNotWritable = 0xe00002cf;
inline constexpr Status kBusy = 0xe00002d5;
inline constexpr Status kTimeout = 0xe00002d6;
inline constexpr Status kOffline = 0xe00002d7;
inline constexpr Status kNotReady = 0xe00002d8;
inline constexpr Status kNotPermitted = 0xe00002e2;
// Returned by the UID check when the UID had to be rebuilt and was written back.
inline constexpr Status kRepaired = 0xe00002e5;
inline constexpr Status kOverrun = 0xe00002e8;
inline constexpr Status kDeviceError = 0xe00002e9;
inline constexpr Status kAborted = 0xe00002eb;
inline constexpr Status kNotResponding = 0xe00002ed;
inline constexpr Status kNotFound = 0xe00002f0;
}  // namespace status

/// A short name for a status ("time-out", "not found", ...), or null when the
/// value is not one of the named constants.
const char* statusName(Status s);

/// The status in hexadecimal with its name when it has one: "0xe00002d6 (time-out)".
std::string describeStatus(Status s);

}  // namespace tbt
