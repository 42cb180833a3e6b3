#pragma once
// tbkit capture: the current host written as a simulated-host file.
#include "cli/tbkit_main.h"

namespace tbt::cli {

/// The capture command family (a single command).
const CommandFamily& captureFamily();

}  // namespace tbt::cli
