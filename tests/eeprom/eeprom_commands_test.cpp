// tbkit eeprom: the commands end to end on a simulated host file (their
// range limits and the nvm command are the option-limit tests' own).
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "cli/tbkit_run.h"
#include "support/command_words.h"
#include "support/host_builder.h"
#include "support/param_names.h"

namespace tbt::cli {
namespace {

struct CommandCase {
  const char* name;
  const char* command;  // its words, split at spaces
  int status;
  const char* out;
  const char* err;
  const char* readBack = "";  // a command run after, on the host the first one saved
  const char* readOut = "";
};

class EepromCommands : public ::testing::TestWithParam<CommandCase> {
 protected:
  // One file per test process: ctest runs the cases as parallel processes.
  static std::string hostFile() {
    return testing::TempDir() + "tbkit-eeprom-commands-" + std::to_string(::getpid()) + ".json";
  }
  static void SetUpTestSuite() {
    std::ofstream(hostFile()) << test::SwitchHostBuilder()
                                     .identity(0x15678086)
                                     .dft(0x40, 0x100)
                                     .linkController(0x50, 0x10, 200)
                                     .eeprom(2048, {{"0", "03"}})
                                     .json();
  }
  static void TearDownTestSuite() { std::filesystem::remove(hostFile()); }
  static Outcome run(const std::string& command) { return tbkit(test::words(command + " --host=sim:" + hostFile())); }
};

TEST_P(EepromCommands, Run) {
  const CommandCase& c = GetParam();
  const Outcome run = EepromCommands::run(c.command);
  EXPECT_EQ(run.status, c.status);
  std::string out = c.out;  // HOST: the host file
  if (const size_t at = out.find("HOST"); at != std::string::npos) out.replace(at, 4, hostFile());
  EXPECT_EQ(run.out, out);
  EXPECT_EQ(run.err, c.err);
  if (!*c.readBack) return;
  const Outcome read = EepromCommands::run(c.readBack);
  EXPECT_EQ(read.status, 0);
  EXPECT_EQ(read.out, c.readOut);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, EepromCommands,
    ::testing::Values(
        CommandCase{"eepromWrite", "eeprom write --route 1 --offset 4 --data BEEF --save-host", 0,
                    "wrote 2 bytes at 0x0004\nsaved the simulated host to HOST\n", "",
                    "eeprom read --route 1 --offset 3 --length 4", "0x0003: ff be ef ff\n"},
        CommandCase{"noSwitchThere", "eeprom read --route 2 --offset 0 --length 1", 1, "",
                    "tbkit eeprom read: no EEPROM pins (DFT capability): 0xe00002d6 (time-out)\n"},
        CommandCase{"badData", "eeprom write --route 1 --offset 0 --data xyz", 2, "",
                    "tbkit eeprom write: --data: 'xyz' has an odd number of hex digits (see --help)\n"}),
    test::byName);

}  // namespace
}  // namespace tbt::cli
