#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "kernel/config_space.h"
#include "sim/faults.h"
#include "support/param_names.h"
#include "support/scoped_host.h"
#include "toolkit/capability_search.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using test::hostWithRouters;
using test::ScopedHost;
using Dwords = std::vector<std::pair<uint32_t, uint32_t>>;  // index, value

// The chains below live in router 0x1: the device space (port 0; double
// word 1 keeps the router's upstream adapter 1 in bits 13..8) or the port
// space of adapter 3. Capability headers are
// length << 24 | VSEC ID << 16 | capability ID << 8 | next.
constexpr uint64_t kRoute = 0x1;
constexpr uint32_t kAdapter = 3;
constexpr uint32_t kId7 = 0x0700;
constexpr uint32_t kIdMask = 0xFF00;
// A vendor-specific capability with next pointer 0 and length 0: its next
// pointer is in the following double word.
constexpr uint32_t kLongHeader = 0x00000500;

// The port space of an adapter of the given type on a controller with the
// given identity, whose reported first capability (5) cannot be read (the
// test makes it fail); a capability with ID 7 waits at 0x39.
Dwords unreadableStart(uint32_t identity, uint32_t type) {
  return {{0, identity}, {1, 0x05}, {2, type}, {0x39, 0x01000700}};
}

struct WalkCase {
  const char* name;
  uint32_t space;
  Dwords dwords;
  std::optional<uint32_t> failingIndex;  // reads of it fail with a device error
  uint32_t value, mask;
  Status status;
  uint8_t offset;
  std::vector<uint32_t> reads;  // double-word indexes read, in order
};

class CapabilityWalk : public ::testing::TestWithParam<WalkCase> {};

TEST_P(CapabilityWalk, FindsTheCapabilityWithTheHardwaresReads) {
  const WalkCase& c = GetParam();
  const uint32_t port = c.space == kPortSpace ? kAdapter : 0;
  ScopedHost host(hostWithRouters({0x0, 0x1, 0x301}).dump());
  for (auto [index, value] : c.dwords) host.sim().poke(0, kRoute, port, c.space, index, value);
  if (c.failingIndex)
    host.sim().addFault({.op = std::string(sim::kFaultConfigRead), .route = kRoute, .port = port, .space = c.space,
                         .index = *c.failingIndex, .status = status::kDeviceError});
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  host.sim().setAccessLogEnabled(true);

  uint8_t offset = 0xEE;
  EXPECT_EQ(utils.findCapabilityAtRoute(offset, c.value, c.mask, kRoute, port, c.space), c.status);
  EXPECT_EQ(offset, c.status == status::kSuccess ? c.offset : 0xEE);
  std::vector<uint32_t> reads;
  for (const auto& access : host.sim().accessLog()) {
    EXPECT_EQ(std::tuple(access.kind, access.port, access.space), std::tuple(sim::AccessKind::ConfigRead, port, c.space));
    reads.push_back(access.index);
  }
  EXPECT_EQ(reads, c.reads);
}

const Dwords kTwo = {{1, 0x110}, {0x10, 0x01000320}, {0x20, 0x02060500}};

INSTANTIATE_TEST_SUITE_P(
    , CapabilityWalk,
    ::testing::Values(
        WalkCase{"NoCapabilities", kDeviceSpace, {{1, 0x00FF0100}}, {}, kLinkControllerCapabilityKey,
                 kVendorCapabilityMask, status::kNotFound, 0, {2, 1, 2}},
        WalkCase{"SecondOfTwo", kDeviceSpace, kTwo, {}, kLinkControllerCapabilityKey, kVendorCapabilityMask,
                 status::kSuccess, 0x20, {2, 1, 2, 0x10, 0x11, 0x20, 0x21}},
        // A long header (next 0, length 0) keeps its pointer in the next double word...
        WalkCase{"LongHeader", kDeviceSpace, {{1, 0x110}, {0x10, kLongHeader}, {0x11, 0x0030}, {0x30, 0x01000700}}, {},
                 kId7, kIdMask, status::kSuccess, 0x30, {2, 1, 2, 0x10, 0x11, 0x11, 0x30, 0x31}},
        // ... but one with a length is short: next pointer 0 ends the chain.
        WalkCase{"ShortVendorHeaderEndsChain", kDeviceSpace,
                 {{1, 0x110}, {0x10, 0x04000500}, {0x11, 0x0030}, {0x30, 0x01000700}}, {}, kId7, kIdMask,
                 status::kNotFound, 0, {2, 1, 2, 0x10, 0x11}},
        WalkCase{"LongHeaderEndsChain", kDeviceSpace, {{1, 0x110}, {0x10, kLongHeader}}, {}, kId7, kIdMask,
                 status::kNotFound, 0, {2, 1, 2, 0x10, 0x11, 0x11}},
        // A chain that comes back to a capability already visited ends there
        // (here through double word 1, whose low byte points at 0x40).
        WalkCase{"LoopOfTwo", kDeviceSpace, {{1, 0x140}, {0x40, 0x01000301}}, {}, kId7, kIdMask,
                 status::kNotFound, 0, {2, 1, 2, 0x40, 0x41, 0x01, 0x02}},
        WalkCase{"ItselfMatches", kDeviceSpace, {{1, 0x110}, {0x10, 0x01000710}}, {}, kId7, kIdMask,
                 status::kSuccess, 0x10, {2, 1, 2, 0x10, 0x11}},
        WalkCase{"HeaderUnreadable", kDeviceSpace, {{1, 0x110}, {0x10, 0x01000320}}, 0x20u, kId7, kIdMask,
                 status::kDeviceError, 0, {2, 1, 2, 0x10, 0x11, 0x20}},
        // Double word 2 is read again even after the first read failed.
        WalkCase{"Dword2Unreadable", kDeviceSpace, {{1, 0x110}}, 2u, kId7, kIdMask, status::kDeviceError, 0, {2, 2}},
        WalkCase{"PortSpace", kPortSpace, {{1, 0x05}, {2, 0x0E0102}, {5, 0x01000700}}, {}, kId7, kIdMask,
                 status::kSuccess, 5, {2, 1, 2, 5, 5, 6}},
        // DP Out adapters of four early controllers report a first capability
        // that cannot be read; their chain starts at 0x39.
        WalkCase{"DPOutAdapterFixedStart", kPortSpace, unreadableStart(0x15478086, kDPOutAdapterType), 5u, kId7,
                 kIdMask, status::kSuccess, 0x39, {2, 1, 2, 5, 6, 0, 2, 0x39, 0x3A}},
        WalkCase{"OtherAdapterKeepsItsPointer", kPortSpace, unreadableStart(0x151A8086, kDPInAdapterType), 5u, kId7,
                 kIdMask, status::kDeviceError, 0, {2, 1, 2, 5, 6, 0, 2, 5}}), test::byName);

TEST(AdapterType, IsPortDword2LowBitsOrZero) {
  ScopedHost host(hostWithRouters({0x0, 0x1}, 0x4).dump());
  host.sim().poke(0, kRoute, kAdapter, kPortSpace, 2, 0xAB0E0102);
  auto& utils = ThunderboltUserClientUtils::sharedInstance();
  EXPECT_EQ(utils.adapterTypeForRoute(kRoute, kAdapter, 4), 0x0E0102u);
  EXPECT_EQ(utils.adapterTypeForRoute(kRoute, kAdapter, 5), 0u);  // no such controller
  EXPECT_EQ(utils.adapterTypeForRoute(0x7, kAdapter, 4), 0u);     // no router there
}

}  // namespace
}  // namespace tbt
