// The update checker's flow on the Linux fixture, unchanged: the display is
// found through the registry the backend builds, the host probes come from
// the system's files, and on a kernel without debugfs writes the EEPROM
// behind the display cannot be reached, so its UID cannot be verified.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "driver/result_code.h"
#include "driver/update_check.h"
#include "support/scoped_linux_host.h"

namespace tbt::test {
namespace {

void makeRegistersReadOnly(const std::string& root) {
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
    if (entry.path().filename() == "regs")
      std::filesystem::permissions(entry.path(), std::filesystem::perms::owner_read);
}

// This machine's kernel without debugfs writes stops at the display's UID
// (a copied tree refuses the same writes: its message is the hostile-tree
// tests' own).
TEST(LinuxUpdateFlow, DisplayFoundButItsUidUnreachable) {
  ScopedLinuxHost host("chain", {}, makeRegistersReadOnly, linux_host::TreeKind::kThisMachine);
  const char* argv[] = {"updatechecker", nullptr};
  ::testing::internal::CaptureStderr();
  ::testing::internal::CaptureStdout();
  const ResultCode code = checkForUpdates(1, argv, /*arm=*/false);
  const std::string log = ::testing::internal::GetCapturedStderr();
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(code, result::kUidNotRecovered);
  for (const char* line :
       {"Could not recover UID (0xe00002c7)\n", "is read-only: register writes need a kernel built with",
        "Host board-id = 'LX-2210'\n", "IOThunderboltSwitch@301' with UID = 0x0000000000000000",
        "Cannot update because of error 0x8b\n"})
    EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
  EXPECT_TRUE(host.files().writes.empty());
}

}  // namespace
}  // namespace tbt::test
