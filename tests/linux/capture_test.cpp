// tbkit capture: every fixture and a large generated fabric round-trip byte
// for byte and load again; a capture of the Linux fixture, loaded as a
// simulated host, answers every register read and the topology commands as
// the Linux host did, missing adapter folders included; routers behind
// bridges are replayed.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "cli/host_capture.h"
#include "cli/tbkit_run.h"
#include "platform/registry_helpers.h"
#include "platform/text.h"
#include "support/command_words.h"
#include "support/device_interface.h"
#include "support/scoped_host.h"
#include "support/temp_dir.h"
#include "support/scoped_linux_host.h"

namespace tbt::test {
namespace {

// A tree of count routers, four lane adapters each below the host router's,
// every space of every adapter with a few values; no access latency.
std::string fabric(size_t count) {
  nlohmann::json routers = nlohmann::json::array();
  std::vector<std::pair<uint64_t, unsigned>> frontier = {{0, 0}};
  for (size_t next = 0; routers.size() < count; ++next) {
    const auto [route, depth] = frontier[next];
    nlohmann::json r = {{"route", textf("0x%llx", static_cast<unsigned long long>(route))},
                        {"device-space", {{"0", "0x15ef8086"}, {"2", textf("0x%x", static_cast<uint32_t>(route))}}}};
    for (uint32_t p = 2; p <= 5; ++p) {
      r["ports"][std::to_string(p)] = {{"port-space", {{"0", textf("0x%x", p)}}},
                                       {"path-space", {{"0x10", "0x80000001"}}},
                                       {"counter-space", {{"1", "0x5"}}}};
      frontier.emplace_back(route | uint64_t{p} << (8 * depth), depth + 1);
    }
    routers.push_back(std::move(r));
  }
  return nlohmann::json{{"access-latency-us", 0}, {"controllers", {{{"routers", routers}}}}}.dump();
}

// Captures a host, loads the capture, captures that again: the two agree
// byte for byte and stay under the host-file limit.
void roundTrip(const std::string& first) {
  ASSERT_LT(first.size(), 16u << 20);
  std::string error;
  ASSERT_TRUE(sim::loadHost(first, &error)) << error;
  ScopedHost again(first);
  EXPECT_EQ(cli::captureHost(), first);
}

TEST(Capture, EveryFixtureAndALargeFabricRoundTrip) {
  std::vector<std::pair<std::string, std::string>> hosts = {{"a fabric of 4000 routers", fabric(4000)}};
  for (const char* folder : {"/hosts", "/../tests/golden/reports"})
    for (const auto& entry : std::filesystem::directory_iterator(std::string(TBT_FIXTURES_DIR) + folder))
      if (entry.path().extension() == ".json") hosts.emplace_back(entry.path(), readFile(entry.path()));
  ASSERT_GE(hosts.size(), 6u);
  for (size_t i = 0; i < hosts.size(); ++i) {
    SCOPED_TRACE(hosts[i].first);
    std::string first;
    {
      ScopedHost host(hosts[i].second);
      first = cli::captureHost();
    }
    if (i == 0) {
      EXPECT_EQ(nlohmann::json::parse(first)["controllers"][0]["routers"].size(), 4000u);
    }
    roundTrip(first);
  }
  ScopedLinuxHost linux;
  roundTrip(cli::captureHost());
}

// An adapter folder the kernel left out fails as ranges: the capture stays
// small and replays them.
TEST(Capture, MissingAdapterFolderBecomesRanges) {
  ScopedLinuxHost linux("chain", {}, [](const std::string& root) {
    std::filesystem::remove_all(root + "/sys/kernel/debug/thunderbolt/0-1/port3");
  });
  const std::string text = cli::captureHost();
  EXPECT_LT(text.size(), 20000u);
  const nlohmann::json doc = nlohmann::json::parse(text);
  nlohmann::json failures;
  for (const nlohmann::json& r : doc["controllers"][0]["routers"])
    if (r["route"] == "0x1") failures = r["read-failures"];
  ASSERT_EQ(failures.size(), 3u) << failures;
  EXPECT_EQ(failures[0], nlohmann::json::parse(
                             R"({"port": 3, "space": 0, "first": "0x0", "last": "0x1fff", "status": "0xe00002f0"})"));
  roundTrip(text);
}

// Routers behind bridges replay. A bridged router is read as far as its
// headers size its spaces: device and port spaces to 0x1ff (the device space here), the path space to
// Max In HopID, the counter space to Max Counters; what lies beyond replays as
// 0 (unless the first index past them answers, which has the whole space read).
TEST(Capture, BridgedRoutersReplayAsFarAsTheirHeadersSay) {
  nlohmann::json host = nlohmann::json::parse(readFile(std::string(TBT_FIXTURES_DIR) + "/hosts/rich.json"));
  nlohmann::json& far = host["controllers"][0]["routers"][1]["bridges"]["1"]["router"];
  far["device-space"].update({{"1", "0x4000"}, {"0x1ff", "0x1ff"}, {"0x201", "0x201"}});
  far["ports"]["1"] = {{"port-space", {{"1", "0x200"}, {"5", "0x3"}}},
                       {"path-space", {{"7", "0x77"}, {"9", "0x99"}}},
                       {"counter-space", {{"5", "0x55"}, {"7", "0x77"}}}};
  const TempDir dir;
  const std::string file = dir / "capture.json";
  {
    ScopedHost source(host.dump());
    std::ofstream(file) << cli::captureHost();
  }
  const struct {
    const char* where;  // buses, space, adapter and index read through the bridges of router 0x1
    const char* out;
  } reads[] = {{"--bus 0 --space device --index 0x40", "0x0040: 0xa0a0a0a0"},
               {"--bus 1 --space device --index 0x40", "0x0040: 0xb0b0b0b0"},
               {"--bus 0 --bus 0 --space device --index 0x40", "0x0040: 0xc0c0c0c0"},
               {"--bus 1 --space device --index 0x1ff", "0x01ff: 0x000001ff"},
               {"--bus 1 --space device --index 0x201", "0x0201: 0x00000000"},
               {"--bus 1 --space path --port 1 --index 7", "0x0007: 0x00000077"},
               {"--bus 1 --space path --port 1 --index 9", "0x0009: 0x00000000"},
               {"--bus 1 --space counter --port 1 --index 5", "0x0005: 0x00000055"},
               {"--bus 1 --space counter --port 1 --index 7", "0x0007: 0x00000000"}};
  for (const auto& r : reads) {
    const cli::Outcome run = cli::tbkit(words("read --via-parent 0x1 " + std::string(r.where) + " --host=sim:" + file));
    EXPECT_EQ(run.out, std::string(r.out) + "\n") << r.where << " " << run.err;
  }
}

std::string tbkit(const std::vector<std::string>& args) {
  const cli::Outcome run = cli::tbkit(args);
  EXPECT_EQ(run.status, 0) << run.err;
  return run.out;
}

// A capture of the Linux fixture answers every register read and the topology
// commands as the Linux host does.
TEST(Capture, LinuxCaptureAnswersAsTheLinuxHost) {
  ScopedLinuxHost linux;  // a private copy of the tree to read
  const std::string file = linux.root() + "/captured.json";
  const std::string host = "--host=linux:" + linux.root();
  EXPECT_EQ(tbkit({"capture", host, "-o", file}), "wrote " + std::to_string(cli::captureHost().size()) +
                                                     " bytes to " + file + "\n");
  std::string error;
  auto replay = sim::loadHostFile(file, &error);
  ASSERT_TRUE(replay) << error;
  auto real = deviceOf(linux.platform());
  auto simulated = deviceOf(*replay);
  ASSERT_TRUE(real && simulated);
  size_t compared = 0;
  for (const RegistryEntry& port : registry().matching(kPortClass)) {
    uint64_t number = 0;
    if (!readRegistryNumber64(port, kPortNumberKey, number)) continue;
    const RegistryEntry parent = port.parents().at(0);
    RegistryEntry sw = parent.conformsTo(kSwitchClass) ? parent : firstChildOfClass(port, kSwitchClass);
    const uint64_t route = routeOfEntry(sw);
    for (uint32_t space = 0; space < 4; ++space) {
      const uint32_t adapter = space == 2 ? 0 : static_cast<uint32_t>(number);
      for (uint32_t index = 0; index < cli::kCaptureIndexLimit; ++index) {
        uint8_t a[4] = {}, b[4] = {};
        if (real->configRead(route, adapter, space, index, 1, a) != status::kSuccess) continue;
        ASSERT_EQ(simulated->configRead(route, adapter, space, index, 1, b), status::kSuccess);
        ASSERT_EQ(std::vector<uint8_t>(a, a + 4), std::vector<uint8_t>(b, b + 4))
            << "route " << route << " adapter " << adapter << " space " << space << " index " << index;
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 200u);
  for (const char* command : {"list", "paths", "read --route 0x1 --port 10 --space port --index 0x4f --count 4",
                              "read --route 0x0 --port 1 --space path --index 0x10 --count 2", "report all"}) {
    SCOPED_TRACE(command);
    EXPECT_EQ(tbkit(words(command + (" " + host))), tbkit(words(command + (" --host=sim:" + file))));
  }
  // The router's DROM file is the replayed EEPROM's content at the DROM offset.
  const std::string drom = linux.root() + "/sys/kernel/debug/thunderbolt/0-1/drom";
  EXPECT_NE(tbkit({"drom", "parse", drom}).find("0xd45f2f9db08200"), std::string::npos);
  const std::string bytes = readFile(drom);
  std::istringstream dump(tbkit({"eeprom", "read", "--host=sim:" + file, "--route", "0x1", "--offset", "0x100",
                                 "--length", std::to_string(bytes.size())}));
  std::string replayed;
  for (std::string line; std::getline(dump, line);) {
    std::istringstream hexBytes(line.substr(line.find(':') + 1));
    for (unsigned byte = 0; hexBytes >> std::hex >> byte;) replayed.push_back(static_cast<char>(byte));
  }
  EXPECT_EQ(replayed, bytes);
}

}  // namespace
}  // namespace tbt::test
