#pragma once
// The configuration bridge a link controller offers as IECS device 3 on one
// of its buses: through it the router reads and writes double words of a
// router that the host cannot reach by route. Such a far router appears in
// the host file inside its parent's router object and nowhere else, so it
// has no registry entry and no route the controller answers:
//
//   "bridges": {
//     "0": { "form": "direct",  "router": { "route": "0x0", "device-space": {...}, ... } },
//     "1": { "form": "command", "router": { ... , "bridges": { ... } } }
//   }
//
// The key is the bus. "router" is a router object like any other ("route"
// is the route the far router reports of itself and names it in faults); it
// may carry a link controller and bridges of its own.
//
// The bridge's IECS offsets name 32-bit registers; a transfer of n bytes
// covers the registers from its offset upward, low byte first.
//   direct form:  register 0 reads 0x8086; writing register 17 (the address
//                 word) with bit 31 set performs the access at once: a read
//                 leaves the data in register 16, a write (bit 21) takes it
//                 from there.
//   command form: register 0 reads 0x0A27; register 9 holds the address
//                 word (and after a read, the data), register 10 the data to
//                 write; writing "CIOr" or "CIOw" to register 16 starts the
//                 access with the address and data the registers hold at
//                 that moment, and register 16 reads 0 once it has taken its
//                 simulated time.
// Address word: space bits 20..19, adapter bits 18..13, index bits 12..0.
//
// Faults: op "config-bridge" with route (of the router that has the bridge)
// and bus. The command form then never finishes; the direct form fails the
// IECS transfer that would start the access with the fault's status.
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "sim/json_reader.h"
#include "sim/router.h"
#include "sim/sim_host.h"

namespace tbt::sim {

inline constexpr std::string_view kFaultConfigBridge = "config-bridge";

/// Simulated time the command form takes for one access.
inline constexpr uint64_t kBridgeCommandMicroseconds = 1000;

/// Reads a router object's "bridges" (path is its key path) and attaches a
/// bridge for each to owner, the router read so far from the same object
/// (whose "iecs" must not describe a bridge's (bus, 3)); the far routers get
/// their own mailboxes and bridges. Returns false with one line in
/// in.error() on bad input.
bool readBridges(JsonReader& in, const nlohmann::json& bridges, const std::string& path, SimHost& host,
                 Router& owner);

/// The far router behind the bridge on bus of router, or null.
Router* farRouter(const Router& router, uint32_t bus);

}  // namespace tbt::sim
