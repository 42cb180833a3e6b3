// Hardware access through the simulated controller driver: byte order,
// interface versions, absent routes, IECS and I2C register files, faults,
// where models sit, and the time every access costs.
#include <gtest/gtest.h>

#include <optional>

#include <nlohmann/json.hpp>

#include "sim/eeprom_pins_model.h"
#include "sim/sim_platform.h"
#include "support/device_interface.h"
#include "support/param_names.h"

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
  Status iecs(uint32_t bus, uint32_t device, uint8_t offset, std::vector<uint8_t>& data, uint32_t direction) {
    return v2_->iecsTransaction(1, bus, device, offset, static_cast<uint32_t>(data.size()), data.data(), direction,
                                bus > 10 ? 1 : 2);
  }
  SimHost& hw() { return platform_->sim(); }

  std::unique_ptr<SimPlatform> platform_;
  std::unique_ptr<DeviceInterface> v2_;
};

TEST_F(Hardware, ConfigBuffersAreBigEndian) {
  uint8_t buf[8] = {};
  ASSERT_EQ(v2_->configRead(0, 0, 2, 0, 1, buf), status::kSuccess);
  EXPECT_EQ(std::vector<uint8_t>(buf, buf + 4), (std::vector<uint8_t>{0x12, 0x34, 0x56, 0x78}));
  const uint8_t out[8] = {0xde, 0xad, 0xbe, 0xef, 0x01, 0x02, 0x03, 0x04};
  ASSERT_EQ(v2_->configWrite(1, 3, 1, 0x10, 2, out), status::kSuccess);
  EXPECT_EQ(hw().peek(0, 1, 3, 1, 0x10), 0xdeadbeefu);
  EXPECT_EQ(hw().peek(0, 1, 3, 1, 0x11), 0x01020304u);
}

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

TEST_F(Hardware, IecsRegisterFiles) {
  std::vector<uint8_t> asn(6);
  ASSERT_EQ(iecs(36, 1, 18, asn, kIecsDirectionRead), status::kSuccess);
  EXPECT_EQ(std::string(asn.begin(), asn.end()), "C02ABC");
  std::vector<uint8_t> mode{1};
  ASSERT_EQ(iecs(42, 0, 36, mode, kIecsDirectionWrite), status::kSuccess);
  mode[0] = 0;
  ASSERT_EQ(iecs(42, 0, 36, mode, kIecsDirectionRead), status::kSuccess);
  EXPECT_EQ(mode[0], 1);
  EXPECT_EQ(iecs(36, 0, 36, mode, kIecsDirectionRead), status::kNotResponding);
  EXPECT_EQ(v2_->iecsTransaction(1, 42, 0, 36, 1, mode.data(), kIecsDirectionRead, 2), status::kBadArgument)
      << "bus 42 is reached in mode 1";
  EXPECT_EQ(hw().iecsAccessCount(), 4u);
}

TEST_F(Hardware, I2cRegisterFiles) {
  const uint8_t write[] = {0x02, 0xaa, 0xbb};  // register offset, then data
  ASSERT_EQ(v2_->i2cTransaction(1, 0x50, 3, write, 0, nullptr), status::kSuccess);
  const uint8_t offset = 0x01;
  uint8_t read[4] = {};
  ASSERT_EQ(v2_->i2cTransaction(1, 0x50, 1, &offset, 4, read), status::kSuccess);
  EXPECT_EQ(std::vector<uint8_t>(read, read + 4), (std::vector<uint8_t>{0x11, 0xaa, 0xbb, 0x00}));
  EXPECT_EQ(v2_->i2cTransaction(1, 0x51, 1, &offset, 1, read), status::kNotResponding);
  EXPECT_EQ(hw().i2cAccessCount(), 3u);
}

struct FaultCase {
  const char* name;
  uint64_t skip;
  int64_t times;
  const char* pattern;  // per access: F failed, . passed
};

class FaultPattern : public Hardware, public testing::WithParamInterface<FaultCase> {};

TEST_P(FaultPattern, SkipThenFailTimes) {
  hw().addFault({.op = "config-write", .route = 0x1, .index = 7, .status = status::kDeviceError,
                 .skip = GetParam().skip, .times = GetParam().times});
  std::string seen;
  for (uint32_t i = 0; i < 5; ++i) {
    uint8_t buf[4] = {0, 0, 0, static_cast<uint8_t>(i + 1)};
    Status st = v2_->configWrite(1, 0, 2, 7, 1, buf);
    seen += st == status::kDeviceError ? 'F' : '.';
    // A failed write never reaches the hardware.
    EXPECT_EQ(hw().peek(0, 1, 0, 2, 7) == i + 1, st == status::kSuccess);
    // Other addresses are untouched by the fault.
    EXPECT_EQ(v2_->configWrite(1, 0, 2, 8, 1, buf), status::kSuccess);
  }
  EXPECT_EQ(seen, GetParam().pattern);
  EXPECT_EQ(hw().configWritesOf(1, 0, 2, 7), 5u);
}

INSTANTIATE_TEST_SUITE_P(
    Table, FaultPattern,
    testing::Values(FaultCase{"Skip0Times1", 0, 1, "F...."}, FaultCase{"Skip2Times1", 2, 1, "..F.."},
                    FaultCase{"Skip1TimesEvery", 1, -1, ".FFFF"}, FaultCase{"Skip0Times2", 0, 2, "FF..."},
                    FaultCase{"Skip3Times0", 3, 0, "....."}),
    test::byName);

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

TEST_F(Hardware, ClockAndAccounting) {
  uint64_t start = hw().nowMicroseconds();
  uint8_t buf[4];
  v2_->configRead(0, 0, 2, 0, 1, buf);
  v2_->configRead(0x9, 0, 2, 0, 1, buf);  // failed accesses cost time too
  platform_->host().sleepMicroseconds(1000);
  EXPECT_EQ(hw().nowMicroseconds() - start, 1014u);
  EXPECT_EQ(hw().hardwareTimeMicroseconds(), 1014u);
  EXPECT_EQ(platform_->host().nowMicroseconds(), hw().nowMicroseconds());
  EXPECT_EQ(hw().configReadCount(), 2u);
  EXPECT_EQ(hw().configReadsOf(0, 0, 2, 0), 1u);
  EXPECT_EQ(hw().configReadsOf(0x9, 0, 2, 0), 1u);
  hw().resetCounters();
  EXPECT_EQ(hw().configAccessCount(), 0u);
  hw().setAccessLogEnabled(true);
  v2_->configRead(0, 0, 2, 0, 1, buf);
  ASSERT_EQ(hw().accessLog().size(), 1u);
  EXPECT_EQ(hw().accessLog()[0].value, 0x12345678u);
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
