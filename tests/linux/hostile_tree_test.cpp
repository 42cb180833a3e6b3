// Crafted copies of a host: the file layer resolves every path inside the
// tree's root (links inside work, links out lead nowhere), opens only regular
// files, and a copied tree takes no write and runs no command.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "../cli/tbkit_run.h"
#include "kernel/user_client_manager.h"
#include "support/command_words.h"
#include "support/param_names.h"
#include "support/scoped_linux_host.h"
#include "support/temp_dir.h"

namespace tbt::test {
namespace {

namespace fs = std::filesystem;
using linux_host::kNotRegularFile;
using linux_host::Resolution;

constexpr const char* kRegs = "/sys/kernel/debug/thunderbolt/0-1/regs";
constexpr const char* kOutsideText = "outside\n";

// A fixture copy (root) beside a folder the tree must never reach (outside).
struct Sandbox {
  const TempDir base;
  const std::string root = base / "root", outside = base / "outside";
  Sandbox() {
    fs::copy(std::string(TBT_FIXTURES_DIR) + "/linux/chain", root,
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    fs::create_directories(outside);
    std::ofstream(outside + "/regs") << kOutsideText;
  }
  std::string regs() const { return root + kRegs; }
  void replaceRegs() const { fs::remove(regs()); }
};

struct CraftCase {
  const char* name;
  std::function<bool(const Sandbox&)> craft;  // false: this machine cannot make it
  int error;                                  // of a read and of a write; 0: both work
};

class CraftedTree : public ::testing::TestWithParam<std::tuple<CraftCase, Resolution>> {};

TEST_P(CraftedTree, ResolvesInsideTheRootAndOpensOnlyRegularFiles) {
  const auto& [c, resolution] = GetParam();
  Sandbox box;
  if (!c.craft(box)) GTEST_SKIP() << "cannot craft this here";
  linux_host::LinuxFiles files(box.root);
  files.setResolution(resolution);
  std::string text;
  EXPECT_EQ(files.read(kRegs, 1 << 20, text), c.error);
  EXPECT_EQ(files.write(kRegs, {"0x0009 0x00000000\n"}), c.error);
  if (c.error == 0) {
    EXPECT_NE(text.find("0x0009"), std::string::npos) << "the linked-to register file";
  }
  EXPECT_EQ(readFile(box.outside + "/regs"), kOutsideText) << "nothing outside the root is written";
}

bool link(const std::string& target, const std::string& at) {
  fs::remove(at);
  fs::create_symlink(target, at);
  return true;
}

INSTANTIATE_TEST_SUITE_P(
    Table, CraftedTree,
    ::testing::Combine(
        ::testing::Values(
            CraftCase{"AbsoluteLinkOut", [](const Sandbox& b) { return link(b.outside + "/regs", b.regs()); },
                      ENOENT},
            // Five levels lead to the root, the sixth would leave it: ".." stops there.
            CraftCase{"RelativeLinkClimbsOut",
                      [](const Sandbox& b) { return link("../../../../../../outside/regs", b.regs()); }, ENOENT},
            CraftCase{"RouterFolderLinkedOut",
                      [](const Sandbox& b) {
                        const std::string folder = b.root + "/sys/kernel/debug/thunderbolt/0-1";
                        fs::remove_all(folder);
                        return link(b.outside, folder);
                      },
                      ENOENT},
            CraftCase{"RelativeLinkInside", [](const Sandbox& b) { return link("../0-301/regs", b.regs()); }, 0},
            CraftCase{"AbsoluteLinkInside",
                      [](const Sandbox& b) { return link("/sys/kernel/debug/thunderbolt/0-301/regs", b.regs()); }, 0},
            CraftCase{"LinkLoop",
                      [](const Sandbox& b) { return link("regs2", b.regs()) && link("regs", b.regs() + "2"); },
                      ELOOP},
            CraftCase{"Fifo", [](const Sandbox& b) { return b.replaceRegs(), ::mkfifo(b.regs().c_str(), 0600) == 0; },
                      kNotRegularFile}),
        ::testing::Values(Resolution::kKernel, Resolution::kWalk)),
    [](const auto& info) {
      return std::string(std::get<0>(info.param).name) +
             (std::get<1>(info.param) == Resolution::kKernel ? "Kernel" : "Walk");
    });

// What a copied tree answers to the programs: one line for each command that
// writes (reading the EEPROM drives its pins, reading the NVM a mailbox),
// nothing written, and a FIFO read refused at once.
struct CopyCase {
  const char* name;
  bool fifo;            // the router's register file is a FIFO
  const char* command;  // its words; the copy is the host
  std::string err;      // "ROOT" stands for the copy's root
};

class CopiedTree : public ::testing::TestWithParam<CopyCase> {};

TEST_P(CopiedTree, IsASnapshot) {
  const CopyCase& c = GetParam();
  Sandbox box;
  if (c.fifo) {
    box.replaceRegs();
    ASSERT_EQ(::mkfifo(box.regs().c_str(), 0600), 0);
  }
  const std::string before = c.fifo ? "" : readFile(box.regs());
  const cli::Outcome o = cli::tbkit(words(std::string(c.command) + " --host=linux:" + box.root));
  std::string err = c.err;
  if (size_t at = err.find("ROOT"); at != std::string::npos) err.replace(at, 4, box.root);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.err, err);
  if (!c.fifo) {
    EXPECT_EQ(readFile(box.regs()), before) << "the copy is never written";
  }
}

const std::string kCopyLine =
    ": ROOT is a copy of a host: nothing is written to it (capture it with tbkit capture and try writes on the "
    "simulated host)\n";

INSTANTIATE_TEST_SUITE_P(
    Table, CopiedTree,
    ::testing::Values(
        CopyCase{"Write", false, "write --route 0x1 --space device --index 9 --value 1", "tbkit write" + kCopyLine},
        CopyCase{"EepromRead", false, "eeprom read --route 0x1 --offset 0 --length 1", "tbkit eeprom read" + kCopyLine},
        CopyCase{"FifoRead", true, "read --route 0x1 --space device --index 0",
                 "tbkit read: reading index 0x0: 0xe00002ce (not readable)\n"}),
    byName);

TEST(CopiedTree, RunsNoCommand) {
  ScopedLinuxHost host;
  const std::string marker = host.root() + "/ran";
  ::testing::internal::CaptureStderr();
  const int status = platform().host().shell("touch " + marker);
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(status, 0);
  EXPECT_FALSE(fs::exists(marker));
  EXPECT_NE(log.find("Command not run for a copy of a host: 'touch " + marker + "'"), std::string::npos) << log;
  EXPECT_EQ(ThunderboltUserClientManager::sharedInstance().configWriteWithRouterID(0, 0x1, 0, 2, 0x9, 1),
            status::kNotPermitted);
  EXPECT_TRUE(host.files().writes.empty());
}

}  // namespace
}  // namespace tbt::test
