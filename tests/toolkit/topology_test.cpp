#include <gtest/gtest.h>

#include "support/topology_builder.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using test::describeEntry;
using test::ScopedHost;
using test::TopologyBuilder;

// The simulated topology of these tests (router ID 0):
//
//   controller
//    └─ nhi:5
//        └─ switch 0x0
//            ├─ port 0x0:1 ── up 0x1:1 ── switch 0x1
//            │                              ├─ port 0x1:3 ── up 0x301:1 ── switch 0x301
//            │                              └─ port 0x1:4     (peer by properties: 0x0:2)
//            ├─ port 0x0:2                   (peer by properties: 0x1:4)
//            ├─ port 0x0:3 ── xdomain
//            ├─ port 0x0:4 ── up 0x4:1 ── switch 0x4, whose "Route String" says 0x301
//            └─ port 0x0:11 (DP In)
std::string topologyHost() {
  TopologyBuilder b({0x0, 0x1, 0x301, 0x4});
  b.adapter(0x0, 2, kLaneAdapterType).adapter(0x0, 3, kLaneAdapterType).xdomain(0x0, 3);
  b.adapter(0x0, 11, kDPInAdapterType).adapter(0x1, 4, kLaneAdapterType);
  b.property(0x0, 2, "Peer Port Route String", 0x1).property(0x0, 2, "Peer Port Number", 4);
  b.property(0x1, 4, "Peer Port Route String", 0x0).property(0x1, 4, "Peer Port Number", 2);
  test::routerOf(b.host(), 0x4)["registry"] = {{"Route String", 0x301}};
  return b.json();
}

class Topology : public ::testing::Test {
 protected:
  ScopedHost host_{topologyHost()};
  ThunderboltUserClientUtils& utils_ = ThunderboltUserClientUtils::sharedInstance();

  // The entry a table names ("port 0x1:3", "nhi:5", "switch 0x0", ...).
  static RegistryEntry named(const std::string& name) {
    for (std::string_view cls : {kPortClass, kSwitchClass})
      for (const RegistryEntry& e : registry().matching(cls))
        if (describeEntry(e) == name) return e;
    ADD_FAILURE() << "no entry " << name;
    return RegistryEntry();
  }
};

TEST_F(Topology, Lookups) {
  struct Case {
    const char *lookup, *from, *found;
  };
  const Case cases[] = {
      {"switch", "nhi:5", "switch 0x0"},  // the host switch hangs from the host interface
      {"switch", "up 0x301:1", "switch 0x301"},
      {"child port", "port 0x0:1", "up 0x1:1"},
      {"child port", "nhi:5", "none"},  // not a lane adapter, although a switch hangs from it
      {"child port", "port 0x0:11", "none"},
      {"xdomain link", "port 0x0:3", "xdomain"},
      {"xdomain link", "port 0x0:1", "none"},
      {"peer", "port 0x0:1", "up 0x1:1"},    // the link seen from its upper end
      {"peer", "up 0x1:1", "port 0x0:1"},    // ... and from its lower end
      {"peer", "port 0x0:2", "port 0x1:4"},  // "Peer Port Route String" and "Peer Port Number"
      {"peer", "port 0x1:4", "port 0x0:2"},  // peer route 0 is the host switch
      {"peer", "port 0x0:3", "none"},
      {"dual link", "port 0x0:1", "none"},
      // The port a switch hangs from is looked at first.
      {"adapter 5", "switch 0x0", "nhi:5"},
      {"adapter 1", "switch 0x1", "up 0x1:1"},
      {"adapter 3", "switch 0x1", "port 0x1:3"},
      {"adapter 7", "switch 0x1", "none"},
  };
  for (const Case& c : cases) {
    RegistryEntry from = named(c.from);
    const std::string lookup = c.lookup;
    RegistryEntry found = lookup == "switch"         ? utils_.switchFromPort(from, 0)
                          : lookup == "child port"   ? utils_.childPortFromPort(from, 0)
                          : lookup == "xdomain link" ? utils_.childXDomainLinkFromPort(from, 0)
                          : lookup == "peer"         ? utils_.peerForNULLPort(from, 0)
                          : lookup == "dual link"    ? utils_.dualLinkPortForNULLPort(from, 0)
                                                     : utils_.portAtIndex(std::stoul(lookup.substr(8)), from, 0);
    EXPECT_EQ(describeEntry(found), c.found) << c.lookup << " of " << c.from;
  }
}

TEST_F(Topology, SwitchForRouteIsDepthFirstInRegistryOrder) {
  // Route 0x301 is reached through port 1 before switch 0x4 (which also says
  // 0x301) is seen; routes are compared, never composed.
  const std::pair<uint64_t, uint64_t> cases[] = {{0x0, 0}, {0x1, 1}, {0x301, 2}, {0x4, kNoRoute}, {0x501, kNoRoute}};
  for (auto [route, depth] : cases) {
    RegistryEntry found = utils_.switchForRouteAndRouterID(route, 0);
    uint64_t foundDepth = kNoRoute;
    readRegistryNumber64(found, kDepthKey, foundDepth);
    EXPECT_EQ(std::pair(routeOfEntry(found), foundDepth), std::pair(found ? route : kNoRoute, depth)) << std::hex << route;
  }
  EXPECT_EQ(describeEntry(utils_.nhiForRouterID(0)), "nhi:5");
  EXPECT_FALSE(utils_.nhiForRouterID(3));
  EXPECT_FALSE(utils_.switchForRouteAndRouterID(0x0, 3));
}

}  // namespace
}  // namespace tbt
