#pragma once
// The update checker's entry point: options, clean mode, the choice between
// the update check and backflash, and the reporting of the result.
#include <functional>

#include "driver/result_code.h"

namespace tbt {

/// The two flows the entry point dispatches to; the program passes
/// checkForUpdates and runBackflash, tests pass their own.
struct EntryCalls {
  std::function<ResultCode(int argc, const char* const* argv, bool arm)> checkForUpdates;
  std::function<ResultCode(const char* utilityPath, const char* payload0Path, const char* payload1Path)> runBackflash;
};

/// Runs the update checker's command line: parses the options, clears the
/// firmware-update variables with -c, runs backflash (-b) or the update
/// check, logs the result's message from the error dictionary beside the
/// program (or "Success"), and with -r restarts the host after a success.
/// The flows see argv[0] as the program's own path (see programPathOf).
/// argc, argv: the program's arguments (argv may be reordered by the option
/// parser; argv[0] is given back as it was); calls: the update check and
/// backflash to run.
/// Returns the process exit status: the low eight bits of the result code.
int runUpdateChecker(int argc, char** argv, const EntryCalls& calls);

}  // namespace tbt
