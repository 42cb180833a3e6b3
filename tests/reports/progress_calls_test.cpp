// What an NVM read tells a Progress: every unit out of the total counted
// first, from 0 to the end, in its mailbox requests and from the EEPROM.
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

// 0 to total in steps of step, the last step cut short.
Calls counting(uint64_t total, uint64_t step = 1) {
  Calls calls;
  for (uint64_t done = 0; done < total; done += step) calls.emplace_back(done, total);
  calls.emplace_back(total, total);
  return calls;
}

ThunderboltUserClientUtils& utils() { return ThunderboltUserClientUtils::sharedInstance(); }

std::string switchHost(bool linkController) {
  test::SwitchHostBuilder b;
  b.identity(0x15678086).dft(0x40, 0x100).eeprom(2048);
  if (linkController) b.linkController(0x50, 0x10, 200).nvm({{"0x10", "a0a1"}});
  return b.json();
}

// 64 bytes are one mailbox request, 70 a request, a double word and two
// bytes of another; the EEPROM is read byte by byte.
TEST(ProgressCalls, NvmAndEepromReads) {
  struct Row {
    bool linkController;
    uint32_t size;
    Calls calls;
  };
  for (const Row& row : {Row{true, 64, counting(64, 64)}, Row{true, 70, counting(70, 64)}, Row{false, 3, counting(3)}}) {
    test::ScopedHost host(switchHost(row.linkController));
    LocalRouterHandle handle;
    handle.setRoute(0x1);
    std::vector<uint8_t> buffer(row.size);
    Recorder recorder;
    ASSERT_EQ(utils().nvmRead(buffer.data(), row.size, 0, handle, &recorder), status::kSuccess);
    EXPECT_EQ(recorder.calls, row.calls) << row.size << (row.linkController ? " through the mailbox" : " EEPROM");
  }
}

// The report of every router moves on once per router: the rich host has six.
TEST(ProgressCalls, EveryRouter) {
  struct ProgressSink final : ReportSink {
    void write(std::string_view) override {}
    Progress* progress() const override { return &recorder; }
    mutable Recorder recorder;
  };
  test::ScopedHost host(test::fixtureHost("rich.json"));
  ProgressSink sink;
  utils().allSpaces(sink);
  EXPECT_EQ(sink.recorder.calls, counting(6));
}

}  // namespace
}  // namespace tbt
