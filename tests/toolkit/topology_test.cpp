#include <gtest/gtest.h>

#include "support/topology_builder.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using test::describeEntry;
using test::FakeNode;
using test::fakePort;
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
  b.adapter(0x0, 2, test::kLane).adapter(0x0, 3, test::kLane).xdomain(0x0, 3).adapter(0x0, 11, test::kDPIn);
  b.adapter(0x1, 4, test::kLane);
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
    for (const char* cls : {"IOThunderboltPort", "IOThunderboltSwitch"})
      for (const RegistryEntry& e : registry().matching(cls))
        if (describeEntry(e) == name) return e;
    ADD_FAILURE() << "no entry " << name;
    return RegistryEntry();
  }
  // A switch with its depth, to tell the two switches that say 0x301 apart.
  static std::string withDepth(const RegistryEntry& e) {
    uint64_t depth = 0;
    readRegistryNumber64(e, "Depth", depth);
    return e ? describeEntry(e) + textf(" depth %llu", static_cast<unsigned long long>(depth)) : "none";
  }
};

TEST_F(Topology, LookupsFromAPort) {
  struct Case {
    const char* lookup;
    const char* from;
    const char* found;
  };
  const Case cases[] = {
      {"switch", "nhi:5", "switch 0x0"},  // the host switch hangs from the host interface
      {"switch", "port 0x1:3", "switch 0x1"},
      {"switch", "up 0x301:1", "switch 0x301"},
      {"child port", "port 0x0:1", "up 0x1:1"},
      {"child port", "nhi:5", "none"},  // not a lane adapter, although a switch hangs from it
      {"child port", "port 0x0:11", "none"},
      {"child port", "port 0x0:3", "none"},
      {"xdomain link", "port 0x0:3", "xdomain"},
      {"xdomain link", "port 0x0:1", "none"},
      {"peer", "port 0x0:1", "up 0x1:1"},    // the link seen from its upper end
      {"peer", "up 0x1:1", "port 0x0:1"},    // ... and from its lower end
      {"peer", "port 0x1:3", "up 0x301:1"},
      {"peer", "port 0x0:2", "port 0x1:4"},  // "Peer Port Route String" and "Peer Port Number"
      {"peer", "port 0x1:4", "port 0x0:2"},  // peer route 0 is the host switch
      {"peer", "port 0x0:3", "none"},
      {"dual link", "port 0x0:1", "none"},
  };
  for (const Case& c : cases) {
    RegistryEntry from = named(c.from);
    const std::string lookup = c.lookup;
    RegistryEntry found = lookup == "switch"         ? utils_.switchFromPort(from, 0)
                          : lookup == "child port"   ? utils_.childPortFromPort(from, 0)
                          : lookup == "xdomain link" ? utils_.childXDomainLinkFromPort(from, 0)
                          : lookup == "peer"         ? utils_.peerForNULLPort(from, 0)
                                                     : utils_.dualLinkPortForNULLPort(from, 0);
    EXPECT_EQ(describeEntry(found), c.found) << c.lookup << " of " << c.from;
  }
}

TEST_F(Topology, PortAtIndexLooksAtTheUpstreamPortFirst) {
  struct Case {
    const char* onSwitch;
    uint32_t index;
    const char* found;
  };
  const Case cases[] = {
      {"switch 0x0", 5, "nhi:5"},       {"switch 0x0", 1, "port 0x0:1"}, {"switch 0x1", 1, "up 0x1:1"},
      {"switch 0x1", 3, "port 0x1:3"}, {"switch 0x1", 7, "none"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(describeEntry(utils_.portAtIndex(c.index, named(c.onSwitch), 0)), c.found)
        << "adapter " << c.index << " of " << c.onSwitch;
}

TEST_F(Topology, SwitchForRouteIsDepthFirstInRegistryOrder) {
  struct Case {
    uint64_t route;
    const char* found;
  };
  const Case cases[] = {
      {0x0, "switch 0x0 depth 0"},
      {0x1, "switch 0x1 depth 1"},
      {0x301, "switch 0x301 depth 2"},  // reached through port 1 before switch 0x4 is seen
      {0x4, "none"},                    // routes are compared, never composed
      {0x501, "none"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(withDepth(utils_.switchForRouteAndRouterID(c.route, 0)), c.found) << std::hex << c.route;
  EXPECT_EQ(describeEntry(utils_.nhiForRouterID(0)), "nhi:5");
  EXPECT_FALSE(utils_.nhiForRouterID(3));
  EXPECT_FALSE(utils_.switchForRouteAndRouterID(0x0, 3));
}

// Shapes the driver may publish but the simulation does not: where several
// children match, the last one counts.
//
//   port 1
//    └─ lane 2: children port 3, xdomain, port 4, xdomain, switch A, switch B
//    └─ lane 5: children switch C, port 6
TEST(TopologyShapes, TheLastMatchingChildWins) {
  ScopedHost host("{}");
  ThunderboltUserClientUtils& utils = ThunderboltUserClientUtils::sharedInstance();
  auto upper = fakePort(1, 1);
  auto lane = upper->add({"IOThunderboltPort"});
  lane->set("Port Number", 2).set("Adapter Type", 1);
  lane->add({"IOThunderboltPort"})->set("Port Number", 3);
  lane->add({"IOThunderboltXDomainLink"});
  lane->add({"IOThunderboltPort"})->set("Port Number", 4);
  auto lastLink = lane->add({"IOThunderboltXDomainLink"});
  lane->add({"IOThunderboltSwitch"})->set("Route String", 0xA);
  lane->add({"IOThunderboltSwitch"})->set("Route String", 0xB);
  auto other = upper->add({"IOThunderboltPort"});
  other->set("Port Number", 5).set("Adapter Type", 1);
  other->add({"IOThunderboltSwitch"});
  auto last = other->add({"IOThunderboltPort"});
  last->set("Port Number", 6);

  uint64_t number = 0;
  readRegistryNumber64(utils.childPortFromPort(lane->entry(), 0), "Port Number", number);
  EXPECT_EQ(number, 4u);
  EXPECT_EQ(utils.childXDomainLinkFromPort(lane->entry(), 0), lastLink->entry());
  EXPECT_EQ(routeOfEntry(utils.switchFromPort(lane->entry(), 0)), 0xBu) << "parent is a port, so the last switch child";
  EXPECT_EQ(utils.peerForNULLPort(lane->entry(), 0), upper->entry()) << "a switch child after the ports";
  EXPECT_EQ(utils.peerForNULLPort(other->entry(), 0), last->entry()) << "a port child after the switch";
  EXPECT_FALSE(utils.switchFromPort(upper->entry(), 0)) << "a port without a parent";
}

}  // namespace
}  // namespace tbt
