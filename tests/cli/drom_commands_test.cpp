// tbkit drom: the commands end to end through the program's own entry, with
// their exit codes and one-line errors.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/tbkit_main.h"

namespace tbt::cli {
namespace {

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

Outcome tbkit(std::vector<std::string> args) {
  std::ostringstream out;
  std::ostringstream err;
  int status = runTbkit(args, out, err);
  return {status, out.str(), err.str()};
}

class DromCommands : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "tbkit-drom-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string path(const char* name) const { return (dir_ / name).string(); }

  std::filesystem::path dir_;
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

  Outcome parsed = tbkit({"drom", "parse", image, "--port-map=1:1,2:0x100102"});
  ASSERT_EQ(parsed.status, 0) << parsed.err;
  EXPECT_NE(parsed.out.find("uid: 0x123456789abcdef\n"), std::string::npos);
  EXPECT_NE(parsed.out.find("Vendor Name; 'AB'\n"), std::string::npos);
  EXPECT_EQ(parsed.err, "");

  Outcome dumped = tbkit({"drom", "dump", image, "--style", "plain", "--width", "0x20"});
  ASSERT_EQ(dumped.status, 0);
  EXPECT_TRUE(dumped.out.starts_with("50 ef cd ab ")) << dumped.out;
  EXPECT_TRUE(dumped.out.ends_with("de ad\n"));
}

TEST_F(DromCommands, BadInputGetsOneLineAndAnExitCode) {
  const std::string missing = path("missing.bin");
  const std::string corrupt = path("corrupt.bin");
  std::ofstream(corrupt, std::ios::binary) << std::string(30, '\x01');
  const std::vector<std::string> build = {"drom",        "build", "--port-map", "lane1-pcieup1",
                                          "--vendor-id", "1",     "--model-id", "2"};
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string err;
  };
  auto withBuild = [&](std::vector<std::string> extra) {
    extra.insert(extra.begin(), build.begin(), build.end());
    return extra;
  };
  const Case cases[] = {
      {withBuild({"--uid", "12z"}), 2,
       "tbkit drom build: --uid: '12z' is not a number (decimal or 0x-hex) (see --help)\n"},
      {withBuild({}), 2, "tbkit drom build: missing --uid (see --help)\n"},
      {withBuild({"--uid", "1", "--model-id", "3"}), 2,
       "tbkit drom build: --model-id given more than once (see --help)\n"},
      {withBuild({"--uid", "1", "--generic", "64:00"}), 2,
       "tbkit drom build: --generic: 64 is out of range (at most 0x3f) (see --help)\n"},
      {{"drom", "parse"}, 2, "tbkit drom parse: missing FILE (see --help)\n"},
      {{"drom", "parse", corrupt, "--port-map", "nonesuch"},
       2,
       "tbkit drom parse: --port-map: 'nonesuch' is neither a port map (lane6-pcie4-dp3, lane5-pcie4-dp3, "
       "lane1-pcieup1) nor a port:type list (see --help)\n"},
      {{"drom", "parse", missing}, 1, "tbkit drom parse: cannot read " + missing + ": No such file or directory\n"},
      {{"drom", "parse", corrupt},
       1,
       "tbkit drom parse: " + corrupt + ": parse failed: 0xe0000001 (checksum mismatch)\n"},
      {{"drom", "dump", corrupt, "--width"}, 2, "tbkit drom dump: --width needs a value (N) (see --help)\n"},
      {{"drom", "dump", corrupt, "--style", "hex"},
       2,
       "tbkit drom dump: --style: 'hex' is not dump, code or plain (see --help)\n"},
      {{"drom", "frob"}, 2, "tbkit drom: unknown command 'frob' (see tbkit drom --help)\n"},
  };
  for (const Case& c : cases) {
    Outcome run = tbkit(c.args);
    EXPECT_EQ(run.status, c.status) << c.err;
    EXPECT_EQ(run.err, c.err);
  }
}

TEST_F(DromCommands, EveryCommandHasHelp) {
  for (const char* command : {"parse", "build", "dump"}) {
    Outcome run = tbkit({"drom", command, "--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.out.starts_with(std::string("usage: tbkit drom ") + command)) << run.out;
    EXPECT_NE(run.out.find("-h, --help"), std::string::npos);
  }
}

}  // namespace
}  // namespace tbt::cli
