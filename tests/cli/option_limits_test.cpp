// The limits of tbkit's options: each row sits at a limit, one below it or
// one above it. At or below, the command runs (and may fail like any run);
// above, it is refused as a usage error that names the limit.
#include <gtest/gtest.h>

#include "cli/tbkit_run.h"
#include "support/param_names.h"

namespace tbt::cli {
namespace {

const std::string kRich = "--host=sim:" + std::string(TBT_FIXTURES_DIR) + "/hosts/rich.json";
const std::string kDefault = "--host=sim";

// args followed by levels times "--bus 0".
std::vector<std::string> withBuses(std::vector<std::string> args, size_t levels) {
  for (size_t i = 0; i < levels; ++i) args.insert(args.end(), {"--bus", "0"});
  return args;
}

// drom build of a small image with extra options; text of count letters and
// count hex bytes.
std::vector<std::string> dromBuild(std::vector<std::string> extra) {
  extra.insert(extra.begin(), {"drom", "build", "--port-map", "lane1-pcieup1", "--uid", "1", "--vendor-id", "1",
                               "--model-id", "2"});
  return extra;
}
std::string letters(size_t count) { return std::string(count, 'v'); }
std::string hexBytes(size_t count) {
  std::string hex;
  for (size_t i = 0; i < count; ++i) hex += "ab";
  return hex;
}
// Generic entries that make an image of 1035 + extra bytes.
std::vector<std::string> imageOf1035Plus(size_t extra) {
  return dromBuild({"--generic", "1:" + hexBytes(253), "--generic", "2:" + hexBytes(253), "--generic",
                    "3:" + hexBytes(253), "--generic", "4:" + hexBytes(231 + extra)});
}

struct LimitCase {
  const char* name;
  std::vector<std::string> args;
  int status;
  std::string outContains;
  std::string err;  // the whole error output
};

void PrintTo(const LimitCase& c, std::ostream* os) { *os << c.name; }

class OptionLimit : public ::testing::TestWithParam<LimitCase> {};

TEST_P(OptionLimit, RunsOrIsRefused) {
  const LimitCase& c = GetParam();
  const Outcome run = tbkit(c.args);
  EXPECT_EQ(run.status, c.status);
  EXPECT_NE(run.out.find(c.outContains), std::string::npos) << run.out.substr(0, 2000);
  EXPECT_EQ(run.err, c.err);
}

const std::string kNotFound = "tbkit report device: the report ends with an error: 0xe00002f0 (not found)\n";
const std::string kTooDeep = ": --bus: at most 7 levels (one per hop of a route) (see --help)\n";
const std::string kSpace = " (a configuration space has 0x2000 double words) (see --help)\n";

INSTANTIATE_TEST_SUITE_P(
    Rows, OptionLimit,
    ::testing::Values(
        // A chain of parents is as deep as a route has hops.
        LimitCase{"Parents6", withBuses({"report", "device", "--via-parent", "1", kRich}, 6), 1, "ERROR", kNotFound},
        LimitCase{"Parents7", withBuses({"report", "device", "--via-parent", "1", kRich}, 7), 1, "ERROR", kNotFound},
        LimitCase{"Parents8", withBuses({"report", "device", "--via-parent", "1", kRich}, 8), 2, "",
                  "tbkit report device" + kTooDeep},
        LimitCase{"Parents30000", withBuses({"report", "device", "--via-parent", "1", kRich}, 30000), 2, "",
                  "tbkit report device" + kTooDeep},
        LimitCase{"ReadParents7",
                  withBuses({"read", "--via-parent", "1", "--space", "device", "--index", "0", kRich}, 7), 1, "",
                  "tbkit read: reading index 0x0: 0xe00002f0 (not found)\n"},
        LimitCase{"WriteParents8",
                  withBuses({"write", "--via-parent", "1", "--space", "device", "--index", "0", "--value", "0",
                             kRich}, 8),
                  2, "", "tbkit write" + kTooDeep},
        // A configuration space has double words 0 to 0x1fff.
        LimitCase{"ReadToTheEnd", {"read", "--route", "1", "--space", "device", "--index", "0x1ff0", "--count", "16",
                                   kRich}, 0, "0x1fff: 0x00000000\n", ""},
        LimitCase{"ReadShortOfTheEnd", {"read", "--route", "1", "--space", "device", "--index", "0x1ff0", "--count",
                                        "15", kRich}, 0, "0x1ffe: 0x00000000\n", ""},
        LimitCase{"ReadPastTheEnd", {"read", "--route", "1", "--space", "device", "--index", "0x1ff0", "--count",
                                     "17", kRich}, 2, "",
                  "tbkit read: --count: at most 0x10 from --index 0x1ff0" + kSpace},
        LimitCase{"ReadNothing", {"read", "--route", "1", "--space", "device", "--index", "0", "--count", "0", kRich},
                  2, "", "tbkit read: --count: must be at least 1 (see --help)\n"},
        LimitCase{"ReadLastIndex", {"read", "--route", "1", "--space", "port", "--index", "0x1fff", kRich}, 0,
                  "0x1fff: 0x00000000\n", ""},
        LimitCase{"ReadIndexPastTheEnd", {"read", "--route", "1", "--space", "port", "--index", "0x2000", kRich}, 2,
                  "", "tbkit read: --index: 0x2000 is out of range (at most 0x1fff) (see --help)\n"},
        LimitCase{"WriteIndexPastTheEnd",
                  {"write", "--route", "1", "--space", "port", "--index", "0x2000", "--value", "0", kRich}, 2, "",
                  "tbkit write: --index: 0x2000 is out of range (at most 0x1fff) (see --help)\n"},
        LimitCase{"CapabilityIndexPastTheEnd", {"report", "port-capability", "--route", "1", "--port", "1", "--index",
                                                "0x2000", kRich}, 2, "",
                  "tbkit report port-capability: --index: 0x2000 is out of range (at most 0x1fff) (see --help)\n"},
        LimitCase{"BlockToTheEnd", {"report", "lc-block", "--route", "1", "--index", "0x1f65", "--length", "0x9b",
                                    kDefault}, 0, "  1fff:  00000000   sx_entry", ""},
        LimitCase{"BlockIndexPastTheNamedRegisters", {"report", "lc-block", "--route", "1", "--index", "0x1f66",
                                                      "--length", "0x9b", kDefault}, 2, "",
                  "tbkit report lc-block: --index: 0x1f66 is out of range (at most 0x1f65) (see --help)\n"},
        LimitCase{"BlockLengthToTheEnd", {"report", "lc-block", "--route", "1", "--index", "0x20", "--length",
                                          "0x1fe0", kDefault}, 0, "  1fff:  00000000\n", ""},
        LimitCase{"BlockLengthShortOfTheEnd", {"report", "lc-block", "--route", "1", "--index", "0x20", "--length",
                                               "0x1fdf", kDefault}, 0, "  1ffe:  00000000\n", ""},
        LimitCase{"BlockLengthPastTheEnd", {"report", "lc-block", "--route", "1", "--index", "0x20", "--length",
                                            "0xffffffff", kDefault}, 2, "",
                  "tbkit report lc-block: --length: at most 0x1fe0 from --index 0x20" + kSpace},
        LimitCase{"LastLinkController", {"report", "lc-memory", "--route", "1", "--lc", "15", kRich}, 1,
                  "Error: 0xe00002bc\n",
                  "tbkit report lc-memory: the report ends with an error: 0xe00002bc (general failure)\n"},
        LimitCase{"LinkControllerPastTheCount", {"report", "lc-memory", "--route", "1", "--lc", "16", kRich}, 2, "",
                  "tbkit report lc-memory: --lc: 16 is out of range (at most 0xf) (see --help)\n"},
        // IECS registers have byte offsets 0 to 0xff.
        LimitCase{"IecsToTheEnd", {"iecs", "read", "--route", "1", "--bus", "0", "--device", "1", "--offset", "0xf0",
                                   "--length", "16", kRich}, 0, "00 00\n", ""},
        LimitCase{"IecsShortOfTheEnd", {"iecs", "read", "--route", "1", "--bus", "0", "--device", "1", "--offset",
                                        "0xf0", "--length", "15", kRich}, 0, "00 00\n", ""},
        LimitCase{"IecsPastTheEnd", {"iecs", "read", "--route", "1", "--bus", "0", "--device", "1", "--offset",
                                     "0xf0", "--length", "17", kRich}, 2, "",
                  "tbkit iecs read: --length: at most 0x10 from --offset 0xf0 (an IECS device's registers end at "
                  "offset 0xff) (see --help)\n"},
        LimitCase{"IecsWritePastTheEnd", {"iecs", "write", "--route", "1", "--bus", "0", "--device", "1", "--offset",
                                          "0xff", "--data", "0102", kRich}, 2, "",
                  "tbkit iecs write: --data: at most 0x1 from --offset 0xff (an IECS device's registers end at "
                  "offset 0xff) (see --help)\n"},
        // EEPROM and NVM addresses are 16 bits wide.
        LimitCase{"EepromToTheEnd", {"eeprom", "read", "--route", "1", "--offset", "0xfff0", "--length", "16",
                                     kDefault}, 0, "0xfff0: ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff\n", ""},
        LimitCase{"EepromShortOfTheEnd", {"eeprom", "read", "--route", "1", "--offset", "0xfff0", "--length", "15",
                                          kDefault}, 0, "0xfff0: ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff\n", ""},
        LimitCase{"EepromPastTheEnd", {"eeprom", "read", "--route", "1", "--offset", "0xfff0", "--length", "17",
                                       kDefault}, 2, "",
                  "tbkit eeprom read: --length: at most 0x10 from --offset 0xfff0 (addresses are 16 bits wide) (see "
                  "--help)\n"},
        LimitCase{"EepromWritePastTheEnd", {"eeprom", "write", "--route", "1", "--offset", "0xffff", "--data", "0102",
                                            kDefault}, 2, "",
                  "tbkit eeprom write: --data: at most 0x1 from --offset 0xffff (addresses are 16 bits wide) (see "
                  "--help)\n"},
        LimitCase{"NvmToTheEnd", {"nvm", "read", "--route", "1", "--offset", "0xfffc", "--length", "4", kDefault}, 0,
                  "0xfffc: ff ff ff ff\n", ""},
        LimitCase{"NvmPastTheEnd", {"nvm", "read", "--route", "1", "--offset", "0xfffc", "--length", "5", kDefault},
                  2, "",
                  "tbkit nvm read: --length: at most 0x4 from --offset 0xfffc (addresses are 16 bits wide) (see "
                  "--help)\n"},
        // A DROM entry's length byte counts its 2-byte head (and a name's
        // terminator); the image's length field holds 1023 bytes after the CRC-8 and UID
        // (an image too long is found only once built: the run fails).
        LimitCase{"NameShortOfTheLongest", dromBuild({"--vendor-name", letters(251)}), 0, "100: ", ""},
        LimitCase{"NameAtTheLongest", dromBuild({"--vendor-name", letters(252)}), 0, "100: ", ""},
        LimitCase{"NamePastTheLongest", dromBuild({"--model-name", letters(253)}), 2, "",
                  "tbkit drom build: --model-name: at most 252 characters fit in a name entry (see --help)\n"},
        LimitCase{"GenericShortOfTheLargest", dromBuild({"--generic", "5:" + hexBytes(252)}), 0, "100: ", ""},
        LimitCase{"GenericAtTheLargest", dromBuild({"--generic", "5:" + hexBytes(253)}), 0, "100: ", ""},
        LimitCase{"GenericPastTheLargest", dromBuild({"--generic", "5:" + hexBytes(254)}), 2, "",
                  "tbkit drom build: --generic: at most 253 data bytes fit in a generic entry (see --help)\n"},
        LimitCase{"ImageShortOfTheLargest", imageOf1035Plus(0), 0, "400: ", ""},
        LimitCase{"ImageAtTheLargest", imageOf1035Plus(1), 0, "400: ", ""},
        LimitCase{"ImagePastTheLargest", imageOf1035Plus(2), 1, "",
                  "tbkit drom build: the image of 1037 bytes is longer than its length field can say (1036)\n"}),
    test::byName);

}  // namespace
}  // namespace tbt::cli
