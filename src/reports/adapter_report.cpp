// The adapter capability (capability ID 4 of the port space), laid out by
// what the adapter is: its base class, not anything in the capability.
#include "reports/report_engine.h"

namespace tbt {
namespace reports {
namespace {

// Link capability fields: the lane count and the link rate are encoded.
std::string_view encodedLanes(uint32_t v) {
  static constexpr std::string_view kNames[] = {"x1", "x2", "x4"};
  return v < std::size(kNames) ? kNames[v] : "??";
}
std::string_view linkRate(uint32_t v) {
  static constexpr std::string_view kNames[] = {"1.62GHz", "2.7GHz", "5.4GHz"};
  return v < std::size(kNames) ? kNames[v] : "??";
}
std::string_view dpcdRevision(uint32_t v) {
  static constexpr std::string_view kNames[] = {"DP 1.1a", "DP 1.2"};
  return v < std::size(kNames) ? kNames[v] : "??";
}
std::string_view dpCapability(uint32_t v) {
  static constexpr std::string_view kNames[] = {"Legacy DP", "DP 1.2", "DP 1.2"};
  return v < std::size(kNames) ? kNames[v] : "??";
}
// The status double word counts its lanes plainly.
std::string_view laneCount(uint32_t v) {
  switch (v) {
    case 1: return "x1";
    case 2: return "x2";
    case 4: return "x4";
    default: return "??";
  }
}

constexpr Line kDpAdapterLines[] = {
    {0,
     "\n  %03x:  %08x   Video Enable=%d  Aux Enable=%d  Video Hop ID=%d  Cap ID=0x%02x (DP Adapter)  Next Cap "
     "Ptr=0x%02x\n",
     {bit(31), bit(30), {26, 16}, {15, 8}, {7, 0}}},
    {1, "  %03x:  %08x   Aux Rx Hop ID=%d  Aux Tx Hop ID=%d\n", {{21, 11}, {10, 0}}},
    {2,
     "  %03x:  %08x   Clk Pol [3=%d 2=%d 1=%d 0=%d]  SOL Thresh = %d  HPD=%d  STU=%d  VEG=%d  SWLI=%d  HPD Updt "
     "Dis=%d  SLI=%d  IPD=%d\n",
     {bit(27), bit(26), bit(25), bit(24), {20, 8}, bit(6), bit(5), bit(4), bit(3), bit(2), bit(1), bit(0)}},
    {3, "  %03x:  %08x   DLI=%d  DFF=%d  HPDS=%d  HPDC=%d  LG=%d  IIR LPF Strength=%d\n",
     {bit(12), bit(11), bit(10), bit(9), bit(8), {7, 0}}},
    {4,
     "  %03x:  %08x   Local [EF=%d  TPS3=%d  MST=%d  Lanes=%d (%@)  Rate=%d (%@)  DPCD Rev=%d (%@) Cap=%d (%@)]\n",
     {bit(23), bit(22), bit(15), {14, 12}, named({14, 12}, encodedLanes), {11, 8}, named({11, 8}, linkRate), {7, 4},
      named({7, 4}, dpcdRevision), {3, 0}, named({3, 0}, dpCapability)}},
    {5,
     "  %03x:  %08x   Remote [EF=%d  TPS3=%d  MST=%d  Lanes=%d (%@)  Rate=%d (%@)  DPCD Rev=%d (%@) Cap=%d (%@)]\n",
     {bit(23), bit(22), bit(15), {14, 12}, named({14, 12}, encodedLanes), {11, 8}, named({11, 8}, linkRate), {7, 4},
      named({7, 4}, dpcdRevision), {3, 0}, named({3, 0}, dpCapability)}},
    {6, "  %03x:  %08x   DP Status [Link Rate=%d (%@)   Lane Count=%d (%@)]\n",
     {{9, 8}, named({9, 8}, linkRate), {2, 0}, named({2, 0}, laneCount)}},
};
static_assert(formatsMatch(kDpAdapterLines));

// Four double words; the data counters overlap in bits 19..16.
constexpr Line kPcieAdapterLines[] = {
    {0,
     "\n  %03x:  %08x   E=%d LTSSM=0x%x PS=0x%x Rt=0x%x Rst=%d Idle [Rx=%d Tx=%d] L=%d  Cap ID=0x%02x (PCIe Adapter) "
     "Next Cap Ptr=0x%02x\n",
     {bit(31), {28, 25}, {24, 23}, {22, 20}, bit(19), bit(18), bit(17), bit(16), {15, 8}, {7, 0}}},
    {1,
     "  %03x:  %08x   RE=%d  TxOffD=%d  BadPDFE=%d  DPFE=%d  LBP=%d  REE=%d  Counter [Ctrl 3=0x%x Ctrl 2=0x%x Ctrl "
     "1=0x%x Reset=%d]\n",
     {bit(31), bit(30), bit(29), bit(28), bit(27), bit(26), {11, 9}, {7, 5}, {3, 1}, bit(0)}},
    {2, "  %03x:  %08x   Counter 2 For Data=0x%x  Counter 1 For Data=0x%x\n", {{31, 16}, {19, 0}}},
    {3, "  %03x:  %08x   Counter 3 For Errors=0x%x\n", {{7, 0}}},
};
static_assert(formatsMatch(kPcieAdapterLines));

constexpr Line kAdapterSpecific{0, "\n  %03x:  %08x   Cap ID = 0x%02x (Adapter Specific)   Next Cap Ptr=0x%02x\n",
                                {{15, 8}, {7, 0}}};
static_assert(formatMatches(kAdapterSpecific));

constexpr uint32_t kDisplayPortClass = 0x0E;
constexpr uint32_t kPcieClass = 0x10;
constexpr Bits kBaseClass{23, 16};

}  // namespace
}  // namespace reports

using namespace reports;

void ThunderboltUserClientUtils::adapterCapabilityForPort(uint32_t port, uint32_t index, RouterHandle& andRouterHandle,
                                                          ReportSink& sink) {
  if (setUpReport(andRouterHandle) != status::kSuccess) return;
  uint32_t type = 0;
  if (andRouterHandle.configReadWithPort(port, kPortSpace, kAdapterTypeDword, type) != status::kSuccess) return;
  RegisterPrinter p(andRouterHandle, port, kPortSpace, index, relativeAddressing_, sink);
  switch (kBaseClass.of(type)) {
    case kDisplayPortClass: p.print(kDpAdapterLines); return;
    case kPcieClass: p.print(kPcieAdapterLines); return;
    default: p.print(kAdapterSpecific); return;
  }
}

}  // namespace tbt
