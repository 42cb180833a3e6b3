// The registry a simulated host publishes: the switch/port tree with its
// derived properties, the host probes and paths (matching is what every
// update-check and backflash run leans on to find its displays).
#include <gtest/gtest.h>

#include "sim/sim_platform.h"

namespace tbt::sim {
namespace {

std::unique_ptr<SimPlatform> load(std::string_view json) {
  std::string error;
  auto p = loadHost(json, &error);
  EXPECT_NE(p, nullptr) << error;
  return p;
}

/// The first child of entry that conforms to cls and, when port is given, has that "Port Number".
RegistryEntry child(const RegistryEntry& entry, std::string_view cls, std::optional<uint64_t> port = {}) {
  for (auto& c : entry.children()) {
    auto n = c.property("Port Number");
    if (c.conformsTo(cls) && (!port || (n && n->asNumber() == *port))) return c;
  }
  return {};
}

uint64_t number(const RegistryEntry& e, std::string_view key) {
  auto p = e.property(key);
  EXPECT_TRUE(p && p->isNumber()) << key;
  return p && p->isNumber() ? p->asNumber() : ~uint64_t{0};
}

// The default host:
//
//   controller -> port 5 (host interface) -> switch 0
//     switch 0: ports 1..4; port 1 -> port 1 of 0x1 -> switch 0x1
//     switch 0x1: ports 2..6; port 3 -> port 1 of 0x301 -> switch 0x301
TEST(Registry, DefaultHostTreeAndDerivedProperties) {
  auto p = load(defaultHostJson());
  auto controllers = p->registry().matching("IOThunderboltController");
  ASSERT_EQ(controllers.size(), 1u);
  auto hostPort = child(controllers[0], "IOThunderboltPort");
  EXPECT_EQ(number(hostPort, "Adapter Type"), 2u);
  auto host = child(hostPort, "IOThunderboltSwitch");
  EXPECT_EQ(number(host, "Route String"), 0u);
  EXPECT_EQ(number(host, "UID") & 0xF, 0u);

  struct Hop {
    uint64_t downstream, upstream, route, depth;
  };
  RegistryEntry sw = host;
  for (Hop hop : {Hop{1, 1, 0x1, 1}, Hop{3, 1, 0x301, 2}}) {
    uint64_t from = number(sw, "Route String");
    auto down = child(sw, "IOThunderboltPort", hop.downstream);
    ASSERT_TRUE(down) << hop.route;
    EXPECT_EQ(number(down, "Adapter Type"), 1u);
    EXPECT_EQ(number(down, "Peer Port Route String"), hop.route);
    EXPECT_EQ(number(down, "Peer Port Number"), hop.upstream);
    auto up = child(down, "IOThunderboltPort");
    EXPECT_EQ(number(up, "Port Number"), hop.upstream);
    EXPECT_EQ(number(up, "Peer Port Route String"), from);
    EXPECT_EQ(number(up, "Peer Port Number"), hop.downstream);
    sw = child(up, "IOThunderboltSwitch");
    EXPECT_EQ(number(sw, "Route String"), hop.route);
    EXPECT_EQ(number(sw, "Depth"), hop.depth);
    EXPECT_FALSE(child(sw, "IOThunderboltPort", hop.upstream)) << "the upstream port is the switch's parent only";
    EXPECT_EQ(sw.parents().front(), up);
    EXPECT_EQ(p->registry().fromPath(sw->path()), sw);
  }
  // Ports that lead nowhere have no peer and no children.
  auto spare = child(host, "IOThunderboltPort", 2);
  EXPECT_FALSE(spare.property("Peer Port Route String"));
  EXPECT_TRUE(spare.children().empty());
}

// Lid, batteries and boot media are read back by the host probes' own table.
TEST(Registry, HostProbes) {
  auto p = load(R"({"board-id": "Brd-1", "rom": {"version": "A.B.0116.B07", "vendor": "Kelvo Inc."}})");
  Registry& reg = p->registry();
  auto board = reg.fromPath("IODeviceTree:/");
  ASSERT_TRUE(board.property("board-id"));
  EXPECT_EQ(board.property("board-id")->asData(), (std::vector<uint8_t>{'B', 'r', 'd', '-', '1', 0}));
  EXPECT_EQ(board.parents().front(), reg.root());
  EXPECT_EQ(reg.root()->path(), "IOService:/");
  auto rom = reg.fromPath("IODeviceTree:/rom");
  EXPECT_EQ(rom.property("version")->asString(), "A.B.0116.B07");
  EXPECT_EQ(rom.property("vendor")->asString(), "Kelvo Inc.");
  // An empty host has no rom entry or board id.
  auto bare = load("{}");
  EXPECT_FALSE(bare->registry().fromPath("IODeviceTree:/rom"));
  EXPECT_FALSE(bare->registry().fromPath("IODeviceTree:/").property("board-id"));
}

TEST(Registry, FileGivenPropertiesOverrideAndRemove) {
  auto p = load(R"({"controllers": [{"routers": [{"route": 0,
      "registry": {"Depth": 9, "Name": "host", "Flag": false, "Blob": {"data": "0102"},
                   "Hop Table": [{"Hop ID": 8, "Inherited From EFI": false}], "Route String": null},
      "ports": {"2": {"xdomain": true, "registry": {"Adapter Type": null, "Lane": "0x2"}}}}]}]})");
  auto sw = p->registry().matching("IOThunderboltSwitch")[0];
  EXPECT_EQ(number(sw, "Depth"), 9u);
  EXPECT_FALSE(sw.property("Route String"));
  EXPECT_EQ(sw.property("Name")->asString(), "host");
  EXPECT_FALSE(sw.property("Flag")->asBoolean());
  EXPECT_EQ(sw.property("Blob")->asData(), (std::vector<uint8_t>{1, 2}));
  auto hops = sw.property("Hop Table")->asArray();
  ASSERT_EQ(hops.size(), 1u);
  EXPECT_EQ(hops[0].asDictionary().find("Hop ID")->asNumber(), 8u);
  auto port = child(sw, "IOThunderboltPort", 2);
  EXPECT_FALSE(port.property("Adapter Type"));
  EXPECT_EQ(number(port, "Lane"), 2u);
  ASSERT_EQ(port.children().size(), 1u);
  EXPECT_EQ(port.children()[0]->className(), "IOThunderboltXDomainLink");
}

}  // namespace
}  // namespace tbt::sim
