// tbkit report end to end on the fixture hosts: exit status, a line each
// report prints, the one-line errors; and the sink that decides the status.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/command_case.h"
#include "cli/stream_report_sink.h"
#include "platform/text.h"
#include "support/param_names.h"

namespace tbt::cli {
namespace {

const std::string kRich = "--host=sim:" + std::string(TBT_FIXTURES_DIR) + "/hosts/rich.json";

const CommandCase kReports[] = {
    {"Device", {"report", "device", "--route", "0x1", kRich}, 0,
     "  000:  15ef8086   Device ID=0x15ef   Vendor ID=0x8086\n", ""},
    {"DeviceCapability", {"report", "device-capability", "--route", "1", "--index", "0x10", kRich}, 0,
     "  010:  20060500", ""},
    {"Port", {"report", "port", "--route", "0x1", "--port", "1", kRich}, 0,
     "Port 0x1 configuration space at route 0x1\n", ""},
    {"Path", {"report", "path", "--route", "0x1", "--port", "1", kRich}, 0,
     "Path configuration space for port 0x1 at route 0x1, RID 0x0\n\nPath 0 configuration\n", ""},
    {"Counters", {"report", "counters", "--route", "0x301", "--port", "3", kRich}, 0,
     "Counter configuration space for port 0x3 at route 0x301, RID 0x0\n", ""},
    {"PortCapability", {"report", "port-capability", "--route", "0x1", "--port", "1", "--index", "0", kRich}, 0,
     "Cap ID = 0x00", ""},
    {"AdapterCapability", {"report", "adapter-capability", "--route", "0x1", "--port", "10", "--index", "0", kRich},
     0, "(PCIe Adapter)", ""},
    {"RouterDescends", {"report", "router", "--route", "0x301", kRich}, 0,
     "Port 0xb configuration space at route 0x30301\n", ""},
    {"LinkControllerMemory", {"report", "lc-memory", "--route", "0x1", "--lc", "1", kRich}, 0,
     "LC 1 Memory Dump for RID 0 and Route 0x1\n0x8000: 0x", ""},
    {"ViaParentTwoLevels", {"report", "device", "--via-parent", "0x1", "--bus", "0", "--bus", "0", kRich}, 0,
     "Device ID=0x15ec", ""},
    // Failures: a report that closes with its error line, or prints nothing.
    {"UnreachableRouter", {"report", "device", "--route", "0x5", kRich}, 1, "ERROR: 0xe00002d6\n",
     "tbkit report device: the report ends with an error: 0xe00002d6 (time-out)\n"},
    {"NoSuchController", {"report", "path", "--route", "0", "--port", "1", "--rid", "7", kRich}, 1,
     "ERROR: 0xe00002f0\n", "tbkit report path: the report ends with an error: 0xe00002f0 (not found)\n"},
    {"RouterThatDoesNotAnswer", {"report", "router", "--route", "0x5", kRich}, 1, "",
     "tbkit report router: the router's device space cannot be read\n"},
    // Usage errors.
    {"NoRouter", {"report", "device", kRich}, 2, "",
     "tbkit report device: give exactly one of --route and --via-parent (see --help)\n"},
    {"BusWithRoute", {"report", "device", "--route", "1", "--bus", "0", kRich}, 2, "",
     "tbkit report device: --bus goes with --via-parent (see --help)\n"},
    {"ViaParentWithoutBus", {"report", "router", "--via-parent", "1", kRich}, 2, "",
     "tbkit report router: --via-parent needs --bus (see --help)\n"},
};

INSTANTIATE_TEST_SUITE_P(Reports, TbkitCommand, ::testing::ValuesIn(kReports), test::byName);

TEST(ReportCommands, HardwareTimeGoesToTheErrorStreamOnly) {
  const Outcome quiet = tbkit({"report", "path", "--route", "0x1", "--port", "1", kRich});
  const Outcome timed = tbkit({"report", "path", "--route", "0x1", "--port", "1", kRich, "-V"});
  EXPECT_EQ(timed.status, 0);
  EXPECT_EQ(timed.out, quiet.out);
  EXPECT_TRUE(timed.err.starts_with("simulated hardware time: 0.0")) << timed.err;
  EXPECT_TRUE(timed.err.ends_with(" configuration accesses\n")) << timed.err;
}

// The sink must find the closing error line however the text is cut into pieces.
struct SinkCase {
  const char* name;
  std::vector<std::string> pieces;
  bool empty;
  bool closesWithError;
  uint32_t status;
};

void PrintTo(const SinkCase& c, std::ostream* os) { *os << c.name; }

class ReportSinkEnd : public ::testing::TestWithParam<SinkCase> {};

TEST_P(ReportSinkEnd, FindsTheClosingErrorLine) {
  const SinkCase& c = GetParam();
  std::ostringstream out;
  StreamReportSink sink(out);
  std::string whole;
  for (const std::string& piece : c.pieces) {
    sink.write(piece);
    whole += piece;
  }
  EXPECT_EQ(out.str(), whole);
  EXPECT_EQ(sink.outcome().empty(), c.empty);
  uint32_t status = 0;
  EXPECT_EQ(sink.outcome().closesWithError(status), c.closesWithError);
  EXPECT_EQ(status, c.status);
}

INSTANTIATE_TEST_SUITE_P(
    Pieces, ReportSinkEnd,
    ::testing::Values(SinkCase{"Nothing", {}, true, false, 0},
                      SinkCase{"LowerCaseErrorLine", {"x\nError: 0xe00002bc\n"}, false, true, 0xe00002bc},
                      SinkCase{"ErrorLineInPieces", {"Path 0\nERR", "OR: 0xe0", "0002f0", "\n"}, false, true,
                               0xe00002f0},
                      SinkCase{"ErrorLineWithoutNewline", {"a\n", "ERROR: 0x00000001"}, false, true, 1},
                      SinkCase{"ErrorLineNotLast", {"ERROR: 0xe00002bc\n=====\n\n"}, false, false, 0},
                      SinkCase{"PatchEntryError", {"  01c:  ERROR\n"}, false, false, 0},
                      SinkCase{"LongLineCutAtTheKeptLength", {"ERROR: 0xe00002bc", std::string(40, 'x'), "\n"}, false,
                               false, 0}), test::byName);

}  // namespace
}  // namespace tbt::cli
