// The update checker's flow on the Linux fixture, unchanged: the display is
// found through the registry the backend builds, the host probes come from
// the system's files, and on a kernel without debugfs writes the EEPROM
// behind the display cannot be reached, so its UID cannot be verified.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "driver/result_code.h"
#include "driver/update_check.h"
#include "support/param_names.h"
#include "support/scoped_linux_host.h"

namespace tbt::test {
namespace {

void makeRegistersReadOnly(const std::string& root) {
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
    if (entry.path().filename() == "regs")
      std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_read);
}

// This machine's kernel without debugfs writes, and a copied tree (which
// takes no write at all), both stop at the display's UID.
struct FlowCase {
  const char* name;
  linux_host::TreeKind kind;
  std::vector<std::string> lines;
};

class LinuxUpdateFlow : public ::testing::TestWithParam<FlowCase> {};

TEST_P(LinuxUpdateFlow, DisplayFoundButItsUidUnreachable) {
  const FlowCase& c = GetParam();
  ScopedLinuxHost host("chain", {}, makeRegistersReadOnly, c.kind);
  const char* argv[] = {"updatechecker", nullptr};
  ::testing::internal::CaptureStderr();
  ::testing::internal::CaptureStdout();
  const ResultCode code = checkForUpdates(1, argv, /*arm=*/false);
  const std::string log = ::testing::internal::GetCapturedStderr();
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(code, result::kUidNotRecovered);
  for (const std::string& line : c.lines) EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
  for (const char* line : {"Host board-id = 'LX-2210'\n", "IOThunderboltSwitch@301' with UID = 0x0000000000000000",
                           "Cannot update because of error 0x8b\n"})
    EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
  EXPECT_TRUE(host.files().writes.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, LinuxUpdateFlow,
    ::testing::Values(FlowCase{"ReadOnlyRegisters",
                               linux_host::TreeKind::kThisMachine,
                               {"Could not recover UID (0xe00002c7)\n",
                                "is read-only: register writes need a kernel built with"}},
                      FlowCase{"CopiedTree",
                               linux_host::TreeKind::kCopy,
                               {"Could not recover UID (0xe00002e2)\n",
                                "is a copy of a host: nothing is written to it"}}), byName);

}  // namespace
}  // namespace tbt::test
