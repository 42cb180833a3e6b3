#pragma once
// The memory window in each register block of a router's link controller
// (the blocks the link-controller capability's double word 2 lays out, the
// same geometry as its IECS mailboxes), in double words from the block:
//   + 61  request: writing it with bit 0 set carries out one access, a
//         write when bit 1 is set, else a read;
//   + 62  the LC memory address (bits 15..0);
//   + 63  the data to write;
//   + 64  the data read: the router's "lc-memory" word at the address (0
//         where the host file sets none);
//   + 65  a plain register.
// Only + 61 has behaviour; the others are plain storage. Faults on these
// accesses are the ordinary configuration-access faults.
#include "sim/router.h"
#include "sim/sim_host.h"

namespace tbt::sim {

/// Attaches the memory window of each block of router's link controller,
/// when its stored device space has the capability; does nothing otherwise.
void attachLcMemoryWindows(SimHost& host, Router& router);

}  // namespace tbt::sim
