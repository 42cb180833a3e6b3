#pragma once
// The router a command addresses, as every command that reaches one names it:
// --route R (with --rid N) for a router its controller reaches by route, or
// --via-parent R with one --bus B per level for a router behind the link
// controller of route R.
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "cli/tbkit_main.h"
#include "kernel/router_handle.h"

namespace tbt::cli {

inline constexpr OptionSpec kRouteOption = {
    .name = "route", .valueName = "R", .help = "the router's route string (a router the controller reaches)"};
inline constexpr OptionSpec kViaParentOption = {
    .name = "via-parent", .valueName = "R", .help = "reach the router through the link controller of route R"};
inline constexpr OptionSpec kBusOption = {.name = "bus",
                                          .valueName = "B",
                                          .help = "the link controller's bus; with --via-parent once per level "
                                                  "(at most 7)",
                                          .repeatable = true};

/// Where the options say the router is.
struct RouterChoice {
  const char* routeOption = "route";  // the option that gave the route
  uint64_t route = 0;
  uint8_t routerID = 0;
  std::vector<uint32_t> buses;  // one per --bus, in order
};

/// Reads the router choice of a command whose route options are ways (option
/// names, "route" first): exactly one of them must be given, --bus only with
/// one other than --route, and then at least once and at most once per hop
/// of a route (RemoteRouterHandle::kMaxLevels).
/// Returns false after reporting a usage error.
bool chooseRouter(CommandContext& context, std::span<const char* const> ways, RouterChoice& choice);

/// A local handle for the chosen route and router ID or, with buses, a remote
/// handle one level further down per bus.
std::shared_ptr<RouterHandle> routerHandleChain(const RouterChoice& choice);

}  // namespace tbt::cli
