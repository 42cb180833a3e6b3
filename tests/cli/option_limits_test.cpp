// The limits of tbkit's options: each row sits at a limit or one above it.
// At the limit, the command runs (and may fail like any run); above, it is
// refused as a usage error that names the limit.
#include <gtest/gtest.h>

#include "cli/command_case.h"
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
// Generic entries that make an image of 1036 + extra bytes.
std::vector<std::string> imageOf1036Plus(size_t extra) {
  return dromBuild({"--generic", "1:" + hexBytes(253), "--generic", "2:" + hexBytes(253), "--generic",
                    "3:" + hexBytes(253), "--generic", "4:" + hexBytes(232 + extra)});
}

// Commands on route 1 of the rich host (read, write, lc-memory, iecs) or of
// the default one (lc-block, eeprom, nvm), with the named values.
std::vector<std::string> onRich(std::vector<std::string> args) {
  args.insert(args.end(), {"--route", "1", kRich});
  return args;
}
std::vector<std::string> readDevice(const char* index, const char* count) {
  return onRich({"read", "--space", "device", "--index", index, "--count", count});
}
std::vector<std::string> iecs(const char* verb, const char* offset, const char* option, const char* value) {
  return onRich({"iecs", verb, "--bus", "0", "--device", "1", "--offset", offset, option, value});
}
std::vector<std::string> lcBlock(const char* index, const char* length) {
  return {"report", "lc-block", "--route", "1", "--index", index, "--length", length, kDefault};
}
std::vector<std::string> bytes(const char* family, const char* verb, const char* offset, const char* option,
                               const char* value) {
  return {family, verb, "--route", "1", "--offset", offset, option, value, kDefault};
}

const std::string kNotFound = "tbkit report device: the report ends with an error: 0xe00002f0 (not found)\n";
const std::string kTooDeep = ": --bus: at most 7 levels (one per hop of a route) (see --help)\n";
const std::string kSpace = " (a configuration space has 0x2000 double words) (see --help)\n";
const std::string kIecsEnd = " (an IECS device's registers end at offset 0xff) (see --help)\n";
const std::string kSixteenBits = " (addresses are 16 bits wide) (see --help)\n";

const CommandCase kLimits[] = {
    // A chain of parents is as deep as a route has hops.
    {"Parents7", withBuses({"report", "device", "--via-parent", "1", kRich}, 7), 1, "ERROR", kNotFound},
    {"Parents8", withBuses({"report", "device", "--via-parent", "1", kRich}, 8), 2, "",
     "tbkit report device" + kTooDeep},
    {"WriteParents8",
     withBuses({"write", "--via-parent", "1", "--space", "device", "--index", "0", "--value", "0", kRich}, 8), 2,
     "", "tbkit write" + kTooDeep},
    // A configuration space has double words 0 to 0x1fff.
    {"ReadToTheEnd", readDevice("0x1ff0", "16"), 0, "0x1fff: 0x00000000\n", ""},
    {"ReadPastTheEnd", readDevice("0x1ff0", "17"), 2, "",
     "tbkit read: --count: at most 0x10 from --index 0x1ff0" + kSpace},
    {"ReadNothing", readDevice("0", "0"), 2, "", "tbkit read: --count: must be at least 1 (see --help)\n"},
    {"ReadLastIndex", onRich({"read", "--space", "port", "--index", "0x1fff"}), 0, "0x1fff: 0x00000000\n", ""},
    {"ReadIndexPastTheEnd", onRich({"read", "--space", "port", "--index", "0x2000"}), 2, "",
     "tbkit read: --index: 0x2000 is out of range (at most 0x1fff) (see --help)\n"},
    {"BlockToTheEnd", lcBlock("0x1f65", "0x9b"), 0, "  1fff:  00000000   sx_entry", ""},
    {"BlockIndexPastTheNamedRegisters", lcBlock("0x1f66", "0x9b"), 2, "",
     "tbkit report lc-block: --index: 0x1f66 is out of range (at most 0x1f65) (see --help)\n"},
    {"BlockLengthToTheEnd", lcBlock("0x20", "0x1fe0"), 0, "  1fff:  00000000\n", ""},
    {"BlockLengthPastTheEnd", lcBlock("0x20", "0xffffffff"), 2, "",
     "tbkit report lc-block: --length: at most 0x1fe0 from --index 0x20" + kSpace},
    {"LastLinkController", onRich({"report", "lc-memory", "--lc", "15"}), 1, "Error: 0xe00002bc\n",
     "tbkit report lc-memory: the report ends with an error: 0xe00002bc (general failure)\n"},
    {"LinkControllerPastTheCount", onRich({"report", "lc-memory", "--lc", "16"}), 2, "",
     "tbkit report lc-memory: --lc: 16 is out of range (at most 0xf) (see --help)\n"},
    // IECS registers have byte offsets 0 to 0xff.
    {"IecsToTheEnd", iecs("read", "0xf0", "--length", "16"), 0, "00 00\n", ""},
    {"IecsPastTheEnd", iecs("read", "0xf0", "--length", "17"), 2, "",
     "tbkit iecs read: --length: at most 0x10 from --offset 0xf0" + kIecsEnd},
    {"IecsWritePastTheEnd", iecs("write", "0xff", "--data", "0102"), 2, "",
     "tbkit iecs write: --data: at most 0x1 from --offset 0xff" + kIecsEnd},
    // EEPROM and NVM addresses are 16 bits wide.
    {"EepromToTheEnd", bytes("eeprom", "read", "0xfff0", "--length", "16"), 0, "0xfff0: ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff\n", ""},
    {"EepromPastTheEnd", bytes("eeprom", "read", "0xfff0", "--length", "17"), 2, "",
     "tbkit eeprom read: --length: at most 0x10 from --offset 0xfff0" + kSixteenBits},
    {"EepromWritePastTheEnd", bytes("eeprom", "write", "0xffff", "--data", "0102"), 2, "",
     "tbkit eeprom write: --data: at most 0x1 from --offset 0xffff" + kSixteenBits},
    {"NvmToTheEnd", bytes("nvm", "read", "0xfffc", "--length", "4"), 0, "0xfffc: ff ff ff ff\n", ""},
    {"NvmPastTheEnd", bytes("nvm", "read", "0xfffc", "--length", "5"), 2, "",
     "tbkit nvm read: --length: at most 0x4 from --offset 0xfffc" + kSixteenBits},
    // A DROM entry's length byte counts its 2-byte head (and a name's
    // terminator); the image's length field holds 1023 bytes after the CRC-8
    // and UID (an image too long is found only once built: the run fails).
    {"NameAtTheLongest", dromBuild({"--vendor-name", letters(252)}), 0, "100: ", ""},
    {"NamePastTheLongest", dromBuild({"--model-name", letters(253)}), 2, "",
     "tbkit drom build: --model-name: at most 252 characters fit in a name entry (see --help)\n"},
    {"GenericAtTheLargest", dromBuild({"--generic", "5:" + hexBytes(253)}), 0, "100: ", ""},
    {"GenericPastTheLargest", dromBuild({"--generic", "5:" + hexBytes(254)}), 2, "",
     "tbkit drom build: --generic: at most 253 data bytes fit in a generic entry (see --help)\n"},
    {"ImageAtTheLargest", imageOf1036Plus(0), 0, "400: ", ""},
    {"ImagePastTheLargest", imageOf1036Plus(1), 1, "",
     "tbkit drom build: the image of 1037 bytes is longer than its length field can say (1036)\n"},
};

INSTANTIATE_TEST_SUITE_P(Limits, TbkitCommand, ::testing::ValuesIn(kLimits), test::byName);

}  // namespace
}  // namespace tbt::cli
