#pragma once
// tbkit's drom commands: parse, build and dump device ROM images.
#include "cli/tbkit_main.h"

namespace tbt::cli {

/// The drom command family.
const CommandFamily& dromFamily();

}  // namespace tbt::cli
