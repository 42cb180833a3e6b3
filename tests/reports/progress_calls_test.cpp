// What the long loops tell a Progress: every unit out of the total counted
// first, from 0 to the end, for the NVM (in its requests and from the
// EEPROM), the EEPROM, a link controller's memory and the report of every
// router.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/host_builder.h"
#include "support/topology_builder.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using Calls = std::vector<std::pair<uint64_t, uint64_t>>;

struct Recorder final : Progress {
  void advance(uint64_t done, uint64_t total) override { calls.emplace_back(done, total); }
  Calls calls;
};

// A report sink that keeps nothing and hands out a progress.
struct ProgressSink final : ReportSink {
  void write(std::string_view) override {}
  Progress* progress() const override { return recorder; }
  Recorder* recorder = nullptr;
};

ThunderboltUserClientUtils& utils() { return ThunderboltUserClientUtils::sharedInstance(); }

// 64 bytes are one mailbox request, 70 a request, a double word and two
// bytes of another; the EEPROM is read byte by byte.
TEST(ProgressCalls, NvmAndEepromReads) {
  struct Row {
    bool linkController;
    uint32_t size;
    Calls calls;
  };
  const Row rows[] = {
      {true, 64, {{0, 64}, {64, 64}}},
      {true, 70, {{0, 70}, {64, 70}, {70, 70}}},
      {true, 3, {{0, 3}, {3, 3}}},
      {false, 3, {{0, 3}, {1, 3}, {2, 3}, {3, 3}}},
  };
  for (const Row& row : rows) {
    test::SwitchHostBuilder b;
    b.identity(0x15678086).dft(0x40, 0x100).eeprom(2048);
    if (row.linkController) b.linkController(0x50, 0x10, 200).nvm({{"0x10", "a0a1"}});
    test::ScopedHost host(b.json());
    LocalRouterHandle handle;
    handle.setRoute(0x1);
    std::vector<uint8_t> buffer(row.size);
    Recorder recorder;
    ASSERT_EQ(utils().nvmRead(buffer.data(), row.size, 0, handle, &recorder), status::kSuccess);
    EXPECT_EQ(recorder.calls, row.calls) << row.size << (row.linkController ? " through the mailbox" : " EEPROM");
  }
}

TEST(ProgressCalls, AnEepromReadStopsAtTheFailingByte) {
  test::ScopedHost host(test::SwitchHostBuilder().identity(0x15678086).dft(0x40, 0x100).eeprom(2048).json());
  LocalRouterHandle handle;
  handle.setRoute(0x1);
  uint8_t dft = 0;
  ASSERT_EQ(utils().findCapabilityAtRouterHandle(dft, kDftCapabilityKey, kVendorCapabilityMask, handle, 0, kDeviceSpace), status::kSuccess);
  std::vector<uint8_t> buffer(2);
  Recorder recorder;
  ASSERT_EQ(utils().eeMultiByteRead(buffer.data(), 2, 0, handle, dft, &recorder), status::kSuccess);
  EXPECT_EQ(recorder.calls, (Calls{{0, 2}, {1, 2}, {2, 2}}));
  LocalRouterHandle nowhere;
  nowhere.setRoute(0x7);
  recorder.calls.clear();
  EXPECT_NE(utils().eeMultiByteRead(buffer.data(), 2, 0, nowhere, dft, &recorder), status::kSuccess);
  EXPECT_EQ(recorder.calls, (Calls{{0, 2}}));
}

// 0x8000 to 0xeffc: 7168 addresses, each told before it is read.
TEST(ProgressCalls, LinkControllerMemory) {
  test::ScopedHost host(test::goldenFile("reports/link_controller.json"));
  LocalRouterHandle handle;
  Recorder recorder;
  ProgressSink sink;
  sink.recorder = &recorder;
  utils().memoryDumpForLC(0, handle, sink);
  ASSERT_EQ(recorder.calls.size(), 7169u);
  EXPECT_EQ(recorder.calls.front(), (std::pair<uint64_t, uint64_t>{0, 7168}));
  EXPECT_EQ(recorder.calls[7167], (std::pair<uint64_t, uint64_t>{7167, 7168}));
  EXPECT_EQ(recorder.calls.back(), (std::pair<uint64_t, uint64_t>{7168, 7168}));
}

// Every router of both controllers of the rich host (four and two), counted
// from the registry before the first is reported.
TEST(ProgressCalls, EveryRouter) {
  test::ScopedHost host(test::fixtureHost("rich.json"));
  Recorder recorder;
  ProgressSink sink;
  sink.recorder = &recorder;
  utils().allSpaces(sink);
  EXPECT_EQ(recorder.calls, (Calls{{0, 6}, {1, 6}, {2, 6}, {3, 6}, {4, 6}, {5, 6}, {6, 6}}));
}

}  // namespace
}  // namespace tbt
