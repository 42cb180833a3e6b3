#include "cli/router_choice.h"

#include "platform/text.h"
#include "toolkit/remote_router_handle.h"

namespace tbt::cli {
namespace {

// "--a, --b and --c" (or "--a, --b or --c")
std::string optionList(std::span<const char* const> names, const char* last) {
  std::string text;
  for (size_t i = 0; i < names.size(); ++i)
    appendf(text, "%s--%s", i == 0 ? "" : i + 1 == names.size() ? last : ", ", names[i]);
  return text;
}

bool refuse(CommandContext& context, const std::string& why) {
  context.usageError(why);
  return false;
}

}  // namespace

bool chooseRouter(CommandContext& context, std::span<const char* const> ways, RouterChoice& choice) {
  const ParsedArgs& args = context.args();
  int given = 0;
  for (const char* way : ways)
    if (args.has(way)) {
      choice.routeOption = way;
      ++given;
    }
  if (given != 1) return refuse(context, "give exactly one of " + optionList(ways, " and "));
  const std::vector<std::string> buses = args.values(kBusOption.name);
  if (buses.size() > RemoteRouterHandle::kMaxLevels)
    return context.checkOption(kBusOption.name, textf("at most %u levels (one per hop of a route)",
                                                      RemoteRouterHandle::kMaxLevels));
  for (const std::string& text : buses) {
    uint64_t bus = 0;
    if (!context.checkOption(kBusOption.name, parseNumber(text, UINT32_MAX, bus))) return false;
    choice.buses.push_back(static_cast<uint32_t>(bus));
  }
  if (!context.router(choice.routeOption, choice.route, choice.routerID)) return false;
  const bool byRoute = std::string_view(choice.routeOption) == kRouteOption.name;
  if (byRoute && !choice.buses.empty())
    return refuse(context, "--bus goes with " + optionList(ways.subspan(1), " or "));
  if (!byRoute && choice.buses.empty()) return refuse(context, textf("--%s needs --bus", choice.routeOption));
  return true;
}

std::shared_ptr<RouterHandle> routerHandleChain(const RouterChoice& choice) {
  return tbt::routerHandleChain(choice.routerID, choice.route, choice.buses);
}

}  // namespace tbt::cli
