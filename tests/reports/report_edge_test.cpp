// Edge cases of the reports on small hosts: chains that end oddly, fixed
// lengths, names looked up from values (adapter types and link states),
// failing reads and where they show.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <vector>

#include "sim/faults.h"
#include "support/param_names.h"
#include "support/topology_builder.h"
#include "toolkit/remote_router_handle.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using Words = std::map<uint32_t, uint32_t>;
using Report = std::function<std::string(ThunderboltUserClientUtils&, RouterHandle&)>;

// A host router (route 0) with the given device-space words and, per port,
// port-space words.
nlohmann::json hostWith(const Words& device, const std::map<uint32_t, Words>& ports = {}) {
  nlohmann::json host = test::hostWithRouters({0x0});
  nlohmann::json& router = test::routerOf(host, 0x0);
  for (auto [index, value] : device) router["device-space"][std::to_string(index)] = test::hex(value);
  for (const auto& [port, words] : ports)
    for (auto [index, value] : words) router["ports"][std::to_string(port)]["port-space"][std::to_string(index)] = test::hex(value);
  return host;
}

sim::Fault readFault(uint32_t port, uint32_t space, uint32_t index, uint64_t skip = 0) {
  return {.op = std::string(sim::kFaultConfigRead), .route = 0, .port = port, .space = space, .index = index,
          .status = status::kTimeout, .skip = skip, .times = 1};
}

size_t occurrences(const std::string& text, const std::string& piece) {
  size_t n = 0;
  for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++n;
  return n;
}

struct EdgeCase {
  const char* name;
  Words device;
  std::map<uint32_t, Words> ports;
  std::vector<sim::Fault> faults;
  bool relative;
  Report report;
  std::vector<std::pair<const char*, size_t>> expect;  // a piece of text and how often it appears
};

void PrintTo(const EdgeCase& c, std::ostream* os) { *os << c.name; }

Report deviceSpace() {
  return [](ThunderboltUserClientUtils& u, RouterHandle& h) { return u.deviceSpaceForRouterHandle(h); };
}
Report portSpace(uint32_t port) {
  return [port](ThunderboltUserClientUtils& u, RouterHandle& h) { return u.portSpaceForPort(port, h); };
}
Report pathSpace(uint32_t port) {
  return [port](ThunderboltUserClientUtils& u, RouterHandle& h) { return u.pathSpaceForPort(port, h); };
}
Report linkControllerBlock(uint32_t index, uint32_t length) {
  return [=](ThunderboltUserClientUtils& u, RouterHandle& h) { return u.linkControllerCapabilityAtIndex(index, h, length); };
}

constexpr uint32_t kDeviceSpaceId = 2;
constexpr uint32_t kPathSpaceId = 0;
// Device-space double word 1 whose next capability pointer is next.
constexpr uint32_t firstCap(uint32_t next) { return next; }
// Port-space double word 1 (next pointer) and 5 (Max In HopID) of a port.
Words portWith(uint32_t next, uint32_t maxInHop = 0) { return {{1, next}, {2, 0x000001}, {5, maxInHop}}; }

// Names the port report looks up: adapters by type, link states by state
// (a PHY capability at 0x10 with the state in double word 1 and other bits
// 29..26 in double word 2).
EdgeCase adapter(const char* name, uint32_t type, const char* text) {
  return {name, {}, {{1, {{2, type}}}}, {}, false, portSpace(1), {{text, 1}}};
}
EdgeCase linkState(const char* name, uint32_t state, uint32_t following, const char* text) {
  return {name, {}, {{1, {{1, 0x10}, {0x10, 0x100}, {0x11, state << 26}, {0x12, following << 26}}}}, {}, false,
          portSpace(1), {{text, 1}}};
}

const EdgeCase kEdgeCases[] = {
    {"LoopingChainEndsAtAVisitedCapability",
     {{1, firstCap(0x10)}, {0x10, 0x00000920}, {0x20, 0x00000910}}, {}, {}, false, deviceSpace(),
     {{"Next Cap Ptr=0x20\n", 1}, {"Next Cap Ptr=0x10\n", 2}, {"ERROR", 0}}},
    {"LoopingPortChainEndsAtAVisitedCapability", {}, {{1, {{1, 0x10}, {0x10, 0x00000920}, {0x20, 0x00000910}}}}, {},
     false, portSpace(1), {{"  020:  00000910   Cap ID = 0x09", 1}, {"  010:  00000920   Cap ID = 0x09", 1}}},
    {"ExtendedVsecFollowedToItsSixteenBitPointer",
     {{1, firstCap(0x10)}, {0x10, 0x00070500}, {0x11, 0x00030120}, {0x120, 0x00000900}}, {}, {}, false, deviceSpace(),
     {{"  011:  00030120   Extended Length = 0x0003  Extended Next Cap Ptr=0x0120\n", 1},
      {"  012:  00000000\n", 1}, {"\n  120:  00000900   Cap ID = 0x09", 1}}},
    // In the port space the step takes the long header's pointer's low byte.
    {"PortExtendedPointerAboveFFTakesItsLowByte", {{0x11, 0x00030120}},
     {{1, {{1, 0x10}, {2, 0x000001}, {0x10, 0x00000500}, {0x20, 0x00000900}}}}, {}, false, portSpace(1),
     {{"\n  020:  00000900   Cap ID = 0x09", 1}, {"  120:", 0}, {"ERROR", 0}}},
    {"RelativeAddressingOnlyInsideCapabilities", {{1, firstCap(0x20)}, {0x20, 0x0d010500}, {0x2c, 0x5}}, {}, {}, true,
     deviceSpace(),
     {{"  001:  00000020   Rev=", 1}, {"\n  000:  0d010500   VSEC length=0x0d   VSEC ID=0x01 (DFT)", 1},
      {"  00c:  00000005   Serial Number = 0x00000005\n", 1}, {"  02c:", 0}}},
    {"TmuVendorCapabilityPrintsItsGroupsWhateverItsLength", {{0x40, 0x0a030500}}, {}, {}, false,
     [](ThunderboltUserClientUtils& u, RouterHandle& h) { return u.deviceCapabilityAtIndex(0x40, h); },
     {{"  06a:  00000000   Serial Slave Mode", 1}, {"  06b:", 0}, {"\n  ", 43}}},
    {"FailingReadInsideACapabilityCutsOnlyIt",
     {{1, firstCap(0x20)}, {0x20, 0x0d010530}, {0x30, 0x00000900}}, {}, {readFault(0, kDeviceSpaceId, 0x24)}, false,
     deviceSpace(), {{"  023:  00000000   CRC Err En", 1}, {"  024:", 0}, {"  030:  00000900", 1}, {"ERROR", 0}}},
    {"FailingHeaderReadAfterACapabilityEndsTheReport",
     // The capability's header is read by the dispatch, by its decoder and then by the walk.
     {{1, firstCap(0x20)}, {0x20, 0x0d010530}}, {}, {readFault(0, kDeviceSpaceId, 0x20, 2)}, false, deviceSpace(),
     {{"  02c:  00000000   Serial Number", 1}, {"ERROR: 0xe00002d6\n", 1}}},
    {"FailingPathEntryHidesOnlyThatEntry", {}, {{1, portWith(0, 2)}}, {readFault(1, kPathSpaceId, 2)}, false,
     pathSpace(1),
     {{"\nPath 1 configuration\n\nPath 2 configuration\n", 1}, {"  002:", 0}, {"  005:", 1}, {"ERROR", 0}}},
    {"FailingLastPathReadClosesWithError", {}, {{1, portWith(0, 2)}}, {readFault(1, kPathSpaceId, 5)}, false,
     pathSpace(1), {{"  004:", 1}, {"  005:", 0}, {"ERROR: 0xe00002d6\n", 1}}},
    {"FailingPatchEntryAndEveryOneAfterShowError", {}, {}, {readFault(0, kDeviceSpaceId, 0x30 + 66 + 3)}, false,
     linkControllerBlock(0x30, 156),
     {{"ip_patch_02 :", 1}, {"  075:  ERROR\n", 1}, {"  091:  ERROR\n", 1}, {":  ERROR\n", 29}, {"data_rw", 0}}},
    {"FailingReadBeforeThePatchTableEndsTheBlock", {}, {}, {readFault(0, kDeviceSpaceId, 0x30 + 40)}, false,
     linkControllerBlock(0x30, 156), {{"  057:", 1}, {"  058:", 0}, {"ERROR", 0}}},
    {"UnnamedLinkControllerOffsetsPrintTheWholeWord", {{0x31, 0xfedcba98}}, {}, {}, false,
     linkControllerBlock(0x30, 160),
     {{"  031:  fedcba98   ee_clc_device_id=0xfedcba98\n", 1}, {"  0cf:  00000000\n", 1}, {"  0d0:", 0}}},
    {"DpVsecEndsWhenTheAdapterTypeCannotBeRead", {}, {{1, {{1, 0x10}, {0x10, 0x04000500}}}},
     {readFault(1, 1, 2, 1)}, false, portSpace(1),
     {{"(DP)  Cap ID=0x05   Next Cap Ptr=0x00\n", 1}, {"  011:", 0}}},
    {"FixedStartForEarlyControllersDpOut",
     {}, {{1, {{0, 0x15478086}, {1, 0x20}, {2, 0x0e0102}, {0x39, 0x00000900}}}}, {readFault(1, 1, 0x20)}, false,
     portSpace(1), {{"\n  039:  00000900   Cap ID = 0x09", 1}, {"ERROR", 0}}},
    adapter("UnknownProtocol", 0x000003, "(Unknown adapter protocol)\n"),
    adapter("UsbAnySubclass", 0x20ab03, "(USB Adapter)\n"),
    adapter("UnknownBaseClass", 0x210000, "(Unknown adapter base class)\n"),
    linkState("LinkDown", 0, 9, "\tLINK STATE:  Link Down - Disabled\n"),
    linkState("Undefined10", 10, 3, "\tLINK STATE:  Undefined 3\n"),
};

class ReportEdge : public ::testing::TestWithParam<EdgeCase> {};

TEST_P(ReportEdge, Text) {
  const EdgeCase& c = GetParam();
  test::ScopedHost host(hostWith(c.device, c.ports).dump());
  for (const sim::Fault& f : c.faults) host.sim().addFault(f);
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  utils.setRelativeAddressing(c.relative);
  LocalRouterHandle handle;
  const std::string text = c.report(utils, handle);
  for (const auto& [piece, times] : c.expect) EXPECT_EQ(occurrences(text, piece), times) << piece << "\n" << text;
}

INSTANTIATE_TEST_SUITE_P(Cases, ReportEdge, ::testing::ValuesIn(kEdgeCases), test::byName);

}  // namespace
}  // namespace tbt
