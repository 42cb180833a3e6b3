// Decoders of the device-space capabilities that are mostly fixed register
// layouts: I2C, DFT, the two time management unit forms, the analog block.
#include "reports/device_decoders.h"

namespace tbt::reports {
namespace {

// ---- I2C controller (vendor-specific ID 0) ----

constexpr Line kI2cLines[] = {
    {0, "\n  %03x:  %08x   VSEC length=0x%02x   VSEC ID=0x%02x (I2C)  Cap ID=0x%02x   Next Cap Ptr=0x%02x\n",
     {{31, 24}, {23, 16}, {15, 8}, {7, 0}}},
    {1, "  %03x:  %08x   Clock Prescale=0x%x (%fKHz)\n", {{15, 0}, Field{{15, 0}, FieldKind::I2cClockKHz}}},
    {2, "  %03x:  %08x   I2C Core Enable=%d  I2C Reset=%d  Target Lock=%d\n", {bit(7), bit(5), bit(4)}},
    {3, "  %03x:  %08x   Tx Data=0x%02x  Read Bit=%d\n", {{7, 1}, bit(0)}},
    {4, "  %03x:  %08x   Rx Data=0x%02x\n", {{7, 0}}},
    {5, "  %03x:  %08x   Start=%d  Stop=%d  Read=%d  Write=%d  Ack=%d\n", {bit(7), bit(6), bit(5), bit(4), bit(3)}},
    // Bit 4 of the status register is not shown.
    {6, "  %03x:  %08x   Rx Ack=%d  Bus Busy=%d  Arb Lost=%d  Req Failed=%d  Controller Lock=%d  In Progress=%d\n",
     {bit(7), bit(6), bit(5), bit(3), bit(2), bit(1)}},
};
static_assert(formatsMatch(kI2cLines));
constexpr uint32_t kI2cRawFrom = 7;

// ---- Design-for-test block (vendor-specific ID 1): always 13 double words ----

constexpr Line kDftLines[] = {
    {0, "\n  %03x:  %08x   VSEC length=0x%02x   VSEC ID=0x%02x (DFT)   Cap ID=0x%02x   Next Cap Ptr=0x%02x\n",
     {{31, 24}, {23, 16}, {15, 8}, {7, 0}}},
    {1,
     "  %03x:  %08x   CRC Err=%d   Max Iter=%d   Plug State=%d   R/S=%d   PE Off Mask = 0x%x   TT On=%d   CS TX "
     "Off=%d\n",
     {{31, 16}, {15, 13}, {12, 8}, bit(7), {6, 2}, bit(1), bit(0)}},
    {2, "  %03x:  %08x   Reset Request=0x%08x\n", {kWhole}},
    {3,
     "  %03x:  %08x   CRC Err En 0x%04x  Errs[P4:FC=%d HEC=%d LK=%d   P3:FC=%d HEC=%d LK=%d   P2:FC=%d HEC=%d LK=%d   "
     "P1:FC=%d HEC=%d LK=%d]\n",
     {{31, 16}, bit(14), bit(13), bit(12), bit(10), bit(9), bit(8), bit(6), bit(5), bit(4), bit(2), bit(1), bit(0)}},
    {4, "  %03x:  %08x   EEPROM [Done=%d   Reload=%d   None=%d   BitBang=%d   DO=%d   DI=%d   CS=%d   SK=%d]\n",
     {bit(7), bit(6), bit(5), bit(4), bit(3), bit(2), bit(1), bit(0)}},
    {5,
     "  %03x:  %08x   REP4=%d   REP3=%d   REP2=%d   REP1=%d   MRR6=%d   MRR5=%d   MRR4=%d   MRR3=%d   MRR2=%d   "
     "MRR1=%d\n",
     {{31, 30}, {29, 28}, {27, 26}, {25, 24}, {23, 20}, {19, 16}, {15, 12}, {11, 8}, {7, 4}, {3, 0}}},
    {6,
     "  %03x:  %08x   TL LBK [4=%d 3=%d 2=%d 1=%d]  ADPT LBK [4=%d 3=%d 2=%d 1=%d]  LBK [4=%d 3=%d 2=%d 1=%d]  "
     "SCRAMDIS [4=%d 3=%d 2=%d 1=%d]  SNOOP [4=%d 3=%d 2=%d 1=%d]\n",
     {bit(19), bit(18), bit(17), bit(16), bit(15), bit(14), bit(13), bit(12), bit(11), bit(10), bit(9), bit(8),
      bit(7), bit(6), bit(5), bit(4), bit(3), bit(2), bit(1), bit(0)}},
    {7, "  %03x:  %08x   thunderbolt_data_rst_n_null [P4=%d P3=%d P2=%d P1=%d]\n", {bit(3), bit(2), bit(1), bit(0)}},
    // Both microcontroller fields show bits 31..28.
    {8, "  %03x:  %08x   uCTL Dbg Func=0x%x   uCTL IMem Addr=0x%x   uCTL Reset = %d\n", {{31, 28}, {31, 28}, bit(0)}},
    {9, "  %03x:  %08x   uCTL Trap Valid=0x%x   uCTL Break Continue = %d\n", {{15, 1}, bit(0)}},
    {10, "  %03x:  %08x   SFR4 High = 0x%x   SFR4 Low = 0x%x\n", {{31, 16}, {15, 0}}},
    {11,
     "  %03x:  %08x   Probe Mode [Trig Occur=%d   Data Bit Sel=0x%x   Sticky=%d   Int Rise=%d   Int Fall=%d   Smart "
     "Trig En=%d   En=%d   Sel=0x%x]\n",
     {bit(31), {19, 16}, bit(15), bit(14), bit(13), bit(12), bit(11), {10, 0}}},
    {12, "  %03x:  %08x   Serial Number = 0x%08x\n", {kWhole}},
};
static_assert(formatsMatch(kDftLines));

// ---- Time management unit, vendor-specific form (vendor-specific ID 3) ----
// Three register groups with raw double words between them; only what
// follows the last group depends on the capability's length.

constexpr Line kTmuVendorHeader{
    0, "\n  %03x:  %08x   VSEC length=0x%02x   VSEC ID=0x%02x (TMU)  Cap ID=0x%02x   Next Cap Ptr=0x%02x\n",
    {{31, 24}, {23, 16}, {15, 8}, {7, 0}}};
static_assert(formatMatches(kTmuVendorHeader));

constexpr Line kTmuVendorGroup1[] = {
    {1, "  %03x:  %08x   Serial Event Interval=0x%x  Serial Calc Interval=0x%x\n", {{31, 16}, {15, 0}}},
    {2, "  %03x:  %08x   Pll Change Rel/Abs=%d  PLL Dir=%d  PLL Param=0x%x\n", {bit(16), bit(15), {14, 0}}},
    {3, "  %03x:  %08x   Post Local Time 31:0 = 0x%08x\n", {kWhole}},
    {4, "  %03x:  %08x   Post Local Time 63:32 = 0x%08x\n", {kWhole}},
    {5, "  %03x:  %08x   Post Time 31:0 = 0x%08x\n", {kWhole}},
    {6, "  %03x:  %08x   Post Time 63:32 = 0x%08x\n", {kWhole}},
    {7, "  %03x:  %08x   Threshold [Lock=0x%x  Disruption=0x%x]  Reset Slave Filters [Serial=%d ID=%d Local=%d]\n",
     {{31, 24}, {23, 16}, bit(2), bit(1), bit(0)}},
    {8, "  %03x:  %08x   Disruption Value=%d  Disruption State=%d  Lock State=0x%x\n", {bit(7), bit(6), {5, 4}}},
    {9, "  %03x:  %08x   TMU Rep [1=0x%x 2=0x%x 3=0x%x 4=0x%x]\n", {{11, 9}, {8, 6}, {5, 3}, {2, 0}}},
};
static_assert(formatsMatch(kTmuVendorGroup1));

constexpr Line kTmuVendorGroup2[] = {
    {19, "  %03x:  %08x   Serial In Disruptions=0x%x  Serial Bad Packets=0x%x  Serial Bit Errors=0x%x\n",
     {{23, 16}, {15, 8}, {7, 0}}},
    // GPIO 2's data-in is bit 3, not bit 4.
    {20,
     "  %03x:  %08x   GPIO 1 [DO=%d OE=%d DI=%d]  GPIO 2 [DO=%d OE=%d DI=%d]  GPIO 3 [DO=%d OE=%d DI=%d]\n",
     {bit(10), bit(9), bit(8), bit(6), bit(5), bit(3), bit(2), bit(1), bit(0)}},
    {21,
     "  %03x:  %08x   Symbol Shift [Polarity=%d  Disable=%d]  DP [Change Src=%d  PLL Change=0x%x  Precalc Wait=0x%x LS "
     "Window=%d]\n",
     {bit(31), bit(30), {27, 24}, {23, 16}, {15, 1}, bit(0)}},
    {22, "  %03x:  %08x   uCTL Command [Ready=%d  Go=%d  Operation=0x%x  Address=0x%x]\n",
     {bit(31), bit(20), {18, 16}, {7, 0}}},
    {23, "  %03x:  %08x   uCTL Tx Data=0x%x\n", {kWhole}},
    {24, "  %03x:  %08x   uCTL Rx Data=0x%x\n", {kWhole}},
    {25, "  %03x:  %08x   Upstream Port Valid=%d  Upstream Port=0x%x\n", {bit(8), {4, 0}}},
    // Fix overlaps Force.
    {26, "  %03x:  %08x   Disruption [Mask=0x%x Force=0x%x]  Serial Time To [Fix=0x%x Calc=0x%x Wire=0x%x]\n",
     {{31, 27}, {26, 22}, {23, 16}, {15, 8}, {7, 0}}},
};
static_assert(formatsMatch(kTmuVendorGroup2));

constexpr Line kTmuVendorGroup3[] = {
    {35,
     "  %03x:  %08x   Serial Ignore [D=%d NL=%d]  1st 1/2 Min [Z=0x%x O=0x%x N=0x%x] Max [Z=0x%x O=0x%x N=0x%x]\n",
     {bit(31), bit(30), {29, 25}, {24, 20}, {19, 15}, {14, 10}, {9, 5}, {4, 0}}},
    {36, "  %03x:  %08x   Serial Always Good=%d  2nd 1/2 Min [Z=0x%x O=0x%x N=0x%x] Max [Z=0x%x O=0x%x N=0x%x]\n",
     {bit(31), {29, 25}, {24, 20}, {19, 15}, {14, 10}, {9, 5}, {4, 0}}},
    {37, "  %03x:  %08x   Serial Packet Timestamp 31:0 = 0x%08x\n", {kWhole}},
    {38, "  %03x:  %08x   Serial Packet Timestamp 63:32 = 0x%08x\n", {kWhole}},
    {39, "  %03x:  %08x   Serial Packet State [D=%d L=0x%x]  Serial Packet Timestamp 79:64 = 0x%04x\n",
     {bit(18), {17, 16}, {15, 0}}},
    {40, "  %03x:  %08x   Serial Packet System Time 31:0 = 0x%08x\n", {kWhole}},
    {41, "  %03x:  %08x   Serial Packet System Time 63:32 = 0x%08x\n", {kWhole}},
    {42, "  %03x:  %08x   Serial Slave Mode [D=%d E=%d ESM=%d]  Serial Packet System Time 79:64 = 0x%04x\n",
     {bit(31), bit(30), bit(29), {15, 0}}},
};
static_assert(formatsMatch(kTmuVendorGroup3));
constexpr uint32_t kTmuVendorRawFrom = 43;

// ---- Time management unit capability (capability ID 3): 22 double words ----

constexpr Line kTmuLines[] = {
    {0, "\n  %03x:  %08x   IDE=%d Freq Measure Window = 0x%04x   Cap ID = 0x%02x (TMU)   Next Cap Ptr=0x%02x\n",
     {bit(31), {30, 16}, {15, 8}, {7, 0}}},
    {1, "  %03x:  %08x   Local Time 31:0 = 0x%08x\n", {kWhole}},
    {2, "  %03x:  %08x   Local Time 63:32 = 0x%08x\n", {kWhole}},
    {3, "  %03x:  %08x   TSPacketInterval = 0x%04x   Local Time 79:64 = 0x%04x\n", {{31, 16}, {15, 0}}},
    {4, "  %03x:  %08x   Time Offset From GM 31:0 = 0x%08x\n", {kWhole}},
    {5, "  %03x:  %08x   Time Offset From GM 63:32 = 0x%08x\n", {kWhole}},
    {6, "  %03x:  %08x   Time Offset From Master 31:0 = 0x%08x\n", {kWhole}},
    {7, "  %03x:  %08x   Time Offset From Master 63:32 = 0x%08x\n", {kWhole}},
    {8, "  %03x:  %08x   Freq Offset From GM 31:0 = 0x%08x\n", {kWhole}},
    {9, "  %03x:  %08x   Freq Offset From Master 31:0 = 0x%08x\n", {kWhole}},
    {10, "  %03x:  %08x   Mean Delay 31:0 = 0x%08x\n", {kWhole}},
    {11, "  %03x:  %08x   Mean Delay 63:32 = 0x%08x\n", {kWhole}},
    {12, "  %03x:  %08x   Computation Timestamp 31:0 = 0x%08x\n", {kWhole}},
    {13, "  %03x:  %08x   Computation Timestamp 63:32 = 0x%08x\n", {kWhole}},
    {14, "  %03x:  %08x   Computation Timestamp 79:64 = 0x%04x\n", {{15, 0}}},
    {15,
     "  %03x:  %08x   TSInterDomainTimeInterval=0x%x ErrorAvgConst=0x%x OffsetAvgConst=0x%x DelayAvgConst=0x%x "
     "FreqAvgConst=0x%x\n",
     {{31, 24}, {23, 18}, {17, 12}, {11, 6}, {5, 0}}},
    {16, "  %03x:  %08x   Interdomain Computation Timestamp 31:0 = 0x%08x\n", {kWhole}},
    {17, "  %03x:  %08x   Interdomain Computation Timestamp 63:32 = 0x%08x\n", {kWhole}},
    {18, "  %03x:  %08x   Interdomain Computation Timestamp 79:64 = 0x%04x\n", {{15, 0}}},
    {19, "  %03x:  %08x   Time Offset From Interdomain GM 31:0 = 0x%08x\n", {kWhole}},
    {20, "  %03x:  %08x   Time Offset From Interdomain GM 63:32 = 0x%08x\n", {kWhole}},
    {21, "  %03x:  %08x   Freq Offset From Interdomain GM = 0x%08x\n", {kWhole}},
};
static_assert(formatsMatch(kTmuLines));

constexpr Line kAnalogHeader{
    0, "\n  %03x:  %08x   VSEC length=0x%02x   VSEC ID=0x%02x (Analog)  Cap ID=0x%02x   Next Cap Ptr=0x%02x\n",
    {{31, 24}, {23, 16}, {15, 8}, {7, 0}}};
static_assert(formatMatches(kAnalogHeader));

}  // namespace

void printI2cCapability(RegisterPrinter& p) {
  uint32_t header = 0;
  if (!p.printInto(kI2cLines[0], header)) return;
  if (!p.print(std::span(kI2cLines).subspan(1))) return;
  p.plainRange(kI2cRawFrom, kVsecLength.of(header));
}

void printDftCapability(RegisterPrinter& p) { p.print(kDftLines); }

void printTmuVendorCapability(RegisterPrinter& p) {
  uint32_t header = 0;
  if (!p.printInto(kTmuVendorHeader, header)) return;
  if (!p.print(kTmuVendorGroup1) || !p.plainRange(10, 19)) return;
  if (!p.print(kTmuVendorGroup2) || !p.plainRange(27, 35)) return;
  if (!p.print(kTmuVendorGroup3)) return;
  p.plainRange(kTmuVendorRawFrom, kVsecLength.of(header));
}

void printTmuCapability(RegisterPrinter& p) { p.print(kTmuLines); }

void printAnalogCapability(RegisterPrinter& p) {
  uint32_t header = 0;
  if (!p.printInto(kAnalogHeader, header)) return;
  p.plainRange(1, kVsecLength.of(header));
}

}  // namespace tbt::reports
