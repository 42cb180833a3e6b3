#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "kernel/config_space.h"
#include "sim/faults.h"
#include "support/scoped_host.h"
#include "toolkit/capability_search.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::ScopedHost;

// The chains below live in router 0x1: the device space (port 0; double
// word 1 keeps the router's upstream adapter 1 in bits 13..8) or the
// port space of its lane adapter 3. Capability headers are
// length << 24 | VSEC ID << 16 | capability ID << 8 | next.
constexpr uint64_t kRoute = 0x1;
constexpr uint32_t kLanePort = 3;
constexpr uint32_t kLinkController = 0x060500;  // VSEC 6
constexpr uint32_t kVsecMask = 0xFFFF00;
constexpr uint32_t kId7 = 0x0700;
constexpr uint32_t kIdMask = 0xFF00;
// A vendor-specific capability with next pointer 0 and length 0: its next
// pointer is in the following double word.
constexpr uint32_t kLongHeader = 0x00000500;

struct WalkCase {
  const char* name;
  uint32_t space;
  std::vector<std::pair<uint32_t, uint32_t>> dwords;  // index, value
  std::optional<uint32_t> failingIndex;              // reads of it fail with a device error
  uint32_t value, mask;
  Status status;
  uint8_t offset;
  std::vector<uint32_t> reads;  // double-word indexes read, in order
};

class CapabilityWalk : public ::testing::TestWithParam<WalkCase> {};

TEST_P(CapabilityWalk, FindsTheCapabilityWithTheHardwaresReads) {
  const WalkCase& c = GetParam();
  const uint32_t port = c.space == kPortSpace ? kLanePort : 0;
  ScopedHost host(hostWithRouters({0x0, 0x1, 0x301}).dump());
  for (auto [index, value] : c.dwords) host.sim().poke(0, kRoute, port, c.space, index, value);
  if (c.failingIndex)
    host.sim().addFault({.op = std::string(sim::kFaultConfigRead),
                         .route = kRoute,
                         .port = port,
                         .space = c.space,
                         .index = *c.failingIndex,
                         .status = status::kDeviceError});
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  host.sim().setAccessLogEnabled(true);

  uint8_t offset = 0xEE;
  EXPECT_EQ(utils.findCapabilityAtRoute(offset, c.value, c.mask, kRoute, port, c.space), c.status);
  EXPECT_EQ(offset, c.status == status::kSuccess ? c.offset : 0xEE);
  std::vector<uint32_t> reads;
  for (const auto& access : host.sim().accessLog()) {
    EXPECT_EQ(access.kind, sim::AccessKind::ConfigRead);
    EXPECT_EQ(access.port, port);
    EXPECT_EQ(access.space, c.space);
    reads.push_back(access.index);
  }
  EXPECT_EQ(reads, c.reads);
}

INSTANTIATE_TEST_SUITE_P(
    , CapabilityWalk,
    ::testing::Values(
        WalkCase{"NoCapabilities", kDeviceSpace, {{1, 0x00FF0100}}, {}, kLinkController, kVsecMask,
                 status::kNotFound, 0, {2, 1, 2}},
        WalkCase{"SecondOfTwo", kDeviceSpace, {{1, 0x110}, {0x10, 0x01000320}, {0x20, 0x02060500}}, {},
                 kLinkController, kVsecMask, status::kSuccess, 0x20, {2, 1, 2, 0x10, 0x11, 0x20, 0x21}},
        WalkCase{"PastTheEnd", kDeviceSpace, {{1, 0x110}, {0x10, 0x01000320}, {0x20, 0x02060500}}, {}, kId7,
                 kIdMask, status::kNotFound, 0, {2, 1, 2, 0x10, 0x11, 0x20, 0x21}},
        // A long header (next 0, length 0) keeps its pointer in the next double word.
        WalkCase{"LongHeader", kDeviceSpace, {{1, 0x110}, {0x10, kLongHeader}, {0x11, 0x0030}, {0x30, 0x01000700}}, {},
                 kId7, kIdMask, status::kSuccess, 0x30, {2, 1, 2, 0x10, 0x11, 0x11, 0x30, 0x31}},
        // Its 16-bit pointer is cut to 8 bits.
        WalkCase{"LongPointerCut", kDeviceSpace, {{1, 0x110}, {0x10, kLongHeader}, {0x11, 0x0130}, {0x30, 0x01000700}},
                 {}, kId7, kIdMask, status::kSuccess, 0x30, {2, 1, 2, 0x10, 0x11, 0x11, 0x30, 0x31}},
        WalkCase{"LongHeaderEndsChain", kDeviceSpace, {{1, 0x110}, {0x10, kLongHeader}}, {}, kId7, kIdMask,
                 status::kNotFound, 0, {2, 1, 2, 0x10, 0x11, 0x11}},
        WalkCase{"PointsToItself", kDeviceSpace, {{1, 0x110}, {0x10, 0x01000310}}, {}, kId7, kIdMask,
                 status::kNotFound, 0, {2, 1, 2, 0x10, 0x11}},
        WalkCase{"ItselfMatches", kDeviceSpace, {{1, 0x110}, {0x10, 0x01000710}}, {}, kId7, kIdMask,
                 status::kSuccess, 0x10, {2, 1, 2, 0x10, 0x11}},
        WalkCase{"HeaderUnreadable", kDeviceSpace, {{1, 0x110}, {0x10, 0x01000320}}, 0x20u, kId7, kIdMask,
                 status::kDeviceError, 0, {2, 1, 2, 0x10, 0x11, 0x20}},
        // Double word 2 is read again even after the first read failed.
        WalkCase{"Dword2Unreadable", kDeviceSpace, {{1, 0x110}}, 2u, kId7, kIdMask, status::kDeviceError, 0, {2, 2}},
        WalkCase{"Dword1Unreadable", kDeviceSpace, {{1, 0x110}}, 1u, kId7, kIdMask, status::kDeviceError, 0,
                 {2, 1, 2}},
        WalkCase{"PortSpace", kPortSpace, {{1, 0x05}, {2, 0x0E0102}, {5, 0x01000700}}, {}, kId7, kIdMask,
                 status::kSuccess, 5, {2, 1, 2, 5, 5, 6}},
        // Lane adapters of four early controllers report a capability pointer
        // that cannot be read; their chain starts at 0x39.
        WalkCase{"LaneAdapterFixedStart",
                 kPortSpace,
                 {{0, 0x15478086}, {1, 0x05}, {2, 0x000E0102}, {0x39, 0x01000700}},
                 5u,
                 kId7,
                 kIdMask,
                 status::kSuccess,
                 0x39,
                 {2, 1, 2, 5, 6, 0, 2, 0x39, 0x3A}},
        WalkCase{"OtherControllerKeepsItsPointer", kPortSpace,
                 {{0, 0x15498086}, {1, 0x05}, {2, 0x000E0102}, {0x39, 0x01000700}}, 5u, kId7, kIdMask,
                 status::kDeviceError, 0, {2, 1, 2, 5, 6, 0, 2, 5}},
        WalkCase{"OtherAdapterKeepsItsPointer", kPortSpace,
                 {{0, 0x151A8086}, {1, 0x05}, {2, 0x000E0101}, {0x39, 0x01000700}}, 5u, kId7, kIdMask,
                 status::kDeviceError, 0, {2, 1, 2, 5, 6, 0, 2, 5}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(WalkCapabilities, VisitsEveryCapabilityInChainOrder) {
  ScopedHost host(hostWithRouters({0x0, 0x1}).dump());
  for (auto [index, value] : std::vector<std::pair<uint32_t, uint32_t>>{
           {1, 0x110}, {0x10, 0x01000320}, {0x20, kLongHeader}, {0x21, 0x0018}, {0x18, 0x02060500}})
    host.sim().poke(0, kRoute, 0, kDeviceSpace, index, value);
  LocalRouterHandle handle;
  handle.setRoute(kRoute);
  std::vector<std::pair<uint8_t, uint32_t>> seen;
  EXPECT_EQ(walkCapabilities(handle, 0, kDeviceSpace,
                             [&](uint8_t index, uint32_t header) {
                               seen.emplace_back(index, header);
                               return false;
                             }),
            status::kSuccess);
  EXPECT_EQ(seen, (std::vector<std::pair<uint8_t, uint32_t>>{{0x10, 0x01000320}, {0x20, kLongHeader}, {0x18, 0x02060500}}));
}

TEST(AdapterType, IsPortDword2LowBitsOrZero) {
  ScopedHost host(hostWithRouters({0x0, 0x1}, 0x4).dump());
  host.sim().poke(0, kRoute, kLanePort, kPortSpace, 2, 0xAB0E0102);
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  EXPECT_EQ(utils.adapterTypeForRoute(kRoute, kLanePort, 4), 0x0E0102u);
  EXPECT_EQ(utils.adapterTypeForRoute(kRoute, kLanePort, 5), 0u);  // no such controller
  EXPECT_EQ(utils.adapterTypeForRoute(0x7, kLanePort, 4), 0u);     // no router there
}

}  // namespace
}  // namespace tbt
