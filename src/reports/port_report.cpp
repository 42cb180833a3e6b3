// The port-space report of one adapter: its header, the adapter named in
// words, and every capability of its chain, each decoded by its ID.
#include "platform/text.h"
#include "reports/report_engine.h"

namespace tbt {
namespace reports {
namespace {

// The adapter's name from its type: base class (bits 23..16) and protocol
// (bits 7..0); the subclass plays no part.
std::string_view adapterName(uint32_t type) {
  const uint32_t baseClass = Bits{23, 16}.of(type);
  const uint32_t protocol = Bits{7, 0}.of(type);
  switch (baseClass) {
    case 0x00:
      switch (protocol) {
        case 0: return "Port is inactive";
        case 1: return "Thunderbolt Port (Port does not contain an Adapter)";
        case 2: return "Thunderbolt Host Interface Adapter";
        default: return "Unknown adapter protocol";
      }
    case 0x02: return "Ethernet Adapter";
    case 0x08: return "SATA Adapter";
    case 0x0E: {
      static const std::string kIn = textf("DisplayPort or HDMI %s Adapter", "IN");
      static const std::string kOut = textf("DisplayPort or HDMI %s Adapter", "OUT");
      return bit(0).of(type) ? kIn : kOut;
    }
    case 0x10: return "PCIe Adapter";
    case 0x20: return "USB Adapter";
    case 0xFF: return "Vendor-unique Adapter";
    default: return "Unknown adapter base class";
  }
}

constexpr Line kPortHeader[] = {
    {0, "  %03x:  %08x   Device ID=0x%04x   Vendor ID=0x%04x\n", {{31, 16}, {15, 0}}},
    {1, "  %03x:  %08x   Rev=0x%02x   CCS=%d   Max Counters=%d   Next Cap Ptr=0x%02x\n",
     {{31, 24}, bit(19), {18, 8}, {7, 0}}},
    {2, "  %03x:  %08x   Thunderbolt Version=0x%02x   Adapter Type=0x%06x (%@)\n",
     {{31, 24}, {23, 0}, named({23, 0}, adapterName)}},
    {3, "  %03x:  %08x   SBC=%d   Port Number=%d   Total Buffers=%d\n", {bit(31), {25, 20}, {19, 0}}},
    {4, "  %03x:  %08x   Max Credits=%d   Non Flow Controlled Buffers=%d\n", {{26, 20}, {19, 0}}},
    {5, "  %03x:  %08x   Link Credits Allocated=%d   Max Out HopID=%d   Max In HopID=%d\n",
     {{28, 22}, {21, 11}, {10, 0}}},
    {6, "  %03x:  %08x   HEC Errors = %d\n", {kWhole}},
    {7, "  %03x:  %08x   Invalid HopID Errors = %d\n", {kWhole}},
    {8, "  %03x:  %08x   ECC Errors = %d\n", {kWhole}},
};
static_assert(formatsMatch(kPortHeader));

// Early host controllers (identity double words below) report a first
// capability pointer of their DP Out adapters that cannot be read; the chain
// of those adapters starts at a fixed double word.
constexpr uint32_t kFixedStartControllers[] = {0x15138086, 0x151A8086, 0x15478086, 0x15488086};
constexpr uint32_t kFixedCapabilityStart = 0x39;

uint32_t firstPortCapability(RouterHandle& handle, uint32_t port, uint32_t reported) {
  uint32_t word = 0;
  if (handle.configReadWithPort(port, kPortSpace, reported, word) == status::kSuccess) return reported;
  uint32_t identity = 0;
  uint32_t type = 0;
  const bool identityRead = handle.configReadWithPort(port, kPortSpace, kIdentityDword, identity) == status::kSuccess;
  const bool typeRead = handle.configReadWithPort(port, kPortSpace, kAdapterTypeDword, type) == status::kSuccess;
  if (!identityRead || !typeRead || kAdapterType.of(type) != kDPOutAdapterType) return reported;
  for (uint32_t listed : kFixedStartControllers)
    if (identity == listed) return kFixedCapabilityStart;
  return reported;
}

// Walks the port's capability chain from first, printing each capability.
// A long header keeps its next pointer in the device space's double word
// after the header's index; that 16-bit pointer only decides whether the
// chain points to itself, the step itself takes the low byte of the double
// word read last. Ends as the device-space walk does.
Status walkPortCapabilities(ThunderboltUserClientUtils& utils, RouterHandle& handle, uint32_t port, uint32_t first,
                            ReportSink& sink) {
  VisitedCapabilities visited;
  for (uint32_t current = first; current != 0 && !visited.seen(current);) {
    utils.portCapabilityForPort(port, current, handle, sink);
    if (sink.stopped()) return status::kAborted;
    uint32_t word = 0;
    Status s = handle.configReadWithPort(port, kPortSpace, current, word);
    if (s != status::kSuccess) return s;
    uint32_t candidate = kCapabilityNext.of(word);
    if (candidate == 0 && kVsecLength.of(word) == 0) {
      s = handle.configReadWithPort(0, kDeviceSpace, current + 1, word);
      if (s != status::kSuccess) return s;
      candidate = kCapabilityExtendedNext.of(word);
    }
    if (candidate == current) break;
    current = kCapabilityNext.of(word);
  }
  return status::kSuccess;
}

}  // namespace
}  // namespace reports

using namespace reports;

void ThunderboltUserClientUtils::portSpaceForPort(uint32_t port, RouterHandle& andRouterHandle, ReportSink& sink) {
  uint64_t route = 0;
  Status s = setUpReport(andRouterHandle, route);
  if (s == status::kSuccess) {
    RegisterPrinter p(andRouterHandle, port, kPortSpace, 0, false, sink);
    uint32_t word = 0;
    if (p.read(0, word)) {
      sink.write(textf("Port 0x%x configuration space at route 0x%llx\n", port,
                       static_cast<unsigned long long>(route)));
      p.show(0, kPortHeader[0], word);
      if (p.printInto(kPortHeader[1], word) && p.print(std::span(kPortHeader).subspan(2))) {
        const uint32_t first = firstPortCapability(andRouterHandle, port, kCapabilityNext.of(word));
        closeWithError(sink, walkPortCapabilities(*this, andRouterHandle, port, first, sink));
        return;
      }
    }
    s = p.status();
  }
  closeWithError(sink, s);
}

}  // namespace tbt
