#include "cli/topology_commands.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>

#include "cli/json_output.h"
#include "cli/router_choice.h"
#include "cli/topology_dot.h"
#include "kernel/config_space.h"
#include "kernel/user_client_manager.h"
#include "platform/registry_helpers.h"
#include "platform/text.h"
#include "toolkit/topology_keys.h"
#include "toolkit/utilities.h"

namespace tbt::cli {
namespace {

ThunderboltUserClientUtils& utils() { return ThunderboltUserClientUtils::sharedInstance(); }

unsigned long long ull(uint64_t value) { return static_cast<unsigned long long>(value); }

// ---- tbkit list ----

class TopologyLister {
 public:
  TopologyLister(std::ostream& out, uint8_t routerID) : out_(out), routerID_(routerID) {}

  // One router, its upstream adapter and its other adapters, depth first.
  void router(const RegistryEntry& sw, const std::string& indent) {
    if (!out_) return;  // the output has failed: stop reading the hardware
    uint64_t route = routeOfEntry(sw);
    uint64_t depth = 0;
    uint64_t uid = 0;
    readRegistryNumber64(sw, "Depth", depth);
    const bool hasUID = readRegistryNumber64(sw, kUIDKey, uid);
    uint32_t identity = 0;
    const Status s = utils().configReadWithRouterID(routerID_, route, 0, kDeviceSpace, kIdentityDword, identity);
    out_ << textf("%sRouter 0x%llx (depth %llu): ", indent.c_str(), ull(route), ull(depth));
    if (s == status::kSuccess)
      out_ << textf("vendor 0x%04x device 0x%04x", kVendorID.of(identity), kDeviceID.of(identity));
    else
      out_ << "identity unreadable: " << describeStatus(s);
    out_ << (hasUID ? textf(", UID 0x%016llx\n", ull(uid)) : std::string(", no UID\n"));
    const std::string inner = indent + "  ";
    std::vector<RegistryEntry> parents = sw.parents();
    if (!parents.empty() && parents.front().conformsTo(kPortClass))
      adapter(parents.front(), inner, route == 0 ? "host interface" : "upstream");
    for (const RegistryEntry& port : sw.children())
      if (port.conformsTo(kPortClass)) adapter(port, inner, nullptr);
  }

 private:
  void adapter(const RegistryEntry& port, const std::string& indent, const char* role) {
    uint64_t number = 0;
    readRegistryNumber64(port, kPortNumberKey, number);
    const uint64_t type = adapterTypeOfPort(port);
    out_ << textf("%sAdapter %llu: %s", indent.c_str(), ull(number), adapterTypeName(type));
    if (role) {
      RegistryEntry above = utils().switchFromPort(utils().peerForNULLPort(port, routerID_), routerID_);
      out_ << ", " << role << (above ? textf(" from router 0x%llx\n", ull(routeOfEntry(above))) : "\n");
      return;
    }
    RegistryEntry downstream = utils().childPortFromPort(port, routerID_);
    RegistryEntry below = downstream ? utils().switchFromPort(downstream, routerID_) : RegistryEntry();
    if (below) {
      out_ << textf(", to router 0x%llx\n", ull(routeOfEntry(below)));
      router(below, indent + "  ");
    } else if (utils().childXDomainLinkFromPort(port, routerID_)) {
      out_ << ", to another host (XDomain)\n";
    } else {
      out_ << (type == kLaneAdapterType ? ", nothing attached\n" : "\n");
    }
  }

  std::ostream& out_;
  uint8_t routerID_;
};

int runList(CommandContext& context) {
  const bool dot = context.args().has(kDotOption.name);
  if (dot && context.args().has(kJsonOption.name))
    return context.usageError("--dot and --json cannot be given together: choose one output");
  if (dot) return runTopologyDot(context, false);
  if (context.args().has(kJsonOption.name)) return runListJson(context);
  const auto& userClients = ThunderboltUserClientManager::sharedInstance().userClientSet();
  if (userClients.empty()) return context.failure("no Thunderbolt controller found");
  size_t index = 0;
  for (const auto& userClient : userClients) {
    if (!context.out()) break;
    const uint8_t routerID = userClient->routerID();
    context.out() << textf("Controller %zu: router ID %u\n", index++, routerID);
    RegistryEntry hostSwitch = utils().switchFromPort(utils().nhiForRouterID(routerID), routerID);
    if (hostSwitch)
      TopologyLister(context.out(), routerID).router(hostSwitch, "  ");
    else
      context.out() << "  no host switch\n";
  }
  return kExitSuccess;
}

// ---- tbkit paths ----

int runPaths(CommandContext& context) {
  if (context.args().has(kDotOption.name)) return runTopologyDot(context, true);
  context.out() << utils().paths();
  return kExitSuccess;
}

// ---- tbkit read / write ----

struct SpaceName {
  const char* name;
  uint32_t space;
};
constexpr std::array<SpaceName, 4> kSpaceNames = {
    {{"path", kPathSpace}, {"port", kPortSpace}, {"device", kDeviceSpace}, {"counter", kCounterSpace}}};

constexpr uint64_t kMaxAdapter = 63;

// The double word the options name (--space, --port, --index) and where the
// access goes (--route, --via-parent or --iecs-route).
struct Access {
  std::function<Status(uint32_t port, uint32_t space, uint32_t index, uint32_t& value)> read;
  std::function<Status(uint32_t port, uint32_t space, uint32_t index, uint32_t value)> write;
  uint32_t space = 0;
  uint32_t port = 0;
  uint32_t index = 0;
};

constexpr const char* kAccessWays[] = {kRouteOption.name, kViaParentOption.name, "iecs-route"};

bool chooseRoute(CommandContext& context, Access& access) {
  RouterChoice choice;
  if (!chooseRouter(context, kAccessWays, choice)) return false;
  if (context.args().has("iecs-route")) {
    if (choice.buses.size() != 1) {
      context.usageError("--iecs-route takes one --bus");
      return false;
    }
    const uint64_t route = choice.route;
    const uint32_t bus = choice.buses[0];
    access.read = [route, bus](uint32_t port, uint32_t space, uint32_t index, uint32_t& value) {
      return utils().iecsRemoteConfigReadWithRoute(route, bus, port, space, index, value);
    };
    access.write = [route, bus](uint32_t port, uint32_t space, uint32_t index, uint32_t value) {
      return utils().iecsRemoteConfigWriteWithRoute(route, bus, port, space, index, value);
    };
    return true;
  }
  std::shared_ptr<RouterHandle> handle = routerHandleChain(choice);
  access.read = [handle](uint32_t port, uint32_t space, uint32_t index, uint32_t& value) {
    return utils().configReadWithRouterHandle(*handle, port, space, index, value);
  };
  access.write = [handle](uint32_t port, uint32_t space, uint32_t index, uint32_t value) {
    return utils().configWriteWithRouterHandle(*handle, port, space, index, value);
  };
  return true;
}

bool chooseAccess(CommandContext& context, Access& access) {
  if (!chooseRoute(context, access)) return false;
  const std::string& name = *context.args().value("space");
  const SpaceName* space = nullptr;
  for (const SpaceName& s : kSpaceNames)
    if (name == s.name) space = &s;
  if (!space) return context.checkOption("space", textf("'%s' is not device, port, path or counter", name.c_str()));
  uint64_t port = 0;
  uint64_t index = 0;
  if (!context.number("port", kMaxAdapter, port) || !context.number("index", kConfigurationSpace.size - 1, index))
    return false;
  access.space = space->space;
  access.port = static_cast<uint32_t>(port);
  access.index = static_cast<uint32_t>(index);
  return true;
}

int runRead(CommandContext& context) {
  Access access;
  uint64_t count = 1;
  if (!chooseAccess(context, access) ||
      !context.blockSize("count", "index", access.index, kConfigurationSpace, count))
    return kExitUsage;
  if (count == 0) return context.usageError("--count: must be at least 1");
  const bool json = context.args().has(kJsonOption.name);
  std::vector<ReadValue> values;
  for (uint64_t i = 0; i < count && context.out(); ++i) {
    const uint32_t index = access.index + static_cast<uint32_t>(i);
    uint32_t value = 0;
    const Status s = access.read(access.port, access.space, index, value);
    if (s != status::kSuccess)
      return context.failure(textf("reading index 0x%x: %s", index, describeStatus(s).c_str()));
    if (json)
      values.push_back({index, value});
    else
      context.out() << textf("0x%04x: 0x%08x\n", index, value);
  }
  if (json) context.out() << readJson(context.args().value("space")->c_str(), access.port, values);
  return kExitSuccess;
}

int runWrite(CommandContext& context) {
  Access access;
  uint64_t value = 0;
  if (!chooseAccess(context, access) || !context.number("value", UINT32_MAX, value)) return kExitUsage;
  const Status s = access.write(access.port, access.space, access.index, static_cast<uint32_t>(value));
  if (s == status::kNotWritable) {
    // The host read the register back and found another value (or none).
    uint32_t back = 0;
    const Status r = access.read(access.port, access.space, access.index, back);
    if (r != status::kSuccess)
      return context.failure(textf("writing index 0x%x: it cannot be read back: %s", access.index,
                                   describeStatus(r).c_str()));
    return context.failure(textf("writing index 0x%x: it reads back 0x%08x, not 0x%08x: the device did not take it",
                                 access.index, back, static_cast<uint32_t>(value)));
  }
  if (s != status::kSuccess)
    return context.failure(textf("writing index 0x%x: %s", access.index, describeStatus(s).c_str()));
  return kExitSuccess;
}

constexpr std::array<OptionSpec, 8> kAccessOptions = {{
    kRouteOption,
    kRouterIDOption,
    kViaParentOption,
    {.name = "iecs-route", .valueName = "R", .help = "reach the router behind the bridge of route R (controller 0)"},
    kBusOption,
    {.name = "space", .valueName = "device|port|path|counter", .help = "the configuration space", .required = true},
    {.name = "port", .valueName = "P", .help = "the adapter (default 0)"},
    {.name = "index", .valueName = "I", .help = "the double-word index (below 0x2000)", .required = true},
}};

constexpr auto kReadOptions = withOptions(
    kAccessOptions,
    {{.name = "count", .valueName = "N", .help = "how many double words, from the index up to 0x1fff (default 1)"},
     kJsonOption});
constexpr auto kWriteOptions = withOptions(
    kAccessOptions, {{.name = "value", .valueName = "V", .help = "the double word to write", .required = true}});

constexpr const char* kAccessDetails =
    "Without --via-parent and --iecs-route the router is reached by its route through\n"
    "its controller. --via-parent R --bus B reaches the router behind IECS bus B of the\n"
    "router at route R through that router's link-controller mailbox (repeat --bus to\n"
    "go further down); --iecs-route R --bus B reaches it with the controller's own IECS\n"
    "transfers. Numbers are decimal or 0x-hex.\n";

// ---- tbkit iecs read / write ----

constexpr uint64_t kMaxIecsLength = 64;
// An IECS device's registers: byte offsets 0x00 to 0xff.
constexpr AddressSpace kIecsRegisters = {0x100, "an IECS device's registers end at offset 0xff"};

constexpr std::array<OptionSpec, 5> kIecsTargetOptions = {{
    {.name = "route", .valueName = "R", .help = "the router's route string", .required = true},
    kRouterIDOption,
    {.name = "bus", .valueName = "B", .help = "the link controller's bus", .required = true},
    {.name = "device", .valueName = "D", .help = "the IECS device", .required = true},
    {.name = "offset", .valueName = "O", .help = "the register offset", .required = true},
}};
constexpr auto kIecsReadOptions = withOptions(
    kIecsTargetOptions,
    {{.name = "length", .valueName = "N", .help = "bytes to move (at most 64, up to offset 0xff)", .required = true}});
constexpr auto kIecsWriteOptions = withOptions(
    kIecsTargetOptions,
    {{.name = "length", .valueName = "N", .help = "bytes to move (default: those of --data)"},
     {.name = "data", .valueName = "HEX", .help = "the bytes to write, as hex digit pairs", .required = true}});

struct IecsTarget {
  LocalRouterHandle handle;
  uint32_t bus = 0;
  uint32_t device = 0;
  uint8_t offset = 0;
  uint64_t length = 0;
};

bool chooseIecsTarget(CommandContext& context, IecsTarget& target) {
  uint64_t route = 0, bus = 0, device = 0, offset = 0;
  uint8_t routerID = 0;
  if (!context.router("route", route, routerID) || !context.number("bus", UINT32_MAX, bus) ||
      !context.number("device", UINT32_MAX, device) || !context.number("offset", 0xFF, offset) ||
      !context.number("length", kMaxIecsLength, target.length) ||
      !context.blockFits("length", target.length, "offset", offset, kIecsRegisters))
    return false;
  // The toolkit's IECS transfers report success, with nothing moved, for a
  // router ID that no controller has: make sure there is one.
  if (!ThunderboltUserClientManager::sharedInstance().userClientForRouterID(routerID))
    return context.checkOption(kRouterIDOption.name, textf("no controller has router ID %u", routerID));
  target.handle.setRoute(route);
  target.handle.setRouterID(routerID);
  target.bus = static_cast<uint32_t>(bus);
  target.device = static_cast<uint32_t>(device);
  target.offset = static_cast<uint8_t>(offset);
  return true;
}

int runIecsRead(CommandContext& context) {
  IecsTarget target;
  if (!chooseIecsTarget(context, target)) return kExitUsage;
  std::vector<uint8_t> bytes(target.length);
  const Status s = utils().iecsReadWithLocalRouterHandle(target.handle, target.bus, target.device, target.offset,
                                                         static_cast<uint32_t>(bytes.size()), bytes.data());
  if (s != status::kSuccess) return context.failure("IECS read: " + describeStatus(s));
  context.out() << hexText(bytes) << "\n";
  return kExitSuccess;
}

int runIecsWrite(CommandContext& context) {
  IecsTarget target;
  std::vector<uint8_t> bytes;
  if (!chooseIecsTarget(context, target) || !context.hexBytes("data", kMaxIecsLength, bytes) ||
      !context.blockFits("data", bytes.size(), "offset", target.offset, kIecsRegisters))
    return kExitUsage;
  if (context.args().has("length") && target.length != bytes.size())
    return context.usageError(textf("--length %llu does not match the %zu bytes of --data", ull(target.length),
                                    bytes.size()));
  const Status s = utils().iecsWriteWithLocalRouterHandle(target.handle, target.bus, target.device, target.offset,
                                                          static_cast<uint32_t>(bytes.size()), bytes.data());
  if (s != status::kSuccess) return context.failure("IECS write: " + describeStatus(s));
  return kExitSuccess;
}

// ---- The families ----

const OptionSpec kListOptions[] = {kJsonOption, kDotOption};
const OptionSpec kPathsOptions[] = {kDotOption};
const Command kListCommands[] = {{.name = "list",
                                  .summary = "controllers, routers and their adapters as a tree",
                                  .options = kListOptions,
                                  .needsHost = true,
                                  .run = runList}};
const Command kPathsCommands[] = {{.name = "paths",
                                   .summary = "every path the driver set up, checked against the hardware",
                                   .options = kPathsOptions,
                                   .needsHost = true,
                                   .run = runPaths}};
const Command kReadCommands[] = {{.name = "read",
                                  .summary = "read configuration double words of a router",
                                  .details = kAccessDetails,
                                  .options = kReadOptions,
                                  .needsHost = true,
                                  .run = runRead}};
const Command kWriteCommands[] = {{.name = "write",
                                   .summary = "write one configuration double word of a router",
                                   .details = kAccessDetails,
                                   .options = kWriteOptions,
                                   .needsHost = true,
                                   .writes = true,
                                   .run = runWrite}};
const Command kIecsCommands[] = {
    {.name = "read",
     .summary = "read bytes of an IECS device",
     .options = kIecsReadOptions,
     .needsHost = true,
     .run = runIecsRead},
    {.name = "write",
     .summary = "write bytes to an IECS device",
     .options = kIecsWriteOptions,
     .needsHost = true,
     .writes = true,
     .run = runIecsWrite},
};

const CommandFamily kListFamily = {"list", "controllers, routers and adapters as a tree", kListCommands};
const CommandFamily kPathsFamily = {"paths", "the paths report", kPathsCommands};
const CommandFamily kReadFamily = {"read", "read configuration double words", kReadCommands};
const CommandFamily kWriteFamily = {"write", "write a configuration double word", kWriteCommands};
const CommandFamily kIecsFamily = {"iecs", "IECS transfers through a controller", kIecsCommands};

}  // namespace

const CommandFamily& listFamily() { return kListFamily; }
const CommandFamily& pathsFamily() { return kPathsFamily; }
const CommandFamily& readFamily() { return kReadFamily; }
const CommandFamily& writeFamily() { return kWriteFamily; }
const CommandFamily& iecsFamily() { return kIecsFamily; }

}  // namespace tbt::cli
