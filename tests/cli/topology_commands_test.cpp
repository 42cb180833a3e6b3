// tbkit list, paths, read, write and iecs on the rich simulated host: exit
// codes, output and one-line errors.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/tbkit_main.h"
#include "support/topology_builder.h"

namespace tbt::cli {
namespace {

const std::string kHost = "--host=sim:" + std::string(TBT_FIXTURES_DIR) + "/hosts/rich.json";

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

Outcome tbkit(std::vector<std::string> args) {
  args.push_back(kHost);
  std::ostringstream out;
  std::ostringstream err;
  const int status = runTbkit(args, out, err);
  return {status, out.str(), err.str()};
}

struct Case {
  std::vector<std::string> args;
  int status;
  const char* outContains;
  const char* err;
};

TEST(TopologyCommands, ExitCodesOutputAndErrors) {
  const Case cases[] = {
      {{"list"}, 0, "    Adapter 3: Port, to another host (XDomain)\n", ""},
      {{"list"}, 0, "      Router 0x1 (depth 1): vendor 0x8086 device 0x15ef, UID 0x0001d15b00a1c311\n", ""},
      {{"read", "--route", "0x1", "--space", "device", "--index", "0", "--count", "2"}, 0,
       "0x0000: 0x15ef8086\n0x0001: 0x0012c110\n", ""},
      {{"read", "--via-parent", "0x1", "--bus", "0", "--bus", "0", "--space", "device", "--index", "0x40"}, 0,
       "0x0040: 0xc0c0c0c0\n", ""},
      {{"read", "--iecs-route", "0x1", "--bus", "1", "--space", "device", "--index", "64"}, 0, "0x0040: 0xb0b0b0b0\n",
       ""},
      {{"iecs", "read", "--route", "1", "--bus", "0", "--device", "1", "--offset", "0", "--length", "2"}, 0, "5a 17\n",
       ""},
      {{"read", "--route", "0x1", "--space", "device"}, 2, "", "tbkit read: missing --index (see --help)\n"},
      {{"write", "--route", "0x1", "--space", "device", "--index", "4", "--value", "0x1g"}, 2, "",
       "tbkit write: --value: '0x1g' is not a number (decimal or 0x-hex) (see --help)\n"},
      {{"read", "--route", "1", "--iecs-route", "1", "--bus", "0", "--space", "port", "--index", "0"}, 2, "",
       "tbkit read: give exactly one of --route, --via-parent and --iecs-route (see --help)\n"},
      {{"read", "--route", "0x5", "--space", "device", "--index", "0"}, 1, "",
       "tbkit read: reading index 0x0: 0xe00002d6 (time-out)\n"},
      {{"read", "--via-parent", "0x301", "--bus", "0", "--space", "device", "--index", "0"}, 1, "",
       "tbkit read: reading index 0x0: 0xe00002f0 (not found)\n"},
      {{"iecs", "write", "--route", "1", "--bus", "0", "--device", "1", "--offset", "0", "--data", "0102",
        "--length", "3"},
       2, "", "tbkit iecs write: --length 3 does not match the 2 bytes of --data (see --help)\n"},
      {{"paths", "--help"}, 0, "usage: tbkit paths [options]\n", ""},
  };
  for (const Case& c : cases) {
    Outcome run = tbkit(c.args);
    std::string line;
    for (const std::string& arg : c.args) line += arg + " ";
    EXPECT_EQ(run.status, c.status) << line << run.err;
    EXPECT_NE(run.out.find(c.outContains), std::string::npos) << line << run.out;
    EXPECT_EQ(run.err, c.err) << line;
  }
}

TEST(TopologyCommands, PathsPrintsTheReport) {
  Outcome run = tbkit({"paths"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, test::readTextFile(std::string(TBT_FIXTURES_DIR) + "/../tests/golden/rich_paths.txt"));
}

}  // namespace
}  // namespace tbt::cli
