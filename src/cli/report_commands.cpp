#include "cli/report_commands.h"

#include <functional>
#include <memory>

#include "cli/json_output.h"
#include "cli/json_report_sink.h"
#include "cli/progress_line.h"
#include "cli/router_choice.h"
#include "cli/stream_report_sink.h"
#include "platform/status.h"
#include "platform/text.h"
#include "toolkit/utilities.h"

namespace tbt::cli {
namespace {

ThunderboltUserClientUtils& utils() { return ThunderboltUserClientUtils::sharedInstance(); }

constexpr uint64_t kMaxAdapter = 63;
// A link controller's number: the link-controller capability counts them in four bits.
constexpr uint64_t kMaxLinkController = 15;
// The registers of a link controller's block that its report names, printed
// whatever the block's length: the block's first index leaves room for them.
constexpr uint64_t kNamedLinkControllerRegisters = 155;

// The numbers a report takes besides its router; those a command does not
// take stay 0.
struct Operands {
  uint32_t port = 0;
  uint32_t index = 0;
  uint32_t length = 0;
  uint32_t lc = 0;
};

using Report = void (*)(const Operands& operands, RouterHandle& handle, ReportSink& sink);

// Sets the utilities' relativeAddressing for one run and puts it back.
class RelativeAddressing {
 public:
  explicit RelativeAddressing(bool on) : previous_(utils().relativeAddressing()) { utils().setRelativeAddressing(on); }
  ~RelativeAddressing() { utils().setRelativeAddressing(previous_); }
  RelativeAddressing(const RelativeAddressing&) = delete;
  RelativeAddressing& operator=(const RelativeAddressing&) = delete;

 private:
  bool previous_;
};

// Runs report into standard output, as text or with --json as one document;
// the exit status says whether it completed.
// emptyWhy: the one-line reason printed when the report has no text at all.
// unit: what a report's progress line counts, null for none.
int print(CommandContext& context, const char* emptyWhy, const std::function<void(ReportSink& sink)>& report,
          const char* unit = nullptr) {
  RelativeAddressing relative(context.args().has("relative"));
  std::unique_ptr<ProgressLine> progress = unit ? progressLineFor(context, unit, true) : nullptr;
  ReportOutcome outcome;
  if (context.args().has(kJsonOption.name)) {
    const std::string& name = context.name();
    JsonReportSink sink(context.out(), std::string_view(name).substr(name.rfind(' ') + 1), progress.get());
    report(sink);
    progress.reset();
    sink.finish();
    outcome = sink.outcome();
  } else {
    StreamReportSink sink(context.out(), progress.get());
    report(sink);
    outcome = sink.outcome();
  }
  progress.reset();
  if (!context.out().flush()) return kExitFailure;
  uint32_t status = 0;
  if (outcome.empty()) return context.failure(emptyWhy);
  if (outcome.closesWithError(status))
    return context.failure("the report ends with an error: " + describeStatus(status));
  return kExitSuccess;
}

constexpr const char* kRouterWays[] = {kRouteOption.name, kViaParentOption.name};

// A report of the router the options name.
int reportOnRouter(CommandContext& context, Report report, const char* emptyWhy = "the report is empty",
                   const char* unit = nullptr) {
  RouterChoice choice;
  if (!chooseRouter(context, kRouterWays, choice)) return kExitUsage;
  uint64_t port = 0, index = 0, length = 0, lc = 0;
  // Only the link controller block takes --length.
  const bool block = context.args().has("length");
  const uint64_t lastIndex = kConfigurationSpace.size - (block ? kNamedLinkControllerRegisters : 1);
  if (!context.number("port", kMaxAdapter, port) || !context.number("index", lastIndex, index) ||
      !context.blockSize("length", "index", index, kConfigurationSpace, length) ||
      !context.number("lc", kMaxLinkController, lc))
    return kExitUsage;
  const Operands operands = {static_cast<uint32_t>(port), static_cast<uint32_t>(index),
                             static_cast<uint32_t>(length), static_cast<uint32_t>(lc)};
  std::shared_ptr<RouterHandle> handle = routerHandleChain(choice);
  return print(context, emptyWhy, [&](ReportSink& sink) { report(operands, *handle, sink); }, unit);
}

// ---- The commands ----

int runDevice(CommandContext& context) {
  return reportOnRouter(context, [](const Operands&, RouterHandle& handle, ReportSink& sink) {
    utils().deviceSpaceForRouterHandle(handle, sink);
  });
}

int runDeviceCapability(CommandContext& context) {
  return reportOnRouter(context, [](const Operands& operands, RouterHandle& handle, ReportSink& sink) {
    utils().deviceCapabilityAtIndex(operands.index, handle, sink);
  });
}

int runLinkControllerBlock(CommandContext& context) {
  return reportOnRouter(context, [](const Operands& operands, RouterHandle& handle, ReportSink& sink) {
    utils().linkControllerCapabilityAtIndex(operands.index, handle, operands.length, sink);
  });
}

int runPort(CommandContext& context) {
  return reportOnRouter(context, [](const Operands& operands, RouterHandle& handle, ReportSink& sink) {
    utils().portSpaceForPort(operands.port, handle, sink);
  });
}

int runPath(CommandContext& context) {
  return reportOnRouter(context, [](const Operands& operands, RouterHandle& handle, ReportSink& sink) {
    utils().pathSpaceForPort(operands.port, handle, sink);
  });
}

int runCounters(CommandContext& context) {
  return reportOnRouter(context, [](const Operands& operands, RouterHandle& handle, ReportSink& sink) {
    utils().counterSpaceForPort(operands.port, handle, sink);
  });
}

int runPortCapability(CommandContext& context) {
  return reportOnRouter(context, [](const Operands& operands, RouterHandle& handle, ReportSink& sink) {
    utils().portCapabilityForPort(operands.port, operands.index, handle, sink);
  });
}

int runAdapterCapability(CommandContext& context) {
  return reportOnRouter(context, [](const Operands& operands, RouterHandle& handle, ReportSink& sink) {
    utils().adapterCapabilityForPort(operands.port, operands.index, handle, sink);
  });
}

int runRouter(CommandContext& context) {
  return reportOnRouter(
      context,
      [](const Operands&, RouterHandle& handle, ReportSink& sink) { utils().allSpacesForRouterHandle(handle, sink); },
      "the router's device space cannot be read");
}

int runLinkControllerMemory(CommandContext& context) {
  return reportOnRouter(
      context,
      [](const Operands& operands, RouterHandle& handle, ReportSink& sink) {
        utils().memoryDumpForLC(operands.lc, handle, sink);
      },
      "the router has no link controller memory to dump", "addresses");
}

int runAll(CommandContext& context) {
  return print(
      context, "no Thunderbolt controller found", [](ReportSink& sink) { utils().allSpaces(sink); }, "routers");
}

// ---- Options and help ----

constexpr OptionSpec kRelativeOption = {
    .name = "relative", .help = "number a capability's double words from its header (0) rather than absolutely"};

constexpr std::array<OptionSpec, 6> kRouterOptions = {
    {kRouteOption, kRouterIDOption, kViaParentOption, kBusOption, kRelativeOption, kJsonOption}};

constexpr OptionSpec kPort = {.name = "port", .valueName = "P", .help = "the adapter", .required = true};
constexpr OptionSpec kDeviceIndex = {
    .name = "index",
    .valueName = "I",
    .help = "the device-space index of the capability's header (below 0x2000)",
    .required = true};
constexpr OptionSpec kPortIndex = {
    .name = "index",
    .valueName = "I",
    .help = "the port-space index of the capability's header (below 0x2000)",
    .required = true};

constexpr auto kDeviceCapabilityOptions = withOptions(kRouterOptions, {kDeviceIndex});
constexpr auto kLinkControllerBlockOptions = withOptions(
    kRouterOptions,
    {{.name = "index",
      .valueName = "I",
      .help = "the device-space index of the block's first double word (at most 0x1f65: the report names the "
              "block's first 155 registers)",
      .required = true},
     {.name = "length", .valueName = "L", .help = "the block's length in double words (up to index 0x1fff)",
      .required = true}});
constexpr auto kPortOptions = withOptions(kRouterOptions, {kPort});
constexpr auto kPortCapabilityOptions = withOptions(kRouterOptions, {kPort, kPortIndex});
constexpr auto kLinkControllerMemoryOptions = withOptions(
    kRouterOptions,
    {{.name = "lc", .valueName = "N", .help = "the link controller, from 0 (below the VSEC's LC Count, at most 15)",
      .required = true}});
const OptionSpec kAllOptions[] = {kRelativeOption, kJsonOption};

constexpr const char* kRouterDetails =
    "--route R reaches the router by its route through its controller (--rid);\n"
    "--via-parent R --bus B reaches the router behind IECS bus B of the router at\n"
    "route R through that router's link controller (repeat --bus to go further\n"
    "down). The report goes to standard output as it is read. Exit status 1 when\n"
    "the report is empty or ends with an error line (\"ERROR: 0x...\" or\n"
    "\"Error: 0x...\"). Numbers are decimal or 0x-hex.\n";

constexpr const char* kRouterReportDetails =
    "Every space of the router: its device space, then for each adapter that\n"
    "answers its port, path and counter spaces; a router reached by --route is\n"
    "followed by every router below its lane adapters. A router reached by\n"
    "--via-parent is reported alone. Exit status 1 when the router does not\n"
    "answer or the report ends with an error line. Numbers are decimal or 0x-hex.\n";

const Command kReportCommands[] = {
    {.name = "device", .summary = "a router's device space header and every capability of its chain",
     .details = kRouterDetails, .options = kRouterOptions, .needsHost = true, .run = runDevice},
    {.name = "device-capability", .summary = "one capability of a router's device space",
     .details = kRouterDetails, .options = kDeviceCapabilityOptions, .needsHost = true, .run = runDeviceCapability},
    {.name = "lc-block", .summary = "one link controller's register block in the device space",
     .details = kRouterDetails, .options = kLinkControllerBlockOptions, .needsHost = true,
     .run = runLinkControllerBlock},
    {.name = "port", .summary = "an adapter's port space header and every capability of its chain",
     .details = kRouterDetails, .options = kPortOptions, .needsHost = true, .run = runPort},
    {.name = "port-capability", .summary = "one capability of an adapter's port space",
     .details = kRouterDetails, .options = kPortCapabilityOptions, .needsHost = true, .run = runPortCapability},
    {.name = "adapter-capability", .summary = "an adapter's adapter capability, decoded by adapter type",
     .details = kRouterDetails, .options = kPortCapabilityOptions, .needsHost = true, .run = runAdapterCapability},
    {.name = "path", .summary = "every hop entry of an adapter's path space",
     .details = kRouterDetails, .options = kPortOptions, .needsHost = true, .run = runPath},
    {.name = "counters", .summary = "every counter of an adapter's counter space",
     .details = kRouterDetails, .options = kPortOptions, .needsHost = true, .run = runCounters},
    {.name = "router", .summary = "every space of a router and of the routers below it",
     .details = kRouterReportDetails, .options = kRouterOptions, .needsHost = true, .run = runRouter},
    {.name = "all", .summary = "every space of every router of every controller",
     .details = "The router report of each controller's host router, controller by controller.\n"
                "Exit status 1 when no controller is found or the report ends with an \"ERROR\"\n"
                "line.\n",
     .options = kAllOptions, .needsHost = true, .run = runAll},
    {.name = "lc-memory", .summary = "a link controller's memory, 0x8000 to 0xeffc, through its register window",
     .details = kRouterDetails, .options = kLinkControllerMemoryOptions, .needsHost = true,
     .run = runLinkControllerMemory},
};

const CommandFamily kReportFamily = {"report", "configuration-space reports of routers and adapters",
                                     kReportCommands};

}  // namespace

const CommandFamily& reportFamily() { return kReportFamily; }

}  // namespace tbt::cli
