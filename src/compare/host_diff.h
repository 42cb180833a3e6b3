#pragma once
// Two hosts compared register by register. Each host is a simulated host
// loaded from a capture (so whatever backend it came from, it answers as
// captured): routers are matched by controller and route, and the routers
// behind configuration bridges by the bridge chain that reaches them. For
// each matched router every space of the router and of each adapter is
// compared double word by double word over what either side lists; a double
// word that one side reads and the other cannot is listed apart, not as a
// difference. Time and memory go with what the hosts list, not with the
// size of the spaces.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/status.h"

namespace tbt::sim {
class SimHost;
class Router;
}  // namespace tbt::sim

namespace tbt::compare {

/// Where a router sits: its controller, the route of the router it is
/// reached from and, for a router behind bridges, the bus of each bridge
/// crossed from there.
struct RouterPlace {
  size_t controller = 0;
  uint64_t route = 0;
  std::vector<uint32_t> buses;
  bool operator<(const RouterPlace& other) const;
  bool operator==(const RouterPlace& other) const = default;
};

/// "0x301", or "0x1 bus 0" for the router behind bus 0 of router 0x1.
std::string placeText(const RouterPlace& place);

/// One double word as a side answered it.
struct Answer {
  bool read = false;  // false: the read failed with status
  uint32_t value = 0;
  Status status = 0;
};

/// A double word of one space of one adapter (0 for the device space).
struct WordPlace {
  uint32_t port = 0;
  uint32_t space = 0;
  uint32_t index = 0;
};

/// A double word both sides read, with different values; or one only one
/// side could read (unreadable).
struct WordDifference {
  WordPlace where;
  Answer a;
  Answer b;
};

/// A router's identity: vendor and device ID (device-space DW 0) and UID.
struct Identity {
  std::optional<uint32_t> vendorDevice;
  std::optional<uint64_t> uid;
  bool operator==(const Identity& other) const = default;
};
std::string identityText(const Identity& identity);

struct RouterDifference {
  enum class Kind { Registers, OnlyInA, OnlyInB, Replaced };
  RouterPlace place;
  Kind kind = Kind::Registers;
  Identity a;
  Identity b;
  std::vector<WordDifference> words;       // both read, values differ
  std::vector<WordDifference> unreadable;  // one side read, the other failed
};

/// What to compare.
struct DiffScope {
  std::optional<uint64_t> route;  // only the router at this route (and the routers behind its bridges)
  std::optional<uint32_t> port;   // only this adapter's spaces (0: the device space)
  bool counters = true;           // the counter spaces
};

/// Every router that differs, in order of place: routers on one side only,
/// routers replaced by another (identity differs), and routers with
/// differing or one-sided double words.
std::vector<RouterDifference> compareHosts(const sim::SimHost& a, const sim::SimHost& b, const DiffScope& scope);

}  // namespace tbt::compare
