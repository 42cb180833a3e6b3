// The path and counter spaces of one port, and the reports of everything a
// router (and the fabric below it) or every controller holds.
#include <algorithm>

#include "kernel/user_client.h"
#include "kernel/user_client_manager.h"
#include "platform/registry_keys.h"
#include "platform/text.h"
#include "reports/report_engine.h"

namespace tbt {
namespace reports {
namespace {

constexpr Bits kMaxPort{19, 14};

constexpr Line kPathEntry[] = {
    {0, "  %03x:  %08x   Valid=%d   Credits Allocated=%d   Output Port=0x%x   Out HopID=%d\n",
     {bit(31), {24, 17}, {16, 11}, {10, 0}}},
    {1,
     "  %03x:  %08x   QNE=%d   ESE=%d   ISE=%d   EFC=%d   IFC=%d   CE=%d   Counter=%d   D=%d   Pri=%d   WRR=%d\n",
     {bit(28), bit(27), bit(26), bit(25), bit(24), bit(23), {22, 12}, bit(11), {10, 8}, {7, 0}}},
};
static_assert(formatsMatch(kPathEntry));

constexpr Line kCounterEntry[] = {
    {0, "  %03x:  %08x   Received Packets Lo = 0x%08x\n", {kWhole}},
    {1, "  %03x:  %08x   Received Packets Hi = 0x%08x\n", {kWhole}},
    {2, "  %03x:  %08x   Dropped Packets = 0x%08x\n", {kWhole}},
};
static_assert(formatsMatch(kCounterEntry));

// The report of every router passed on to the caller's sink, counting the
// routers reported for the sink's progress.
class RouterTally final : public ForwardingReportSink {
 public:
  RouterTally(ReportSink& sink, uint64_t total) : ForwardingReportSink(sink), total_(total) {
    advance(progress(), 0, total_);
  }
  void routerDone() override {
    total_ = std::max(total_, ++done_);
    advance(progress(), done_, total_);
  }

 private:
  uint64_t done_ = 0;
  uint64_t total_;
};

// The routers the registry lists from sw down (sw included): the total the
// report of every router is measured against. A route names at most seven
// hops below the host router.
uint64_t routersInRegistry(ThunderboltUserClientUtils& utils, const RegistryEntry& sw, uint8_t rid, int depth = 0) {
  uint64_t count = 1;
  if (depth >= 7) return count;
  for (const RegistryEntry& port : sw.children()) {
    if (!port.conformsTo(kPortClass)) continue;
    RegistryEntry downstream = utils.childPortFromPort(port, rid);
    RegistryEntry below = downstream ? utils.switchFromPort(downstream, rid) : RegistryEntry();
    if (below) count += routersInRegistry(utils, below, rid, depth + 1);
  }
  return count;
}

// A route string names one hop per byte; seven bytes can be used.
constexpr unsigned kRouteLevels = 7;

// The route of the router below adapter port of the router at route: the
// port number in the lowest unused byte; none when all seven are used.
std::optional<uint64_t> childRoute(uint64_t route, uint32_t port) {
  for (unsigned level = 0; level < kRouteLevels; ++level)
    if (((route >> (8 * level)) & 0xFF) == 0) return route | uint64_t{port} << (8 * level);
  return std::nullopt;
}

}  // namespace
}  // namespace reports

using namespace reports;

void ThunderboltUserClientUtils::pathSpaceForPort(uint32_t port, RouterHandle& andRouterHandle, ReportSink& sink) {
  uint64_t route = 0;
  Status s = setUpReport(andRouterHandle, route);
  uint32_t hops = 0;
  if (s == status::kSuccess) s = andRouterHandle.configReadWithPort(port, kPortSpace, kHopDword, hops);
  if (s == status::kSuccess) {
    sink.write(textf("Path configuration space for port 0x%x at route 0x%llx, RID 0x%x\n", port,
                     static_cast<unsigned long long>(route), andRouterHandle.routerID()));
    // One unreadable entry does not hide the others: each entry's first read
    // sets the status anew, and only the last one decides the closing line.
    const uint32_t last = kMaxInHopID.of(hops);
    for (uint32_t hop = 0; hop <= last && !sink.stopped(); ++hop) {
      sink.write(textf("\nPath %d configuration\n", static_cast<int>(hop)));
      RegisterPrinter p(andRouterHandle, port, kPathSpace, 2 * hop, false, sink);
      if (p.print(kPathEntry[0])) p.print(kPathEntry[1]);
      s = p.status();
    }
  }
  closeWithError(sink, s);
}

void ThunderboltUserClientUtils::counterSpaceForPort(uint32_t port, RouterHandle& andRouterHandle, ReportSink& sink) {
  uint64_t route = 0;
  Status s = setUpReport(andRouterHandle, route);
  uint32_t header = 0;
  uint32_t type = 0;
  if (s == status::kSuccess) s = andRouterHandle.configReadWithPort(port, kPortSpace, kFirstCapabilityDword, header);
  if (s == status::kSuccess) s = andRouterHandle.configReadWithPort(port, kPortSpace, kAdapterTypeDword, type);
  if (s == status::kSuccess) {
    sink.write(textf("Counter configuration space for port 0x%x at route 0x%llx, RID 0x%x\n", port,
                     static_cast<unsigned long long>(route), andRouterHandle.routerID()));
    const uint32_t count = kMaxCounters.of(header);
    for (uint32_t counter = 0; counter < count && !sink.stopped(); ++counter) {
      sink.write(textf("\nCounter %d configuration\n", static_cast<int>(counter)));
      RegisterPrinter p(andRouterHandle, port, kCounterSpace, 3 * counter, false, sink);
      p.print(kCounterEntry);
      s = p.status();
    }
  }
  closeWithError(sink, s);
}

void ThunderboltUserClientUtils::allSpacesForRouterHandle(RouterHandle& routerHandle, ReportSink& sink) {
  if (sink.stopped() || setUpReport(routerHandle) != status::kSuccess) return;
  uint32_t config = 0;
  if (routerHandle.configReadWithPort(0, kDeviceSpace, kFirstCapabilityDword, config) != status::kSuccess) return;
  deviceSpaceForRouterHandle(routerHandle, sink);
  sink.write("\n");
  const uint32_t maxPort = kMaxPort.of(config);
  for (uint32_t port = 1; port <= maxPort && !sink.stopped(); ++port) {
    uint32_t word = 0;
    if (routerHandle.configReadWithPort(port, kPortSpace, kIdentityDword, word) != status::kSuccess) continue;
    portSpaceForPort(port, routerHandle, sink);
    sink.write("\n");
    pathSpaceForPort(port, routerHandle, sink);
    sink.write("\n");
    counterSpaceForPort(port, routerHandle, sink);
    sink.write("\n");
  }
  sink.routerDone();
  // Only routers the host reaches by route are descended into; a lane
  // adapter with nothing behind it gives a router whose first read fails.
  if (dynamic_cast<LocalRouterHandle*>(&routerHandle) == nullptr) return;
  for (uint32_t port = 1; port <= maxPort && !sink.stopped(); ++port) {
    uint32_t type = 0;
    if (routerHandle.configReadWithPort(port, kPortSpace, kAdapterTypeDword, type) != status::kSuccess ||
        kAdapterType.of(type) != kLaneAdapterType)
      continue;
    const std::optional<uint64_t> route = childRoute(routerHandle.route(), port);
    if (!route) continue;
    std::unique_ptr<LocalRouterHandle> child = LocalRouterHandle::localRouterHandle();
    child->setRoute(*route);
    child->setRouterID(routerHandle.routerID());
    allSpacesForRouterHandle(*child, sink);
  }
}

void ThunderboltUserClientUtils::allSpaces(ReportSink& sink) {
  ThunderboltUserClientManager& manager = ThunderboltUserClientManager::sharedInstance();
  const auto& clients = manager.userClientSet();
  if (clients.empty()) return;
  uint64_t routers = 0;
  for (const auto& client : clients) {
    const uint8_t rid = client->routerID();
    if (RegistryEntry host = switchFromPort(nhiForRouterID(rid), rid))
      routers += reports::routersInRegistry(*this, host, rid);
  }
  reports::RouterTally tally(sink, routers);
  for (const auto& client : clients) {
    if (tally.stopped()) return;
    const uint8_t rid = client->routerID();
    tally.write(textf("Router ID %d:\n=================================\n\n", rid));
    ThunderboltKernelUserClient* active = manager.userClientForRouterID(rid);
    if (active && active->makeActive() != status::kSuccess) {
      closeWithError(tally, status::kGeneralFailure);
      continue;
    }
    std::unique_ptr<LocalRouterHandle> handle = LocalRouterHandle::localRouterHandle();
    handle->setRoute(0);
    handle->setRouterID(rid);
    allSpacesForRouterHandle(*handle, tally);
  }
  tally.write("=================================\n\n");
}

}  // namespace tbt
