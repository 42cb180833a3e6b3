#pragma once
// tbkit list --dot and tbkit paths --dot: the topology as a Graphviz graph.
#include <string>
#include <string_view>

#include "cli/tbkit_main.h"

namespace tbt::cli {

/// The --dot option of the commands that can draw the topology.
inline constexpr OptionSpec kDotOption = {.name = "dot", .help = "write the topology as a Graphviz (DOT) graph"};

/// text as the inside of a quoted DOT string that shows it as it is:
/// control characters and bytes that are not well-formed UTF-8 as visible
/// escapes (see escapeControls), backslashes and quotes escaped for DOT.
std::string dotEscaped(std::string_view text);

/// The graph of every controller (a cluster), its routers (route, vendor and
/// device IDs, names the registry knows, depth), the links between their
/// adapters and the other hosts behind XDomain links; with tunnels, also
/// every path the paths report traces, as coloured edges labelled with
/// their hop IDs. Returns the exit status.
int runTopologyDot(CommandContext& context, bool tunnels);

}  // namespace tbt::cli
