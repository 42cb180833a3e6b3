#pragma once
// tbkit's drom commands: parse, build and dump device ROM images.
#include <string>
#include <string_view>
#include <vector>

#include "cli/tbkit_main.h"
#include "drom/rom_record.h"

namespace tbt::cli {

/// The drom command family.
const CommandFamily& dromFamily();

/// Resolves a --port-map value: the name of a constant map or a list
/// "port:type,port:type,...". Returns "" or a one-line error.
std::string parsePortMapArgument(std::string_view text, std::vector<PortMapPair>& pairs);

}  // namespace tbt::cli
