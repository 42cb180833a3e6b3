// The device-space report of a router: its header and every capability of
// its chain, each capability decoded by its ID and vendor-specific ID.
#include "platform/text.h"
#include "reports/device_decoders.h"

namespace tbt {
namespace reports {
namespace {

constexpr Line kDeviceHeader[] = {
    {0, "  %03x:  %08x   Device ID=0x%04x   Vendor ID=0x%04x\n", {{31, 16}, {15, 0}}},
    {1, "  %03x:  %08x   Rev=0x%02x   Depth=%d   Max Port=%d   Upstream Port=%d   Next Cap Ptr=0x%02x\n",
     {{31, 24}, {22, 20}, {19, 14}, {13, 8}, {7, 0}}},
    {2, "  %03x:  %08x   Topology ID Low\n", {}},
    {3, "  %03x:  %08x   Topology ID High\n", {}},
    {4, "  %03x:  %08x   Thunderbolt Version=0x%02x   Config Retry Timeout=0x%02x\n", {{31, 24}, {7, 0}}},
};
static_assert(formatsMatch(kDeviceHeader));

// A vendor-specific capability of length 0 has a second header double word.
constexpr Line kExtendedHeader{1, "  %03x:  %08x   Extended Length = 0x%04x  Extended Next Cap Ptr=0x%04x\n",
                               {{31, 16}, {15, 0}}};
static_assert(formatMatches(kExtendedHeader));
constexpr Bits kExtendedLength{31, 16};

// The self-reset capability counts its resets in double word 15.
constexpr Line kSelfResetCount{15, "  %03x:  %08x   Self-Reset Count = %u\n", {kWhole}};
static_assert(formatMatches(kSelfResetCount));

// ---- Link-controller capability (vendor-specific ID 6) ----

std::string_view gpioOwner(uint32_t owner) {
  static constexpr std::string_view kOwners[] = {"CP", "HW", "LCA", "LCB"};
  return owner < std::size(kOwners) ? kOwners[owner] : "??";
}

// Double word 2 names the link controllers' register blocks.
constexpr Line kLinkControllerLines[] = {
    {2, "  %03x:  %08x   LC Length = 0x%x  Initial LC Offset=0x%x  LC Count=%d\n", {{27, 16}, {15, 8}, {3, 0}}},
    {3, "  %03x:  %08x   Fuse1=0x%08x\n", {kWhole}},
    {4, "  %03x:  %08x   Fuse2=0x%08x\n", {kWhole}},
    {5, "  %03x:  %08x   Fuse3=0x%08x\n", {kWhole}},
    {6, "  %03x:  %08x   Fuse4=0x%08x\n", {kWhole}},
    {7, "  %03x:  %08x   sw_snk2_aux_n=%d  sel_sw_snk2_aux_n=%d  sw_snk1_aux_n=%d  sel_sw_snk1_aux_n=%d\n",
     {bit(3), bit(2), bit(1), bit(0)}},
    {8,
     "  %03x:  %08x   ee_cp_pcie_hide_emep=%d  ee_clc_force_lc_power_on=%d  ee_clc_force_cio_power_on=%d  "
     "block_ee_reload=%d\n",
     {bit(8), bit(2), bit(1), bit(0)}},
    {9, "  %03x:  %08x   clc_ctrl_rst_req_toggle=0x%08x\n", {kWhole}},
    {10, "  %03x:  %08x   clc_hdp_rst_req_toggle=0x%08x\n", {kWhole}},
    // GPIO ownership, two bits per GPIO.
    {11,
     "  %03x:  %08x   GPIO0:%@ GPIO1:%@ GPIO2:%@ GPIO3:%@ GPIO4:%@ GPIO5:%@ GPIO6:%@ GPIO7:%@\n",
     {named({1, 0}, gpioOwner), named({3, 2}, gpioOwner), named({5, 4}, gpioOwner), named({7, 6}, gpioOwner),
      named({9, 8}, gpioOwner), named({11, 10}, gpioOwner), named({13, 12}, gpioOwner), named({15, 14}, gpioOwner)}},
    {12,
     "  %03x:  %08x   GPIO8:%@ GPIO9:%@ GPIO10:%@ GPIO11:%@ GPIO12:%@ GPIO13:%@ GPIO14:%@ GPIO15:%@\n",
     {named({1, 0}, gpioOwner), named({3, 2}, gpioOwner), named({5, 4}, gpioOwner), named({7, 6}, gpioOwner),
      named({9, 8}, gpioOwner), named({11, 10}, gpioOwner), named({13, 12}, gpioOwner), named({15, 14}, gpioOwner)}},
};
static_assert(formatsMatch(kLinkControllerLines));
constexpr uint32_t kLinkControllerRaw = 13;       // seven raw double words follow the named ones
constexpr uint32_t kLinkControllerBlocks = 20;    // where the blocks' tail starts when there are none

// Walks the device-space chain from first, printing each capability. Ends at
// pointer 0, at a capability that points to itself or back to one printed
// already, or at a failing read (its status returned).
Status walkDeviceCapabilities(ThunderboltUserClientUtils& utils, RouterHandle& handle, uint32_t first,
                              ReportSink& sink) {
  VisitedCapabilities visited;
  for (uint32_t current = first; current != 0 && !visited.seen(current);) {
    utils.deviceCapabilityAtIndex(current, handle, sink);
    if (sink.stopped()) return status::kAborted;
    uint32_t header = 0;
    Status s = handle.configReadWithPort(0, kDeviceSpace, current, header);
    if (s != status::kSuccess) return s;
    uint32_t next = kCapabilityNext.of(header);
    if (next == 0 && kVsecLength.of(header) == 0) {
      s = handle.configReadWithPort(0, kDeviceSpace, current + 1, header);
      if (s != status::kSuccess) return s;
      next = kCapabilityExtendedNext.of(header);
    }
    if (next == current) break;
    current = next;
  }
  return status::kSuccess;
}

}  // namespace

void printLinkControllerCapability(RegisterPrinter& p) {
  uint32_t word = 0;
  if (!p.print(kVsecHeader)) return;
  // The length is always in the second header double word.
  if (!p.printInto(kExtendedHeader, word)) return;
  const uint32_t length = kExtendedLength.of(word);
  if (!p.printInto(kLinkControllerLines[0], word)) return;
  if (!p.print(std::span(kLinkControllerLines).subspan(1))) return;
  if (!p.plainRange(kLinkControllerRaw, kLinkControllerBlocks)) return;
  const uint32_t blockLength = kLinkControllerMailbox.length.of(word);
  const uint32_t blockOffset = kLinkControllerMailbox.offset.of(word);
  const uint32_t count = kLinkControllerMailbox.count.of(word);
  ThunderboltUserClientUtils& utils = ThunderboltUserClientUtils::sharedInstance();
  uint32_t running = kLinkControllerBlocks;
  for (uint32_t n = 0; n < count; ++n) {
    p.sink().write(textf("\n\tLink Controller %d:\n", static_cast<int>(n)));
    const uint32_t block = blockOffset + n * blockLength;
    utils.linkControllerCapabilityAtIndex(p.first() + block, p.handle(), blockLength, p.sink());
    running = block + blockLength;
  }
  p.plainRange(running, length);
}

}  // namespace reports

using namespace reports;

void ThunderboltUserClientUtils::deviceSpaceForRouterHandle(RouterHandle& routerHandle, ReportSink& sink) {
  uint64_t route = 0;
  Status s = setUpReport(routerHandle, route);
  if (s == status::kSuccess) {
    RegisterPrinter p(routerHandle, 0, kDeviceSpace, 0, false, sink);
    uint32_t word = 0;
    if (p.read(0, word)) {
      sink.write(textf("Device configuration space at route 0x%llx\n", static_cast<unsigned long long>(route)));
      p.show(0, kDeviceHeader[0], word);
      if (p.printInto(kDeviceHeader[1], word) && p.print(std::span(kDeviceHeader).subspan(2))) {
        closeWithError(sink, walkDeviceCapabilities(*this, routerHandle, kCapabilityNext.of(word), sink));
        return;
      }
    }
    s = p.status();
  }
  closeWithError(sink, s);
}

void ThunderboltUserClientUtils::deviceCapabilityAtIndex(uint32_t index, RouterHandle& andRouterHandle,
                                                         ReportSink& sink) {
  if (setUpReport(andRouterHandle) != status::kSuccess) return;
  uint32_t header = 0;
  if (andRouterHandle.configReadWithPort(0, kDeviceSpace, index, header) != status::kSuccess) return;
  RegisterPrinter p(andRouterHandle, 0, kDeviceSpace, index, relativeAddressing_, sink);
  constexpr uint32_t kTmuCapability = 3;
  const uint32_t id = kCapabilityID.of(header);
  if (id == kTmuCapability) return printTmuCapability(p);
  if (id != kVendorSpecificCapability) return p.show(0, kOtherCapability, header);
  switch (kVsecID.of(header)) {
    case 0: return printI2cCapability(p);
    case 1: return printDftCapability(p);
    case 2: return printAnalogCapability(p);
    case 3: return printTmuVendorCapability(p);
    case 5: return printVendorCapability(p, kExtendedHeader, &kSelfResetCount);
    case 6: return printLinkControllerCapability(p);
    default: return printVendorCapability(p, kExtendedHeader);
  }
}

}  // namespace tbt
