// tbkit list --dot and tbkit paths --dot: the nodes and edges each fixture's
// graph must have, Graphviz accepting it where it is installed, names from
// a host file escaped.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/tbkit_run.h"
#include "support/param_names.h"
#include "support/temp_dir.h"

namespace tbt::cli {
namespace {

const std::string kFixtures = TBT_FIXTURES_DIR;
const std::string kRich = "--host=sim:" + kFixtures + "/hosts/rich.json";

// Renders the graph with dot when it is installed: true when dot takes it.
void expectRenders(const std::string& graph) {
  if (std::system("command -v dot >/dev/null 2>&1") != 0) GTEST_SKIP() << "dot (graphviz) is not installed";
  test::TempDir dir;
  std::ofstream(dir / "graph.dot") << graph;
  const std::string command = "dot -Tsvg " + (dir / "graph.dot") + " -o " + (dir / "graph.svg") + " 2>" +
                              (dir / "errors.txt");
  EXPECT_EQ(std::system(command.c_str()), 0) << graph;
  std::ifstream errors(dir / "errors.txt");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(errors), {}), "");
  std::ifstream svg(dir / "graph.svg");
  EXPECT_NE(std::string(std::istreambuf_iterator<char>(svg), {}).find("<svg"), std::string::npos);
}

struct GraphCase {
  const char* name;
  std::vector<std::string> args;
  std::vector<std::string> has;
  std::vector<std::string> hasNot;
};

const GraphCase kGraphCases[] = {
    {"RichHostList",
     {"list", kRich, "--dot"},
     {"digraph thunderbolt {\n", "subgraph \"cluster_0\" {\n    label=\"Controller 0: router ID 0\";\n",
      "\"r0_0\" [label=\"Router 0x0\\nvendor 0x8086 device 0x15eb\\ndepth 0\"];",
      "\"r0_0\" -> \"r0_1\" [taillabel=\"1\", headlabel=\"1\"];",
      "label=\"Controller 1: router ID 1\";", "\"r0_301\" -> \"r0_30301\" [taillabel=\"3\", headlabel=\"1\"];",
      "\"x0_0_3\" [label=\"another host\\n(XDomain)\", shape=ellipse, style=dashed];",
      "\"r0_0\" -> \"x0_0_3\" [taillabel=\"3\", style=dashed];"},
     {"hop ", "ERROR"}},
    // The tunnels of tests/golden/rich_paths.txt, one colour each, in its order.
    {"RichHostPaths",
     {"paths", kRich, "--dot"},
     {// EFI: (NHI) 0x0:5 --> 0x0:3 (XDomain)
      "\"r0_0\" -> \"x0_0_3\" [color=\"blue\", fontcolor=\"blue\", label=\"hop 8\"",
      // OS: (DP In) at 0x30301: the link's far end has no such hop
      "\"e1\" [label=\"ERROR\", shape=plaintext, fontcolor=\"red\"];",
      "\"r0_30301\" -> \"e1\" [color=\"red\", fontcolor=\"red\", label=\"hop 12\"",
      // OS: (PCI Up) 0x301 --> 0x1 --> 0x0 (PCI Down)
      "\"r0_301\" -> \"r0_1\" [color=\"darkgreen\", fontcolor=\"darkgreen\", label=\"hop 10\"",
      // From the other host by its EDM lane (adapter 4, drawn from adapter 3's peer)
      "\"x0_0_3\" -> \"r0_0\" [color=\"purple\", fontcolor=\"purple\", label=\"hop 9\", "
      "tooltip=\"OS: EDM XDomain on Port 3 at 0x0:4 to NHI at 0x0:5\"",
      // A failure at the host router, and the second controller's one tunnel
      "\"r0_0\" -> \"e7\" [color=\"cyan4\"",
      "\"r1_0\" -> \"r1_1\" [color=\"blue\", fontcolor=\"blue\", label=\"hop 8\""},
     {"\"e0\"", "\"e2\""}},
};

class TopologyGraph : public ::testing::TestWithParam<GraphCase> {};

TEST_P(TopologyGraph, HasTheFixturesNodesAndEdges) {
  const GraphCase& c = GetParam();
  const Outcome run = tbkit(c.args);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(run.out.ends_with("}\n"));
  for (const std::string& text : c.has) EXPECT_NE(run.out.find(text), std::string::npos) << text << "\n" << run.out;
  for (const std::string& text : c.hasNot) EXPECT_EQ(run.out.find(text), std::string::npos) << text;
  expectRenders(run.out);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, TopologyGraph, ::testing::ValuesIn(kGraphCases), test::byName);

// Names a host file gives a router reach the label escaped: quotes and
// backslashes for DOT, control characters as visible escapes.
TEST(TopologyGraphNames, HostileNamesAreEscaped) {
  test::TempDir dir;
  std::ifstream in(kFixtures + "/hosts/default.json");
  nlohmann::json host = nlohmann::json::parse(in);
  for (auto& router : host["controllers"][0]["routers"]) {
    if (router["route"] == "0x1") {
      router["registry"]["Device Vendor Name"] = "Acme \"Q\" \\ Co";
      router["registry"]["Device Model Name"] = "Dock\nTwo\x1b[31m";
    }
    if (router["route"] == "0x301") router["registry"]["Device Model Name"] = "Panel";
  }
  std::ofstream(dir / "host.json") << host.dump();
  const Outcome run = tbkit({"list", "--host=sim:" + (dir / "host.json"), "--dot"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("\"r0_1\" [label=\"Router 0x1\\nvendor 0x8086 device 0x1547\\n"
                         "Acme \\\"Q\\\" \\\\ Co Dock\\\\nTwo\\\\x1b[31m\\ndepth 1\"];"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("device 0x1547\\nPanel\\ndepth 2\"];"), std::string::npos) << run.out;
  EXPECT_EQ(run.out.find('\x1b'), std::string::npos);
  expectRenders(run.out);
}

}  // namespace
}  // namespace tbt::cli
