// The kernel's text formats: debugfs register files (every in-band failure
// line, empty and header-only files), write lines and their 4096-byte
// chunks, router names and sysfs attributes.
#include <gtest/gtest.h>

#include <numeric>
#include <optional>

#include "linux/debugfs_text.h"
#include "linux/sysfs_tree.h"
#include "support/param_names.h"

namespace tbt::linux_host {
namespace {

constexpr const char* kRegsHeader = "# offset relative_offset cap_id vs_cap_id value\n";

struct LineCase {
  const char* name;
  std::string text;
  uint32_t index;
  Status status;  // kUnsupported: not listed at all, or listed as not offered
  uint32_t value;
  std::optional<uint8_t> capability = {}, vsec = {};  // a register row's IDs, when checked
};

class SpaceText : public ::testing::TestWithParam<LineCase> {};

TEST_P(SpaceText, ListsIndexWithValueOrStatus) {
  const LineCase& c = GetParam();
  SpaceSnapshot words = parseSpaceText(c.text);
  auto it = words.find(c.index);
  const Status status = it == words.end() ? status::kUnsupported : it->second.status;
  EXPECT_EQ(status, c.status);
  if (c.status == status::kSuccess) {
    EXPECT_EQ(it->second.value, c.value);
    if (c.capability) {
      EXPECT_EQ(it->second.capability, *c.capability);
      EXPECT_EQ(it->second.vsec, c.vsec);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, SpaceText,
    ::testing::Values(
        // IDs are a byte each: wider ones are left out, the value kept.
        LineCase{"IdsAtTheLargest", "0x0001 1 0xff 0xff 0x00000007\n", 1, status::kSuccess, 7, 0xff, 0xff},
        LineCase{"IdsPastTheLargest", "0x0001 1 0x1ab 0x1cd 0x00000007\n", 1, status::kSuccess, 7, 0, 0},
        LineCase{"PathRow", "# offset relative_offset in_hop_id value\n0x0011    1 0x08 0x80000410\n", 0x11,
                 status::kSuccess, 0x80000410},
        LineCase{"NoNewlineAtEnd", "0x0002    2 0x00 0x00 0x010e0101", 2, status::kSuccess, 0x010e0101},
        LineCase{"NotAccessible", "0x0040 <not accessible>\n", 0x40, status::kDeviceError, 0},
        LineCase{"UnknownCapability", "0x0020 <unknown capability 0x12>\n", 0x20, status::kUnsupported, 0},
        LineCase{"UnsupportedCapability", "0x0030 <unsupported capability 0x07>\n", 0x30, status::kUnsupported, 0},
        LineCase{"EmptyFile", "", 0, status::kUnsupported, 0},
        LineCase{"HeaderOnly", kRegsHeader, 0, status::kUnsupported, 0},
        LineCase{"IndexNotListed", "0x0000    0 0x00 0x00 0x15ef8086\n", 1, status::kUnsupported, 0},
        LineCase{"FirstListingWins", "0x0001 1 0x00 0x00 0x00000001\n0x0001 1 0x00 0x00 0x00000002\n", 1,
                 status::kSuccess, 1},
        LineCase{"MalformedLinesSkipped", "0x0003 three\n0x0004 4 0x00 0x00 0xzz\nx 0x0005\n0x0006 6 0 0 0x7\n", 6,
                 status::kSuccess, 7},
        LineCase{"ValueTooWide", "0x0001 1 0x00 0x00 0x100000000\n", 1, status::kUnsupported, 0}), test::byName);

TEST(WriteText, LinesAreHexAndChunksEndOnLineBoundaries) {
  const uint32_t octal[] = {010};
  EXPECT_EQ(writeLines(0x9, octal, 1), "0x0009 0x00000008\n");
  std::vector<uint32_t> values(300);
  std::iota(values.begin(), values.end(), 0);
  const std::string text = writeLines(0x100, values.data(), static_cast<uint32_t>(values.size()));
  ASSERT_GT(text.size(), 4096u);
  std::vector<std::string> chunks = splitOnLines(text, 4096);
  ASSERT_EQ(chunks.size(), 2u);
  std::string joined;
  for (const std::string& chunk : chunks) {
    EXPECT_LE(chunk.size(), 4096u);
    EXPECT_EQ(chunk.back(), '\n');
    joined += chunk;
  }
  EXPECT_EQ(joined, text);
  EXPECT_TRUE(splitOnLines(std::string(5000, 'x'), 4096).empty()) << "a line that cannot be split is not written";
}

struct NameCase {
  const char* name;
  const char* entry;
  bool router;
  uint32_t domain;
  uint64_t route;
  unsigned depth;
};

class RouterNames : public ::testing::TestWithParam<NameCase> {};

TEST_P(RouterNames, ParseInFullOrNotAtAll) {
  const NameCase& c = GetParam();
  std::optional<RouterName> at = parseRouterName(c.entry);
  ASSERT_EQ(at.has_value(), c.router);
  if (!at) return;
  EXPECT_EQ(at->domain, c.domain);
  EXPECT_EQ(at->route, c.route);
  EXPECT_EQ(depthOfRoute(at->route), c.depth);
  EXPECT_EQ(routerName(at->domain, at->route), c.entry);
}

INSTANTIATE_TEST_SUITE_P(
    Entries, RouterNames,
    ::testing::Values(NameCase{"HostRouter", "0-0", true, 0, 0, 0}, NameCase{"SecondHop", "0-301", true, 0, 0x301, 2},
                      NameCase{"HighAdapterFirst", "0-b01", true, 0, 0xb01, 2},
                      NameCase{"Adapter63", "0-3f", true, 0, 0x3f, 1},
                      NameCase{"Domain255", "255-3", true, 255, 3, 1}, NameCase{"Domain256", "256-3", false, 0, 0, 0},
                      NameCase{"Retimer", "0-0:1.1", false, 0, 0, 0},
                      NameCase{"Service", "0-1.1", false, 0, 0, 0}, NameCase{"EmptyHop", "0-100", false, 0, 0, 0},
                      NameCase{"AdapterAbove63", "0-40", false, 0, 0, 0},
                      NameCase{"UpperCase", "0-B01", false, 0, 0, 0},
                      NameCase{"RouteTooLong", "0-01010101010101010", false, 0, 0, 0}), test::byName);

// The well-formed hex, decimal, UID and version forms are read back by the
// Linux backend's switch table; here the forms it must refuse.
TEST(Attributes, MalformedFormsAreRefused) {
  EXPECT_EQ(parseNumberAttribute("0x"), std::nullopt);
  EXPECT_EQ(parseNumberAttribute("12ab"), std::nullopt);
  EXPECT_EQ(parseUniqueId("0082b09d-2f5f-d400-1234-ffffffffffff"), std::nullopt) << "not a UID-based identifier";
  EXPECT_EQ(parseUniqueId("0082b09d2f5fd400ffffffffffffffff"), std::nullopt);
  EXPECT_EQ(parseNvmVersion("56"), std::nullopt);
}

}  // namespace
}  // namespace tbt::linux_host
