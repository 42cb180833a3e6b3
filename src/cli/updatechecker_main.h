#pragma once
// The updatechecker program: host choice, the simulated host's echo, the
// entry point, and the hardware-time report of a simulated run.
#include "driver/backflash.h"
#include "driver/entry.h"
#include "driver/update_check.h"

namespace tbt::cli {

/// Runs updatechecker with the given update check and backflash.
/// argc, argv: the program's arguments, "--host" and "--help" included.
/// Returns the process exit status: 0 after --help, kHostChoiceFailed (2)
/// when no host can be chosen, otherwise the entry point's status.
int updatecheckerMain(int argc, char** argv, const EntryCalls& calls);

/// Runs updatechecker with the real update check and backflash.
inline int updatecheckerMain(int argc, char** argv) {
  return updatecheckerMain(argc, argv, EntryCalls{checkForUpdates, runBackflash});
}

}  // namespace tbt::cli
