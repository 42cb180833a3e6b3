// Host-file validation and saving; how a file is safely read or written is
// the file layer's own test.
#include <gtest/gtest.h>

#include <fstream>

#include "platform/text.h"
#include "sim/host_loader.h"
#include "sim/json_document.h"
#include "sim/sim_platform.h"
#include "support/param_names.h"
#include "support/temp_dir.h"

namespace tbt::sim {
namespace {

struct BadHost {
  const char* name;
  const char* json;
  const char* error;
};

// One router at route 0 with adapters 1 and 3, for the topology cases.
#define HOST_ROUTER R"({"route": 0, "ports": {"1": {}, "3": {}}})"
#define ROUTERS(...) R"({"controllers": [{"routers": [)" __VA_ARGS__ "]}]}"

const BadHost kBadHosts[] = {
    {"UnknownKey", R"({"bogus": 1})", "bogus: unknown key"},
    {"BooleanExpected", R"({"lid-closed": 1})", "lid-closed: expected true or false"},
    {"NvramValue", R"({"nvram": {"a": 1}})", "nvram.a: expected a string"},
    {"LatencyNegative", R"({"access-latency-us": -1})", "access-latency-us: expected a number that is not negative"},
    {"InterfaceVersion", R"({"controllers": [{"interface-version": 3}]})", "controllers[0].interface-version: must be 1 or 2"},
    {"RouteMissing", ROUTERS(R"({"ports": {}})"), "controllers[0].routers[0].route: required key is missing"},
    {"NoParentRouter", ROUTERS(HOST_ROUTER ", " R"({"route": "0x1"}, {"route": "0x503"})"),
     "controllers[0].routers[2].route: no router at route 0x3 to hang from"},
    {"NoParentAdapter", ROUTERS(HOST_ROUTER ", " R"({"route": "0x2"})"),
     "controllers[0].routers[1].route: router 0x0 has no adapter 2 to hang from"},
    {"RouteTwice", ROUTERS(HOST_ROUTER ", " R"({"route": 0})"),
     "controllers[0].routers[1].route: route 0x0 given twice (also controllers[0].routers[0])"},
    {"EmptyHop", ROUTERS(HOST_ROUTER ", " R"({"route": "0x10001"})"),
     "controllers[0].routers[1].route: route 0x10001 has an empty hop below its last one"},
    {"ParentNotLane", ROUTERS(R"({"route": 0, "ports": {"1": {"port-space": {"2": "0x2"}}}}, {"route": 1})"),
     "controllers[0].routers[1].route: parent adapter 1 of router 0x0 is not a lane adapter (adapter type 0x000002)"},
    {"ParentLeadsToHost", ROUTERS(R"({"route": 0, "ports": {"1": {"xdomain": true}}}, {"route": 1})"),
     "controllers[0].routers[1].route: parent adapter 1 of router 0x0 leads to another host (\"xdomain\")"},
    {"UpstreamPortZero", ROUTERS(HOST_ROUTER ", " R"({"route": 1, "device-space": {"1": "0x100000"}})"),
     "controllers[0].routers[1].device-space.1: Upstream Port is 0 on a router below the host router"},
    {"HangsFromUpstream", ROUTERS(HOST_ROUTER ", " R"({"route": 1}, {"route": "0x101"})"),
     "controllers[0].routers[2].route: adapter 1 of router 0x1 is that router's upstream adapter"},
    {"UpstreamNotLane", ROUTERS(HOST_ROUTER ", " R"({"route": 3, "device-space": {"1": "0x100200"},
                                  "ports": {"2": {"port-space": {"2": "0x100101"}}}})"),
     "controllers[0].routers[1].ports.2: upstream adapter 2 of router 0x3 is not a lane adapter (adapter type "
     "0x100101)"},
    {"AdapterAbove63", ROUTERS(R"({"route": 0, "ports": {"64": {}}})"),
     "controllers[0].routers[0].ports.64: key 64 is above the largest value 0x3f"},
    {"DwordTwice", ROUTERS(R"({"route": 0, "device-space": {"16": 1, "0x10": 2}})"),
     "controllers[0].routers[0].device-space.16: double word 16 given twice"},
    // Runs of consecutive double words: eight hex digits at most, each index once, inside 32 bits.
    {"DwordRunNineDigits", ROUTERS(R"({"route": 0, "device-space": {"0x10": "1 123456789"}})"),
     "controllers[0].routers[0].device-space.0x10: expected up to 8 hex digits per double word, not '123456789'"},
    {"DwordRunOverlaps", ROUTERS(R"({"route": 0, "device-space": {"0x10": "1 2 3", "0x12": 5}})"),
     "controllers[0].routers[0].device-space.0x12: double word 18 given twice"},
    {"DwordRunPassesTheLastIndex", ROUTERS(R"({"route": 0, "device-space": {"0xfffffffe": "1 2 3"}})"),
     "controllers[0].routers[0].device-space.0xfffffffe: the run from double word 4294967294 passes the last index"},
    {"NullInsideValue", ROUTERS(R"({"route": 0, "registry": {"X": [null]}})"),
     "controllers[0].routers[0].registry.X[0]: null is allowed only as a property's whole value (to leave the "
     "property out)"},
    {"IecsKey", ROUTERS(R"({"route": 0, "iecs": {"36": {}}})"),
     R"(controllers[0].routers[0].iecs.36: expected a "bus/device" key, such as "36/0")"},
    {"OddHexDigits", ROUTERS(R"({"route": 0, "i2c": {"0x50": {"0": "abc"}}})"),
     "controllers[0].routers[0].i2c.0x50.0: odd number of hex digits"},
    {"BytesPastTheEnd", ROUTERS(R"({"route": 0, "eeprom": {"size": 4, "bytes": {"2": "010203"}}})"),
     "controllers[0].routers[0].eeprom.bytes.2: 3 bytes at 0x2 run past the end (size 0x4)"},
    {"UnknownFault", R"({"faults": [{"op": "config-reed"}]})", R"(faults[0].op: unknown operation "config-reed")"},
    {"TimesBelowMinusOne", R"({"faults": [{"op": "i2c", "times": -2}]})", "faults[0].times: -2 is below the smallest value -1"},
    {"BadRouteDigits", R"({"faults": [{"op": "i2c", "route": "0x1g"}]})",
     R"(faults[0].route: expected a number (a JSON integer or a "0x..." string))"},
    // Adapter 0 is the router itself: taken as an adapter, a router became
    // its own child and building the registry recursed without end.
    {"AdapterZero", R"({"controllers":[{"routers":[{"route":0,"ports":{"1":{}}},{"route":1,"ports":{"0":{}}}]}]})",
     "controllers[0].routers[1].ports.0: adapter 0 is the router itself, not one of its adapters"},
    {"ControlCharacterInAKey", "{\"a\\nb\": 1}", "a\\nb: unknown key"},
#define FAILING(...) ROUTERS(R"({"route": 0, "read-failures": [)" __VA_ARGS__ "]}")
    {"FailurePortAbove63", FAILING(R"({"port": 64, "space": 1, "status": 1})"),
     "controllers[0].routers[0].read-failures[0].port: 0x40 is above the largest value 0x3f"},
    {"FailureLastAbove0x1fff", FAILING(R"({"space": 2, "last": "0x2000", "status": 1})"),
     "controllers[0].routers[0].read-failures[0].last: 0x2000 is above the largest value 0x1fff"},
    {"FailureLastBelowFirst", FAILING(R"({"space": 2, "first": 5, "last": 4, "status": 1})"),
     "controllers[0].routers[0].read-failures[0].last: 0x4 is below first (0x5)"},
    {"FailureStatusZero", FAILING(R"({"space": 2, "status": 0})"),
     "controllers[0].routers[0].read-failures[0].status: a failure status is not 0"},
    {"FailuresOverlap", FAILING(R"({"space": 2, "first": 5, "last": 9, "status": 1},)"
                                R"({"space": 2, "first": 0, "last": 5, "status": 2})"),
     "controllers[0].routers[0].read-failures[1]: overlaps another failing range of the same space"},
    // The state a run leaves for the next one.
    {"BootSelectionWithoutFirmware", R"({"boot-selection": "/usr/sbin/bless -mount /"})",
     "boot-selection: -firmware is required"},
};

class BadHostTest : public testing::TestWithParam<BadHost> {};

TEST_P(BadHostTest, IsRefusedWithOneLineNamingTheKey) {
  std::string error;
  EXPECT_EQ(loadHost(GetParam().json, &error), nullptr);
  EXPECT_EQ(error, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(Table, BadHostTest, testing::ValuesIn(kBadHosts), test::byName);

// text nested levels deep: open + (text) + close, levels times over.
std::string nested(const std::string& open, const std::string& inner, const std::string& close, size_t levels) {
  std::string text;
  for (size_t i = 0; i < levels; ++i) text += open;
  text += inner;
  for (size_t i = 0; i < levels; ++i) text += close;
  return text;
}

std::string bridgeChain(size_t levels) {
  return ROUTERS(HOST_ROUTER ", " R"({"route": 1, )" +
                 nested(R"("bridges": {"0": {"form": "direct", "router": {"route": 0, )", R"("ports": {})", "}}}",
                        levels) +
                 "}");
}

// A registry property levels arrays deep: the file nests 6 + levels deep.
std::string registryNested(size_t levels) {
  return ROUTERS(R"({"route": 0, "registry": {"a": )" + nested("[", "1", "]", levels) + "}}");
}

// A failing range fails the reads inside it (and only those) with its status,
// before the store and the unlisted status; ranges at the edges of a space.
TEST(HostFile, ReadFailuresFailTheirRanges) {
  std::string error;
  auto p = loadHost(ROUTERS(R"({"route": 0, "unlisted-status": 3, "device-space": {"1": "0x10", "4": "0x44"},)"
                       R"("ports": {"1": {"port-space": {"5": 6, "7": "a 0000000b  ffffffff"}}}, "read-failures": [)"
                       R"({"space": 2, "first": 0, "last": 3, "status": "0xe00002f0"},)"
                       R"({"space": 2, "first": "0x1fff", "status": 7},)"
                       R"({"space": 2, "first": 5, "last": 5, "status": 9}]})"),
               &error);
  ASSERT_TRUE(p) << error;
  const struct {
    uint32_t port, space, index;
    Status status;
    uint32_t value;
  } reads[] = {{0, 2, 1, 0xe00002f0, 0}, {0, 2, 3, 0xe00002f0, 0}, {0, 2, 4, 0, 0x44}, {0, 2, 5, 9, 0},
               {0, 2, 6, 3, 0},          {0, 2, 0x1ffe, 3, 0},      {0, 2, 0x1fff, 7, 0}, {1, 1, 5, 0, 6},
               // a run of three double words from 7
               {1, 1, 6, 3, 0},          {1, 1, 7, 0, 0xa},         {1, 1, 8, 0, 0xb},    {1, 1, 9, 0, 0xffffffff},
               {1, 1, 10, 3, 0}};
  for (const auto& r : reads) {
    uint32_t value = 0;
    EXPECT_EQ(p->sim().configRead(0, 0, r.port, r.space, r.index, value), r.status) << r.index;
    EXPECT_EQ(value, r.value) << r.index;
  }
}

// Objects of many plain members are kept packed: at, below and above the
// count where packing starts, with a double key, a member of another kind
// and register values that all read back.
struct ManyMembers {
  const char* name;
  size_t count;
  const char* extra;  // appended after the members
  const char* error;  // "" when the file loads
};

class ManyMembersTest : public testing::TestWithParam<ManyMembers> {};

TEST_P(ManyMembersTest, LoadAsAnyOtherObject) {
  std::string members;
  for (size_t i = 0; i < GetParam().count; ++i) appendf(members, "%s\"%zu\": \"0x%zx\"", i ? ", " : "", i, i * 3 + 1);
  members += GetParam().extra;
  std::string error;
  auto p = loadHost(ROUTERS(R"({"route": 0, "device-space": {)" + members + "}}"), &error);
  EXPECT_EQ(error, GetParam().error);
  if (*GetParam().error) return;
  ASSERT_NE(p, nullptr);
  for (uint32_t i = 2; i < GetParam().count; ++i) EXPECT_EQ(p->sim().peek(0, 0, 0, 2, i), i * 3 + 1) << i;
}

const ManyMembers kManyMembers[] = {
    {"AtPacking", kPackedMembersFrom, "", ""},
    {"AbovePacking", kPackedMembersFrom + 1, "", ""},
    {"NumbersAmongStrings", 100, R"(, "0x200": 7, "0x201": "8 9")", ""},
    {"KeyTwiceBelowPacking", kPackedMembersFrom - 2, R"(, "5": "0x1")",
     "controllers[0].routers[0].device-space.5: key given twice in one object"},
    {"KeyTwicePacked", 100, R"(, "5": "0x1")", "controllers[0].routers[0].device-space.5: key given twice in one object"},
    {"KeyTwiceInAValueOfAnotherKind", 100, R"(, "5": {})",
     "controllers[0].routers[0].device-space.5: key given twice in one object"},
    {"ValueOfAnotherKind", 100, R"(, "0x300": true)",
     R"(controllers[0].routers[0].device-space.0x300: expected a number (a JSON integer or a "0x..." string))"},
    {"FirstBadMemberByKey", 100, R"(, "zz": "0x1", "0x400": "x")",
     R"(controllers[0].routers[0].device-space.0x400: expected a number (a JSON integer or a "0x..." string))"},
};

INSTANTIATE_TEST_SUITE_P(Rows, ManyMembersTest, testing::ValuesIn(kManyMembers), test::byName);

// What one host holds at most, sat on: controllers, routers, adapters and
// the values of a document for its size.
std::string controllersHost(size_t count) {
  std::string text = R"({"controllers": [)";
  for (size_t c = 0; c < count; ++c) text += c ? R"(, {"routers": [{"route": 0}]})" : R"({"routers": [{"route": 0}]})";
  return text + "]}";
}

// count routers breadth first, each below adapter 1..4 of its parent, with
// ports (how many adapters each lists; the last router lists the rest up to
// adapters in all).
std::string routersHost(size_t count, uint32_t ports, size_t adapters = SIZE_MAX) {
  std::string text = R"({"controllers": [{"routers": [)";
  std::vector<std::pair<uint64_t, unsigned>> frontier = {{0, 0}};
  size_t listed = 0;
  for (size_t next = 0; next < count; ++next) {
    const auto [route, depth] = frontier[next];
    appendf(text, R"(%s{"route": "0x%llx", "ports": {)", next ? ", " : "", static_cast<unsigned long long>(route));
    const uint32_t here = static_cast<uint32_t>(std::min<size_t>(ports, adapters - listed));
    for (uint32_t p = 1; p <= here; ++p) appendf(text, R"(%s"%u": {})", p > 1 ? ", " : "", p);
    listed += here;
    text += "}}";
    for (uint32_t p = depth ? 2 : 1; p <= 4 && p <= here; ++p)
      frontier.emplace_back(route | uint64_t{p} << (8 * depth), depth + 1);
  }
  return text + "]}]}";
}

// A document of an array of count zeros: count + 1 values in 2 * count + 1 bytes.
std::string zeros(size_t count) {
  std::string text = "[";
  for (size_t i = 0; i < count; ++i) text += i ? ",0" : "0";
  return text + "]";
}

// The most zeros a document of zeros may hold.
size_t mostZeros() {
  size_t n = 0;
  while (n + 2 <= maxJsonValues(2 * (n + 1) + 1)) ++n;
  return n;
}

struct HostLimit {
  const char* name;
  std::string (*text)();
  std::string error;
};

class HostLimitTest : public testing::TestWithParam<HostLimit> {};

TEST_P(HostLimitTest, IsSatOn) {
  std::string error;
  const auto host = loadHost(GetParam().text(), &error);
  EXPECT_EQ(error, GetParam().error);
  EXPECT_EQ(host != nullptr, GetParam().error.empty());
}

const std::string kValues = textf(": a host file holds %zu and one more for every %zu bytes of its text",
                                  kJsonValuesBase, kJsonBytesPerValue);

const std::string kNestedTooDeep =
    "controllers[0].routers[0].registry.a" + nested("", "", "[0]", 58) + ": nested deeper than 64 levels";

const HostLimit kHostLimits[] = {
    {"ControllersAt", [] { return controllersHost(kMaxControllers); }, ""},
    {"ControllersAbove", [] { return controllersHost(kMaxControllers + 1); },
     "controllers[256]: more than 256 controllers (a router ID has eight bits)"},
    {"RoutersAt", [] { return routersHost(kMaxHostRouters, 4); }, ""},
    {"RoutersAbove", [] { return routersHost(kMaxHostRouters + 1, 4); },
     "controllers[0].routers[4096]: more than 4096 routers in one host"},
    {"AdaptersAt", [] { return routersHost(521, 63, kMaxHostAdapters); }, ""},
    // 520 routers list 63 adapters each (32760), the next one its first eight.
    {"AdaptersAbove", [] { return routersHost(521, 63, kMaxHostAdapters + 1); },
     "controllers[0].routers[520].ports.9: more than 32768 adapters in one host"},
    // Deeper nesting overflowed the stack (reading, copying or walking the
    // document recursed per level): a file nests 64 levels at most, 6 + levels
    // for a registry property levels arrays deep.
    {"NestingAt", [] { return registryNested(58); }, ""},
    {"NestingAbove", [] { return registryNested(59); }, kNestedTooDeep},
    {"NestingFarAbove", [] { return registryNested(20000); }, kNestedTooDeep},
    {"BridgesAt", [] { return bridgeChain(7); }, ""},
    {"BridgesAbove", [] { return bridgeChain(8); },
     "controllers[0].routers[1]" + nested("", "", ".bridges.0.router", 7) + ".bridges: bridges chained more than 7 deep"},
    {"BridgesNestingFarAbove", [] { return bridgeChain(10000); },
     "controllers[0].routers[1]" + nested("", "", ".bridges.0.router", 20) + ": nested deeper than 64 levels"},
    {"ValuesAt", [] { return zeros(mostZeros()); }, "host file: expected an object"},
    {"ValuesAbove", [] { return zeros(mostZeros() + 1); },
     textf("[%zu]: more than %zu values", mostZeros(), maxJsonValues(2 * (mostZeros() + 1) + 1)) + kValues},
};

INSTANTIATE_TEST_SUITE_P(Rows, HostLimitTest, testing::ValuesIn(kHostLimits), test::byName);

TEST(HostFile, MalformedJsonIsOneLine) {
  std::string error;
  EXPECT_EQ(loadHost("{\n\"a\": \n", &error), nullptr);
  EXPECT_EQ(error.rfind("not valid JSON: ", 0), 0u) << error;
  EXPECT_EQ(error.find('\n'), std::string::npos);
}

TEST(HostFile, FileErrorsNameTheFileAndTheReason) {
  const test::TempDir temp;
  const std::string& dir = temp.path();
  std::ofstream(dir + "/bad.json") << R"({"lid-closed": "no"})";
  const std::pair<std::string, std::string> cases[] = {
      {"/missing.json", ": cannot read the file: No such file or directory"},
      {"/bad.json", ": lid-closed: expected true or false"},
  };
  for (const auto& [name, reason] : cases) {
    std::string error;
    EXPECT_EQ(loadHostFile(dir + name, &error), nullptr);
    EXPECT_EQ(error, dir + name + reason);
  }
}

TEST(HostFile, DerivesDeviceSpaceDword1WhenNotGiven) {
  // Route 0x301: depth 2, upstream adapter 2 (the lowest lane adapter described), highest adapter 4.
  auto p = loadHost(ROUTERS(HOST_ROUTER ", " R"({"route": 1, "ports": {"3": {}}}, )"
                                        R"({"route": "0x301", "ports": {"2": {"port-space": {"2": 1}}, "4": {}}})"),
                    nullptr);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->sim().peek(0, 0x301, 0, 2, 1), (2u << 20) | (4u << 14) | (2u << 8));
  EXPECT_EQ(p->sim().peek(0, 0x1, 0, 2, 1), (1u << 20) | (3u << 14) | (1u << 8));
  EXPECT_EQ(p->sim().peek(0, 0x0, 0, 2, 1), 3u << 14);
  // The adapters a link runs through are lane adapters.
  EXPECT_EQ(p->sim().peek(0, 0x1, 3, 1, 2), 1u);
  EXPECT_EQ(p->sim().peek(0, 0x1, 1, 1, 2), 1u);
}

}  // namespace
}  // namespace tbt::sim
