// Decoders of the port-space capabilities: PHY configuration with the link
// state, power management, the two time management unit forms, the DP and
// the generic vendor-specific capability. The adapter capability (ID 4) has
// its own report.
#include "platform/text.h"
#include "reports/report_engine.h"

namespace tbt {
namespace reports {
namespace {

// ---- PHY configuration (capability ID 1) ----

constexpr Line kPhyLines[] = {
    {0,
     "\n  %03x:  %08x   APM=%d   MaxLinkWidth=%d   Speeds=%d  Cap ID = 0x%02x (PHY Config)   Next Cap Ptr=0x%02x\n",
     {{29, 26}, {25, 20}, {19, 16}, {15, 8}, {7, 0}}},
    {1,
     "  %03x:  %08x   LPR=%d   State=%d   NegotiatedWidth=%d   Speed=%d   LR=%d   LD=%d   APM=%d   TargetWidth=%d   "
     "TargetSpeed=%d\n",
     {bit(31), {29, 26}, {25, 20}, {19, 16}, bit(15), bit(14), {13, 10}, {9, 4}, {3, 0}}},
    {2, "  %03x:  %08x   SE=%d   OSE=%d   STE=%d\n", {bit(2), bit(1), bit(0)}},
};
static_assert(formatsMatch(kPhyLines));
constexpr Bits kLinkState{29, 26};

constexpr std::string_view kLinkStates[] = {
    "Link Down - Disabled",
    "CONNECTION DETECT, training but not up",
    "CONNECTED, CL0",
    "CONNECTED, CL0s Tx",
    "CONNECTED, CL0s Rx",
    "CONNECTED, CL1",
    "CONNECTED, CL2",
    "CLd - port is enabled, LSOP is active, but not connected",
    "Loopback Target",
    "Loopback Master",
};

void printPhyCapability(RegisterPrinter& p) {
  uint32_t state = 0;
  uint32_t control = 0;
  if (!p.print(kPhyLines[0]) || !p.printInto(kPhyLines[1], state) || !p.printInto(kPhyLines[2], control)) return;
  const uint32_t value = kLinkState.of(state);
  // An undefined state shows the same bits of the double word after the
  // state's.
  const std::string name = value < std::size(kLinkStates)
                               ? std::string(kLinkStates[value])
                               : textf("Undefined %d", static_cast<int>(kLinkState.of(control)));
  p.sink().write(textf("\tLINK STATE:  %s\n", name.c_str()));
}

// ---- Power management (capability ID 2) ----

// The header's first conversion takes the capability ID, the second the
// next pointer and the third the idle exit latency, whatever their labels say.
constexpr Line kPmLines[] = {
    {0, "\n  %03x:  %08x   Idle Exit Latency=0x%x  Cap ID = 0x%02x (PM)   Next Cap Ptr=0x%02x\n",
     {{15, 8}, {7, 0}, {29, 16}}},
    {1, "  %03x:  %08x   Suspend Exit Latency=0x%x  Idle Exit Latency=0x%x  Suspend Exit Latency=0x%x\n",
     {{15, 13}, {12, 10}, {9, 0}}},
};
static_assert(formatsMatch(kPmLines));

// ---- Time management unit (capability ID 3): a lane form and, on DP Out
// adapters, a modulator form ----

constexpr Line kTmuLaneLines[] = {
    {0, "\n  %03x:  %08x   Cap ID = 0x%02x (TMU)   Next Cap Ptr=0x%02x\n", {{15, 8}, {7, 0}}},
    {1, "  %03x:  %08x   Tx Time To Wire=0x%08x\n", {kWhole}},
    {2, "  %03x:  %08x   Rx Time To Wire=0x%08x\n", {kWhole}},
    {3, "  %03x:  %08x   IDS=%d  IDM=%d\n", {bit(31), bit(30)}},
    {4, "  %03x:  %08x   Tx TSNOS Count=0x%x  Rx TSNOS Count=0x%x\n", {{31, 16}, {15, 0}}},
    {5, "  %03x:  %08x   Tx Packet Count=0x%x  Rx Packet Count=0x%x\n", {{31, 16}, {15, 0}}},
    {6, "  %03x:  %08x   Disable Time Sync=%d  Ignore Rx CRC=%d\n", {bit(1), bit(0)}},
    {7, "  %03x:  %08x   Bad Packet Count=0x%x  Lost Packet Count=0x%x  Lost OS Count=0x%x\n",
     {{29, 20}, {19, 10}, {9, 0}}},
    {8, "  %03x:  %08x\n", {}},
};
static_assert(formatsMatch(kTmuLaneLines));

constexpr Line kTmuModulatorLines[] = {
    {0,
     "\n  %03x:  %08x   uC Mod=%d  GFBS High=0x%x Low=0x%x  Cap ID = 0x%02x (TMU)   Next Cap Ptr=0x%02x\n",
     {bit(31), {23, 20}, {19, 16}, {15, 8}, {7, 0}}},
    {1,
     "  %03x:  %08x   DM=%d  FLD=%d  FHD=%d  RLD=%d  RHD=%d  LAF=0x%x  LAR=0x%x  LGF=0x%x  LGR=0x%x FS=0x%02x\n",
     {bit(30), bit(27), bit(26), bit(25), bit(24), {23, 20}, {19, 16}, {15, 12}, {11, 8}, {7, 0}}},
    {2, "  %03x:  %08x   Command to uC Modulator=0x%08x\n", {kWhole}},
    {3, "  %03x:  %08x   Data to uC Modulator=0x%08x\n", {kWhole}},
    {4, "  %03x:  %08x   Data from uC Modulator=0x%08x\n", {kWhole}},
    {5, "  %03x:  %08x\n", {}},
    {6, "  %03x:  %08x   SSC PPM Shift=0x%x\n", {{15, 0}}},
    {7, "  %03x:  %08x   SSC Step Size=0x%x\n", {{7, 0}}},
    // Both PLL fields show bit 16.
    {8, "  %03x:  %08x   Pll Change=%d  PLL Direction=%d  PLL Param=0x%x\n", {bit(16), bit(16), {14, 0}}},
    {9, "  %03x:  %08x   Max Fix Amplitude=0x%x\n", {{15, 0}}},
};
static_assert(formatsMatch(kTmuModulatorLines));

void printTmuCapability(RegisterPrinter& p, uint32_t port) {
  uint32_t type = 0;
  const bool modulator = p.handle().configReadWithPort(port, kPortSpace, kAdapterTypeDword, type) ==
                             status::kSuccess &&
                         kAdapterType.of(type) == kDPOutAdapterType;
  if (modulator) p.print(kTmuModulatorLines);
  else p.print(kTmuLaneLines);
}

// ---- Vendor-specific capabilities (capability ID 5) ----

constexpr Line kExtendedHeader{1, "\n  %03x:  %08x   Extended Length = 0x%04x  Extended Next Cap Ptr=0x%04x\n",
                               {{31, 16}, {15, 0}}};
static_assert(formatMatches(kExtendedHeader));

constexpr Line kDpVsecHeader{
    0, "\n  %03x:  %08x   VSEC length=0x%02x   VSEC ID=0x%02x (DP)  Cap ID=0x%02x   Next Cap Ptr=0x%02x\n",
    {{31, 24}, {23, 16}, {15, 8}, {7, 0}}};
static_assert(formatMatches(kDpVsecHeader));
// Read from the router's device space at the same index, not the port's.
constexpr Line kDpVsecIpControl{1, "  %03x:  %08x   IP Valid=%d  IP Write1/Read0=%d\n", {bit(1), bit(0)}};
static_assert(formatMatches(kDpVsecIpControl));
constexpr Line kDpVsecIpLines[] = {
    {2, "  %03x:  %08x   IP Address=0x%04x\n", {{15, 0}}},
    {3, "  %03x:  %08x   IP Write Data=0x%08x\n", {kWhole}},
    {4, "  %03x:  %08x   IP Read Data=0x%08x\n", {kWhole}},
};
static_assert(formatsMatch(kDpVsecIpLines));
constexpr uint32_t kDpPatchFirst = 5;
constexpr uint32_t kDpPatchLast = 20;
constexpr Line kDpPatch{0, "  %03x:  %08x   IP Patch %d Valid=%d  IP Address To Patch %d=0x%04x\n",
                        {kArgument, bit(31), kArgument, {15, 0}}};
static_assert(formatMatches(kDpPatch));
constexpr Line kDpUcode{21, "  %03x:  %08x   Ucode Done=%d  dp_8051 SW Reset=%d\n", {bit(1), bit(0)}};
static_assert(formatMatches(kDpUcode));

// The DP adapters' micro-controller window; double words 1 to 21 are only
// decoded on a DP adapter.
void printDpVsec(RegisterPrinter& p, uint32_t port) {
  uint32_t header = 0;
  if (!p.printInto(kDpVsecHeader, header)) return;
  uint32_t type = 0;
  if (p.handle().configReadWithPort(port, kPortSpace, kAdapterTypeDword, type) != status::kSuccess) return;
  uint32_t dw = 1;
  type = kAdapterType.of(type);
  if (type == kDPOutAdapterType || type == kDPInAdapterType) {
    RegisterPrinter device(p.handle(), 0, kDeviceSpace, p.first(), relativeAddressing(), p.sink());
    if (!device.print(kDpVsecIpControl) || !p.print(kDpVsecIpLines)) return;
    for (uint32_t n = kDpPatchFirst; n <= kDpPatchLast; ++n)
      if (!p.printAt(n, kDpPatch, n)) return;
    if (!p.print(kDpUcode)) return;
    dw = kDpUcode.dw + 1;
  }
  p.plainRange(dw, kVsecLength.of(header));
}


}  // namespace
}  // namespace reports

using namespace reports;

void ThunderboltUserClientUtils::portCapabilityForPort(uint32_t port, uint32_t index, RouterHandle& andRouterHandle,
                                                       ReportSink& sink) {
  if (setUpReport(andRouterHandle) != status::kSuccess) return;
  uint32_t header = 0;
  if (andRouterHandle.configReadWithPort(port, kPortSpace, index, header) != status::kSuccess) return;
  RegisterPrinter p(andRouterHandle, port, kPortSpace, index, relativeAddressing_, sink);
  switch (kCapabilityID.of(header)) {
    case 1: return printPhyCapability(p);
    case 2: p.print(kPmLines); return;
    case 3: return printTmuCapability(p, port);
    case 4: return adapterCapabilityForPort(port, index, andRouterHandle, sink);
    case kVendorSpecificCapability:
      if (kVsecID.of(header) == 0) return printDpVsec(p, port);
      return printVendorCapability(p, kExtendedHeader);
    default: return p.show(0, kOtherCapability, header);
  }
}

}  // namespace tbt
