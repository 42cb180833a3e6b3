#pragma once
// Backflash: putting firmware back on every display found, with the
// firmware utility and payloads named on the command line.
#include "driver/result_code.h"

namespace tbt {

/// Schedules the given utility and payloads for every display switch found,
/// ordered by route, through the boot-selection command.
/// utilityPath, payload0Path: the firmware utility and the switch payload;
/// payload1Path: the port micro-controller payload, null when only two
/// operands were given (it is then formatted as the formatter's null text).
/// Returns result::kSuccess, a result code, or the raw status of the first
/// shell command that failed.
ResultCode runBackflash(const char* utilityPath, const char* payload0Path, const char* payload1Path);

}  // namespace tbt
