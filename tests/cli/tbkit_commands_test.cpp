// tbkit end to end through the program's own entry: the drom commands on
// files, the topology and access commands on the rich simulated host. Exit
// codes, output and one-line errors.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "cli/command_case.h"
#include "support/param_names.h"
#include "support/temp_dir.h"
#include "support/topology_builder.h"

namespace tbt::cli {
namespace {

TEST_P(TbkitCommand, ExitStatusOutputAndError) { expectCommand(GetParam()); }

// Rows made in the test, for files in its own folder.
void expectCases(const std::vector<CommandCase>& cases) {
  for (const CommandCase& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.args));
    expectCommand(c);
  }
}

class DromCommands : public ::testing::Test {
 protected:
  std::string path(const char* name) const { return temp_ / name; }

  const test::TempDir temp_;
  const std::filesystem::path dir_ = temp_.path();
};

TEST_F(DromCommands, BuildWritesAtomicallyAndParsesBack) {
  const std::string image = path("image.bin");
  Outcome built =
      tbkit({"drom", "build", "--port-map", "lane1-pcieup1", "--uid", "0x0123456789abcdef", "--vendor-id", "4660",
             "--model-id", "0x5678", "--vendor-name", "AB", "--model-name", "C", "--generic", "5:dead", "-o", image});
  ASSERT_EQ(built.status, 0) << built.err;
  EXPECT_EQ(built.out, "wrote 46 bytes to " + image + "\n");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_), std::filesystem::directory_iterator()), 1);
  EXPECT_EQ(std::filesystem::file_size(image), 46u);
  expectCases({
      {"", {"drom", "parse", image, "--port-map=1:1,2:0x100102"}, 0, "uid: 0x123456789abcdef\n", ""},
      {"", {"drom", "parse", image}, 0, "Vendor Name; 'AB'\n", ""},
      {"", {"drom", "dump", image, "--style", "plain", "--width", "0x20"}, 0, "50 ef cd ab 89 67 45 23 01 ", ""},
      {"", {"drom", "dump", image, "--style", "plain"}, 0, "04 05 de ad\n", ""},
  });
}

TEST_F(DromCommands, HelpAndBadInput) {
  const std::string missing = path("missing.bin");
  const std::string corrupt = path("corrupt.bin");
  const std::string fifo = path("fifo");
  std::ofstream(corrupt, std::ios::binary) << std::string(30, '\x01');
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  auto build = [](std::vector<std::string> extra) {
    extra.insert(extra.begin(),
                 {"drom", "build", "--port-map", "lane1-pcieup1", "--vendor-id", "1", "--model-id", "2"});
    return extra;
  };
  expectCases({
      {"", {"drom", "parse", "--help"}, 0, "usage: tbkit drom parse [options] FILE\n", ""},
      {"", build({}), 2, "", "tbkit drom build: missing --uid (see --help)\n"},
      {"", build({"--uid", "1", "--model-id", "3"}), 2, "",
       "tbkit drom build: --model-id given more than once (see --help)\n"},
      {"", {"drom", "parse", corrupt, "--port-map", "nonesuch"}, 2, "",
       "tbkit drom parse: --port-map: 'nonesuch' is neither a port map (lane6-pcie4-dp3, lane5-pcie4-dp3, "
       "lane1-pcieup1) nor a port:type list (see --help)\n"},
      {"", {"drom", "parse", missing}, 1, "",
       "tbkit drom parse: cannot read " + missing + ": No such file or directory\n"},
      {"", {"drom", "parse", fifo}, 1, "", "tbkit drom parse: cannot read " + fifo + ": not a regular file\n"},
      {"", {"drom", "parse", corrupt, "--port-map", "1:0,2:0,1:0"}, 2, "",
       "tbkit drom parse: --port-map: port 1 is given twice (see --help)\n"},
      {"", {"drom", "parse", corrupt}, 1, "",
       "tbkit drom parse: " + corrupt + ": parse failed: 0xe0000001 (checksum mismatch)\n"},
      {"", {"drom", "dump", corrupt, "--width"}, 2, "", "tbkit drom dump: --width needs a value (N) (see --help)\n"},
      {"", {"drom", "dump", corrupt, "--style", "hex"}, 2, "",
       "tbkit drom dump: --style: 'hex' is not dump, code or plain (see --help)\n"},
  });
}

const std::string kHost = "--host=sim:" + std::string(TBT_FIXTURES_DIR) + "/hosts/rich.json";

const CommandCase kCommands[] = {
    {"ListXDomain", {"list", kHost}, 0, "    Adapter 3: Port, to another host (XDomain)\n", ""},
    {"ListRouter", {"list", kHost}, 0,
     "      Router 0x1 (depth 1): vendor 0x8086 device 0x15ef, UID 0x0001d15b00a1c311\n", ""},
    {"Read", {"read", "--route", "0x1", "--space", "device", "--index", "0", "--count", "2", kHost}, 0,
     "0x0000: 0x15ef8086\n0x0001: 0x0012c110\n", ""},
    {"ReadViaParent",
     {"read", "--via-parent", "0x1", "--bus", "0", "--bus", "0", "--space", "device", "--index", "0x40", kHost}, 0,
     "0x0040: 0xc0c0c0c0\n", ""},
    {"ReadIecsRoute", {"read", "--iecs-route", "0x1", "--bus", "1", "--space", "device", "--index", "64", kHost}, 0,
     "0x0040: 0xb0b0b0b0\n", ""},
    {"IecsRead", {"iecs", "read", "--route", "1", "--bus", "0", "--device", "1", "--offset", "0", "--length", "2",
                  kHost}, 0, "5a 17\n", ""},
    {"ReadTimesOut", {"read", "--route", "0x5", "--space", "device", "--index", "0", kHost}, 1, "",
     "tbkit read: reading index 0x0: 0xe00002d6 (time-out)\n"},
    {"IecsWriteLengthMismatch",
     {"iecs", "write", "--route", "1", "--bus", "0", "--device", "1", "--offset", "0", "--data", "0102", "--length",
      "3", kHost},
     2, "", "tbkit iecs write: --length 3 does not match the 2 bytes of --data (see --help)\n"},
    {"IecsNoSuchController",
     {"iecs", "read", "--route", "1", "--rid", "5", "--bus", "0", "--device", "1", "--offset", "0", "--length", "2",
      kHost},
     2, "", "tbkit iecs read: --rid: no controller has router ID 5 (see --help)\n"},
    {"DotAndJson", {"list", "--host=sim", "--dot", "--json"}, 2, "",
     "tbkit list: --dot and --json cannot be given together: choose one output (see --help)\n"},
    {"RestartWithoutAHostFile", {"host", "restart", "--host=sim"}, 2, "",
     "tbkit host restart: this command needs a simulated host file to write back to (--host=sim:FILE)\n"},
};

INSTANTIATE_TEST_SUITE_P(Commands, TbkitCommand, ::testing::ValuesIn(kCommands), test::byName);

TEST(TopologyCommands, VerboseShowsTheLogLines) {
  const std::vector<std::string> args = {"read", "--via-parent", "0x1", "--bus", "0", "--space", "device", "--index",
                                         "0x40", kHost};
  EXPECT_EQ(tbkit(args).err, "");
  std::vector<std::string> verbose = args;
  verbose.push_back("-v");
  const Outcome run = tbkit(verbose);
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(run.err.starts_with("RemoteRouterHandle - initializeIECS - portMicroMode = ")) << run.err;
}

// Two controllers, a chain of three routers, a link to another host, one hop
// that the hardware disagrees with and one lane mismatch.
TEST(TopologyCommands, PathsPrintsTheReport) {
  Outcome run = tbkit({"paths", kHost});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, test::goldenFile("rich_paths.txt"));
}

}  // namespace
}  // namespace tbt::cli
