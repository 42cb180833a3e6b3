// The registry a simulated host publishes: properties a host file gives.
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

// The tree every host publishes (switches, ports, peers, host probes) is read
// by the command and update-check tests; here what a host file adds to it.
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
