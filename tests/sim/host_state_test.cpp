// The simulated host's state across runs: a host saved and loaded again
// after a run changed all that it remembers, and the boot firmware's reading
// of its payload names and options and its forced flashes.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <utility>

#include "sim/boot_firmware.h"
#include "support/display_host.h"
#include "support/temp_dir.h"

namespace tbt::sim {
namespace {

// A run changes everything a host remembers; saving and loading gives the
// same host, and no temporary file is left beside it.
TEST(HostState, SavedAndLoadedAgainIsTheSameHost) {
  const test::TempDir dir;
  std::string error;
  auto p = loadHost(R"({"nvram": {"keep": "text"}, "controllers": [{"routers": [{"route": 0, "ports": {"1": {}},
                          "eeprom": {"size": 64, "bytes": {"0x10": "c0ffee"}},
                          "nvm": {"size": "0x100", "fill": 0, "bytes": {"0": "01"}},
                          "lc-memory": {"8": 7}}]}]})",
                    &error);
  ASSERT_NE(p, nullptr) << error;
  SimHost& hw = p->sim();
  hw.runShell("nvram tbt-options=%04");
  hw.runShell("nvram added=%ff%25");
  ASSERT_EQ(hw.runShell("/usr/sbin/bless -mount / -firmware /u.efi -payload /a -payload /b -options '-o'"), 0);
  hw.runShell("shutdown -r now");
  hw.setRestartCount(3);
  Router& host = *hw.router(0, 0);
  ASSERT_EQ(host.write(0, kDeviceSpace, 0x30, 0x1234), status::kSuccess);
  ASSERT_EQ(host.write(1, kPathSpace, 9, 0xabcd), status::kSuccess);
  host.registry().set.set("ROM Version", Property::number(0x42));
  host.portRegistry(1).set.set("Micro Version", Property::number(0x20009));
  host.eeprom()->write(0x3f, 0x5a);
  host.nvm()->write(0x80, 0x22);
  host.lcMemory().write(9, 0xabcdef01);

  const std::string path = dir / "host.json";
  ASSERT_TRUE(saveHostFile(hw, path, &error)) << error;
  auto again = loadHostFile(path, &error);
  ASSERT_NE(again, nullptr) << error;
  const SimHost& hw2 = again->sim();
  EXPECT_EQ(hostJson(hw2), hostJson(hw));
  EXPECT_NE(hostJson(hw).find(R"("added": "%ff%25")"), std::string::npos) << "values keep the %-notation";
  EXPECT_EQ(hw2.scheduledBootEntry(), hw.scheduledBootEntry());
  EXPECT_TRUE(hw2.restartRequested());
  EXPECT_EQ(hw2.restartCount(), 3u);
  EXPECT_EQ(hw2.nvram(), hw.nvram());
  const Router& host2 = *hw2.router(0, 0);
  EXPECT_EQ(host2.peek(0, kDeviceSpace, 0x30), 0x1234u);
  EXPECT_EQ(host2.peek(1, kPathSpace, 9), 0xabcdu);
  EXPECT_EQ(host2.registry().set, host.registry().set);
  EXPECT_EQ(host2.portRegistry(1)->set, std::as_const(host).portRegistry(1)->set);
  EXPECT_EQ(host2.eeprom()->read(0, 64), host.eeprom()->read(0, 64));
  EXPECT_EQ(host2.nvm()->read(0, 0x100), host.nvm()->read(0, 0x100));
  EXPECT_EQ(host2.lcMemory().words(), host.lcMemory().words());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(BootFirmwareTest, PayloadNames) {
  auto rom = [](const char* name) {
    auto v = switchPayloadVersion(name);
    return v ? textf("%x.%x", v->rom, v->revision) : std::string("-");
  };
  EXPECT_EQ(rom("Panel-26-02.bin"), "26.2");
  EXPECT_EQ(rom("Panel-2a-ff.bin"), "2a.ff");
  for (const char* bad : {"Panel-26-2.bin", "Panel-26-02-1.bin", "Panel-g6-02.bin", "Panel-26-02.bin.old", "Panel-26-02",
                          "panel-26-02.bin"})
    EXPECT_EQ(rom(bad), "-") << bad;
  EXPECT_EQ(microPayloadVersion("PortMc-em-00020007.bin"), 0x20007u);
  for (const char* bad : {"PortMc-em-0002000.bin", "PortMc-em-000200070.bin", "PortMc-em-0002000x.bin", "PortMc-00020007.bin"})
    EXPECT_EQ(microPayloadVersion(bad), std::nullopt) << bad;
}

TEST(BootFirmwareTest, Options) {
  auto parsed = parseFlashOptions(
      "-o -u 0x0001001a731ff1d0 -ee efi-kelvo-payload0-data -sm efi-kelvo-payload1-data"
      " -u 0x1 -ee -f efi-kelvo-payload0-data -sm -f efi-kelvo-payload1-data");
  ASSERT_TRUE(parsed);
  ASSERT_EQ(parsed->size(), 2u);
  EXPECT_EQ((*parsed)[0].uid, 0x0001001a731ff1d0u);
  EXPECT_FALSE((*parsed)[0].forceSwitch || (*parsed)[0].forceMicro);
  EXPECT_TRUE((*parsed)[1].forceSwitch && (*parsed)[1].forceMicro);
  for (const char* bad : {"", "-o", "-u 0x1 -ee efi-kelvo-payload0-data -sm efi-kelvo-payload1-data",
                          "-o -u 1 -ee efi-kelvo-payload0-data -sm efi-kelvo-payload1-data",
                          "-o -u 0x10000000000000000 -ee efi-kelvo-payload0-data -sm efi-kelvo-payload1-data",
                          "-o -u 0x1 -ee efi-kelvo-payload1-data -sm efi-kelvo-payload1-data",
                          "-o -u 0x1 -ee efi-kelvo-payload0-data -sm -f",
                          "-o -u 0x1 -ee efi-kelvo-payload0-data -sm efi-kelvo-payload1-data -x"})
    EXPECT_FALSE(parseFlashOptions(bad)) << bad;
}

// Forced options flash a display newer than the payloads back to them (an
// unforced run keeps its firmware: the command tests cover that).
TEST(BootFirmwareTest, AForcedFlashGoesBack) {
  const test::TempDir temp;
  const std::string& dir = temp.path();
  std::ofstream(dir + "/Panel-26-02.bin") << "switch";
  std::ofstream(dir + "/PortMc-em-00020007.bin") << "micro";
  nlohmann::json doc = test::defaultHostDocument();
  test::routerOf(doc, 0x1)["registry"]["ROM Version"] = "0x27";
  test::routerOf(doc, 0x1)["nvm"] = {{"size", 64}};
  test::ScopedHost host(doc.dump());
  SimHost& hw = host.sim();
  hw.runShell("nvram tbt-options=%04");
  hw.runShell(textf("/usr/sbin/bless -mount / -firmware %s/VaneUtil.efi -payload %s/Panel-26-02.bin -payload "
                    "%s/PortMc-em-00020007.bin -options \"-o -u 0x%016llx -ee -f efi-kelvo-payload0-data "
                    "-sm -f efi-kelvo-payload1-data\"",
                    dir.c_str(), dir.c_str(), dir.c_str(), static_cast<unsigned long long>(test::kNearUid)));
  const std::string report = restartHost(hw);
  const Router& display = *hw.router(0, 0x1);
  EXPECT_NE(report.find("ROM 27.3 -> 26.2, port 1 micro-controller 0x20005 -> 0x20007"), std::string::npos)
      << report;
  EXPECT_EQ(display.registry().set.find("ROM Version")->asNumber(), 0x26u);
  EXPECT_EQ(display.nvm()->read(0, 6), (std::vector<uint8_t>{'s', 'w', 'i', 't', 'c', 'h'}));
  EXPECT_EQ(hw.nvram().at(kUpdateResultVariable), std::string(1, '\0'));
}

}  // namespace
}  // namespace tbt::sim
