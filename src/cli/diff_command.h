#pragma once
// tbkit diff A B: two hosts compared register by register, each difference
// shown as the line the reports print for it on both sides.
#include "cli/tbkit_main.h"

namespace tbt::cli {

/// The diff command family (a single command).
const CommandFamily& diffFamily();

}  // namespace tbt::cli
