// Hardware access through the simulated controller driver: interface
// versions, absent routes, faults and where models sit (the IECS and I2C
// register files are read and written by the kernel and toolkit tests).
#include <gtest/gtest.h>

#include <optional>

#include <nlohmann/json.hpp>

#include "sim/eeprom_pins_model.h"
#include "sim/sim_platform.h"
#include "support/device_interface.h"

namespace tbt::sim {
namespace {

constexpr const char* kHost = R"({"access-latency-us": 7, "controllers": [
  {"interface-version": 2, "routers": [
    {"route": 0, "device-space": {"0": "0x12345678"}, "ports": {"1": {}}},
    {"route": 1, "iecs": {"36/1": {"18": "ASCII:C02ABC"}, "42/0": {"36": "00"}},
                 "i2c": {"0x50": {"0": "00112233"}}}]},
  {"interface-version": 1, "routers": [{"route": 0, "device-space": {"0": 5}}]}]})";

class Hardware : public testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    platform_ = loadHost(kHost, &error);
    ASSERT_NE(platform_, nullptr) << error;
    v2_ = test::deviceOf(*platform_);
    ASSERT_NE(v2_, nullptr);
  }

  std::unique_ptr<SimPlatform> platform_;
  std::unique_ptr<DeviceInterface> v2_;
};

TEST_F(Hardware, AbsentRouteTimesOutAndBadAddressesAreRefused) {
  uint8_t buf[4] = {};
  EXPECT_EQ(v2_->configRead(0x2, 0, 2, 0, 1, buf), status::kTimeout);
  EXPECT_EQ(v2_->configRead(0, 0, 4, 0, 1, buf), status::kBadArgument);
  EXPECT_EQ(v2_->configRead(0, 64, 1, 0, 1, buf), status::kBadArgument);
}

TEST_F(Hardware, InterfaceVersions) {
  EXPECT_EQ(test::deviceOf(*platform_, 1), nullptr);
  auto v1 = test::deviceOf(*platform_, 1, kDeviceInterfaceV1);
  ASSERT_NE(v1, nullptr);
  uint8_t buf[4] = {};
  EXPECT_EQ(v1->configRead(0, 0, 2, 0, 1, buf), status::kSuccess);
  EXPECT_EQ(buf[3], 5);
  EXPECT_EQ(v1->iecsTransaction(0, 36, 0, 36, 1, buf, kIecsDirectionRead, 2), status::kUnsupported);
  // A newer controller also hands out the older interface, with the same limits.
  EXPECT_EQ(test::deviceOf(*platform_, 0, kDeviceInterfaceV1)->iecsTransaction(1, 42, 0, 36, 1, buf, kIecsDirectionRead, 1),
            status::kUnsupported);
  std::unique_ptr<ControllerPlugIn> none;
  EXPECT_EQ(platform_->controllerDriver().createPlugIn(platform_->registry().root(), none), status::kUnsupported);
}

// Faults as a host file gives them (how skip and times count is what the
// EEPROM tests' double reads and clocking failures rely on exactly).
TEST(HardwareFaults, FromTheHostFile) {
  std::string error;
  auto p = loadHost(R"({"controllers": [{"routers": [{"route": 0, "i2c": {"0x50": {}}}]}],
      "faults": [{"op": "i2c", "address": "0x50", "skip": 1, "times": 1, "status": "0xe00002ed"},
                 {"op": "iecs-read", "bus": 36}, {"op": "iecs-read", "bus": 37, "times": -1}]})",
                    &error);
  ASSERT_NE(p, nullptr) << error;
  uint8_t b = 0;
  EXPECT_EQ(p->sim().i2cTransaction(0, 0, 0x50, &b, 1, nullptr, 0), status::kSuccess);
  EXPECT_EQ(p->sim().i2cTransaction(0, 0, 0x50, &b, 1, nullptr, 0), status::kNotResponding);
  EXPECT_EQ(p->sim().i2cTransaction(0, 0, 0x50, &b, 1, nullptr, 0), status::kSuccess);
  EXPECT_EQ(p->sim().iecsRead(0, 0, 36, 0, 0, &b, 1), status::kTimeout);  // the default status
  EXPECT_EQ(p->sim().faults()[1].fired, 1u);
  // "times": -1, the smallest, fails every access as leaving it out does.
  for (int i = 0; i < 2; ++i) EXPECT_EQ(p->sim().iecsRead(0, 0, 37, 0, 0, &b, 1), status::kTimeout);
}

// A model sits where the host file stores the capability's header, wherever
// the chain of next pointers leads (here: nowhere); the lowest such double
// word counts, and double words 0 and 1 are registers, never capabilities.
TEST(HardwareModels, SitWhereTheHostFileDeclaresTheCapability) {
  struct Case {
    const char* deviceSpace;
    std::optional<uint32_t> pins;
  };
  for (const Case& c : {Case{R"({"1": "0x0", "0x40": "0x10010500"})", 0x44u},
                        Case{R"({"1": "0x60", "0x60": "0x10010500", "0x30": "0x00010500"})", 0x34u},
                        Case{R"({"0": "0x00010500", "1": "0x00010500"})", std::nullopt}}) {
    auto p = loadHost(std::string(R"({"controllers": [{"routers": [{"route": 0, "eeprom": {}, "device-space": )") +
                          c.deviceSpace + "}]}]}",
                      nullptr);
    ASSERT_NE(p, nullptr);
    const EepromPinsModel* pins = eepromPinsOf(*p->sim().router(0, 0));
    EXPECT_EQ(pins ? std::optional<uint32_t>(pins->pinRegister()) : std::nullopt, c.pins) << c.deviceSpace;
  }
}

}  // namespace
}  // namespace tbt::sim
