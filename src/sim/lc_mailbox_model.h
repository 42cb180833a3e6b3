#pragma once
// The IECS mailboxes of a router's link controller. The link-controller
// capability (vendor-specific ID 6 in device space) announces them in its
// double word 2: count (bits 3..0), offset of the first from the capability
// (bits 15..8) and distance between two (bits 27..16), in double words. In
// each mailbox, double word 99 is the command word; writing it with bits 31
// (start) and 30 (a command, not a status word) set moves bytes between the
// mailbox's data double words (write data at 100.., read data at 116..) and
// an IECS device of the router, and bit 31 clears once the transfer has taken
// its simulated time. Bit 25 then reports a device that did not answer, bit
// 24 a device that failed. The mailbox takes the command and, for a write,
// the 16 write-data double words at the moment the command word is written:
// what is written to them later belongs to the next transfer. A word with
// bit 31 set but bit 30 clear starts nothing; it reads back as written, busy.
//
// Faults: op "lc-mailbox" with route, bus and device (IECS device 1..3). A
// time-out status makes the mailbox never complete; not responding sets bit
// 25; any other status sets bit 24.
#include <string_view>

#include "sim/router.h"
#include "sim/sim_host.h"

namespace tbt::sim {

inline constexpr std::string_view kFaultLcMailbox = "lc-mailbox";

/// Simulated time one mailbox transfer takes.
inline constexpr uint64_t kMailboxTransferMicroseconds = 1000;

/// Attaches the mailboxes of router's link controller, when its stored
/// device space has the capability; does nothing otherwise.
void attachIecsMailboxes(SimHost& host, Router& router);

}  // namespace tbt::sim
