// Host-file validation, the embedded default host and saving.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "sim/sim_platform.h"

namespace tbt::sim {
namespace {

struct BadHost {
  const char* json;
  const char* error;
};

// One router at route 0 with adapters 1 and 3, for the topology cases.
#define HOST_ROUTER R"({"route": 0, "ports": {"1": {}, "3": {}}})"
#define ROUTERS(...) R"({"controllers": [{"routers": [)" __VA_ARGS__ "]}]}"

const BadHost kBadHosts[] = {
    {"[]", "host file: expected an object"},
    {R"({"bogus": 1})", "bogus: unknown key"},
    {R"({"lid-closed": 1})", "lid-closed: expected true or false"},
    {R"({"rom": {"versoin": "x"}})", "rom.versoin: unknown key"},
    {R"({"batteries": [{"external-connected": "yes"}]})", "batteries[0].external-connected: expected true or false"},
    {R"({"nvram": {"a": 1}})", "nvram.a: expected a string"},
    {R"({"access-latency-us": "12"})", R"(access-latency-us: expected a number (a JSON integer or a "0x..." string))"},
    {R"({"access-latency-us": -1})", "access-latency-us: expected a number that is not negative"},
    {R"({"controllers": [{"interface-version": 3}]})", "controllers[0].interface-version: must be 1 or 2"},
    {ROUTERS(R"({"ports": {}})"), "controllers[0].routers[0].route: required key is missing"},
    {ROUTERS(HOST_ROUTER ", " R"({"route": "0x1"}, {"route": "0x503"})"),
     "controllers[0].routers[2].route: no router at route 0x3 to hang from"},
    {ROUTERS(HOST_ROUTER ", " R"({"route": "0x2"})"),
     "controllers[0].routers[1].route: router 0x0 has no adapter 2 to hang from"},
    {ROUTERS(HOST_ROUTER ", " R"({"route": 0})"),
     "controllers[0].routers[1].route: route 0x0 given twice (also controllers[0].routers[0])"},
    {ROUTERS(HOST_ROUTER ", " R"({"route": "0x10001"})"),
     "controllers[0].routers[1].route: route 0x10001 has an empty hop below its last one"},
    {ROUTERS(R"({"route": 0, "ports": {"1": {"port-space": {"2": "0x2"}}}}, {"route": 1})"),
     "controllers[0].routers[1].route: parent adapter 1 of router 0x0 is not a lane adapter (adapter type 0x000002)"},
    {ROUTERS(R"({"route": 0, "ports": {"1": {"xdomain": true}}}, {"route": 1})"),
     "controllers[0].routers[1].route: parent adapter 1 of router 0x0 leads to another host (\"xdomain\")"},
    {ROUTERS(HOST_ROUTER ", " R"({"route": 1, "device-space": {"1": "0x100000"}})"),
     "controllers[0].routers[1].device-space.1: Upstream Port is 0 on a router below the host router"},
    {ROUTERS(HOST_ROUTER ", " R"({"route": 1}, {"route": "0x101"})"),
     "controllers[0].routers[2].route: adapter 1 of router 0x1 is that router's upstream adapter"},
    {ROUTERS(HOST_ROUTER ", " R"({"route": 3, "device-space": {"1": "0x100200"},
                                  "ports": {"2": {"port-space": {"2": "0x100101"}}}})"),
     "controllers[0].routers[1].ports.2: upstream adapter 2 of router 0x3 is not a lane adapter (adapter type "
     "0x100101)"},
    {ROUTERS(R"({"route": 0, "ports": {"64": {}}})"),
     "controllers[0].routers[0].ports.64: key 64 is above the largest value 0x3f"},
    {ROUTERS(R"({"route": 0, "ports": {"1": {"lane": 1}}})"), "controllers[0].routers[0].ports.1.lane: unknown key"},
    {ROUTERS(R"({"route": 0, "device-space": {"16": 1, "0x10": 2}})"),
     "controllers[0].routers[0].device-space.16: double word 16 given twice"},
    {ROUTERS(R"({"route": 0, "registry": {"X": [null]}})"),
     "controllers[0].routers[0].registry.X[0]: null is allowed only as a property's whole value (to leave the "
     "property out)"},
    {ROUTERS(R"({"route": 0, "iecs": {"36": {}}})"),
     R"(controllers[0].routers[0].iecs.36: expected a "bus/device" key, such as "36/0")"},
    {ROUTERS(R"({"route": 0, "i2c": {"0x50": {"0": "abc"}}})"),
     "controllers[0].routers[0].i2c.0x50.0: odd number of hex digits"},
    {ROUTERS(R"({"route": 0, "eeprom": {"size": 4, "bytes": {"2": "010203"}}})"),
     "controllers[0].routers[0].eeprom.bytes.2: 3 bytes at 0x2 run past the end (size 0x4)"},
    {R"({"faults": [{"op": "config-reed"}]})", R"(faults[0].op: unknown operation "config-reed")"},
    {R"({"faults": [{"op": "i2c", "times": -2}]})", "faults[0].times: -2 is below the smallest value -1"},
    {R"({"faults": [{"op": "i2c", "route": "0x1g"}]})",
     R"(faults[0].route: expected a number (a JSON integer or a "0x..." string))"},
};

class BadHostTest : public testing::TestWithParam<BadHost> {};

TEST_P(BadHostTest, IsRefusedWithOneLineNamingTheKey) {
  std::string error;
  EXPECT_EQ(loadHost(GetParam().json, &error), nullptr);
  EXPECT_EQ(error, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(Table, BadHostTest, testing::ValuesIn(kBadHosts));

TEST(HostFile, MalformedJsonIsOneLine) {
  std::string error;
  EXPECT_EQ(loadHost("{\n\"a\": \n", &error), nullptr);
  EXPECT_EQ(error.rfind("not valid JSON: ", 0), 0u) << error;
  EXPECT_EQ(error.find('\n'), std::string::npos);
}

TEST(HostFile, FileErrorsNameTheFile) {
  std::string error;
  EXPECT_EQ(loadHostFile("/nonexistent/host.json", &error), nullptr);
  EXPECT_EQ(error, "/nonexistent/host.json: cannot read the file");
  std::string path = testing::TempDir() + "bad_host.json";
  std::ofstream(path) << R"({"lid-closed": "no"})";
  EXPECT_EQ(loadHostFile(path, &error), nullptr);
  EXPECT_EQ(error, path + ": lid-closed: expected true or false");
  std::remove(path.c_str());
}

TEST(HostFile, DefaultHostLoads) {
  std::string error;
  auto p = loadDefaultHost(&error);
  ASSERT_NE(p, nullptr) << error;
  EXPECT_EQ(p->sim().routers().size(), 3u);
  EXPECT_EQ(p->sim().controllers()[0].interfaceVersion, 2u);
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

class SaveTest : public testing::Test {
 protected:
  std::filesystem::path dir_ = std::filesystem::temp_directory_path() / ("sim_save_" + std::to_string(getpid()));
  void SetUp() override { std::filesystem::create_directories(dir_); }
  void TearDown() override { std::filesystem::remove_all(dir_); }
};

TEST_F(SaveTest, RoundTripKeepsVariablesAndMemories) {
  auto p = loadHost(R"({"nvram": {"tbt-options": "%04", "keep": "text"},
                        "controllers": [{"routers": [{"route": 0,
                          "eeprom": {"size": 64, "bytes": {"0x10": "c0ffee"}},
                          "nvm": {"size": "0x100", "fill": 0, "bytes": {"0": "01"}},
                          "lc-memory": {"8": 7}}]}]})",
                    nullptr);
  ASSERT_NE(p, nullptr);
  SimHost& hw = p->sim();
  hw.runShell("nvram added=%ff%25");
  Router& r = *hw.router(0, 0);
  r.eeprom()->write(0x3f, 0x5a);
  r.nvm()->write(0x80, 0x22);
  r.lcMemory().write(9, 0xabcdef01);

  std::string path = (dir_ / "host.json").string(), error;
  ASSERT_TRUE(saveHostFile(hw, path, &error)) << error;
  auto again = loadHostFile(path, &error);
  ASSERT_NE(again, nullptr) << error;
  EXPECT_EQ(again->sim().nvram(), hw.nvram());
  const Router& r2 = *again->sim().router(0, 0);
  EXPECT_EQ(r2.eeprom()->read(0, 64), r.eeprom()->read(0, 64));
  EXPECT_EQ(r2.eeprom()->read(0x10, 3), (std::vector<uint8_t>{0xc0, 0xff, 0xee}));
  EXPECT_EQ(r2.nvm()->read(0, 0x100), r.nvm()->read(0, 0x100));
  EXPECT_EQ(r2.lcMemory().words(), r.lcMemory().words());
  EXPECT_EQ(hostJson(again->sim()), hostJson(hw));
  EXPECT_NE(hostJson(hw).find(R"("added": "%ff%25")"), std::string::npos) << "values keep the %-notation";
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_), {}), 1);  // no temporary left
}

TEST_F(SaveTest, UnwritablePlaceFailsWithOneLine) {
  auto p = loadHost("{}", nullptr);
  std::string error;
  EXPECT_FALSE(saveHostFile(p->sim(), (dir_ / "missing" / "host.json").string(), &error));
  EXPECT_NE(error.find("cannot write the host file"), std::string::npos);
  EXPECT_EQ(error.find('\n'), std::string::npos);
}

}  // namespace
}  // namespace tbt::sim
