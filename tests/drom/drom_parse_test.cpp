// The checksums, and the parser against images that exercise its branches,
// including hostile ones: it reports, skips or stops, and never leaves the
// buffer.
#include <gtest/gtest.h>

#include "drom_fixtures.h"
#include "platform/text.h"
#include "support/param_names.h"

namespace tbt {
namespace {

using namespace testing_drom;

TEST(Checksums, KnownVectors) {
  const uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  const std::vector<uint8_t> zeros(8, 0);
  const std::vector<uint8_t> ones(32, 0xFF);
  const struct { const uint8_t* bytes; int32_t count; uint8_t crc8; uint32_t crc32c; } vectors[] = {
      {digits, 9, 0xFB, 0xE3069283},        // the customary check string
      {digits, 0, 0xFF, 0x00000000},        // nothing covered
      {digits, -5, 0xFF, 0x00000000},       // a negative count touches nothing
      {ones.data(), 32, 0xFC, 0x62A8AB43},  // the iSCSI all-ones block
  };
  for (const auto& v : vectors) {
    EXPECT_EQ(crc8(v.bytes, v.count), v.crc8) << v.count;
    EXPECT_EQ(crc32c(v.bytes, v.count), v.crc32c) << v.count;
  }
}

const Bytes kVendorName = {6, 1, 'A', 'c', 'm', 0};
const Bytes kModelName = {4, 2, 'Z', 0};

struct ParseCase {
  const char* name;
  Bytes image;
  std::vector<PortMapPair> map;
  Status status;
  std::vector<std::string> lines = {};   // each must appear in the output
  std::vector<std::string> absent = {};  // none of these may appear
  uint32_t generics = 0;                 // generic records filled
  bool ignoreCRCs = true;
};

// The image with byte `at` changed to value.
Bytes patched(Bytes image, size_t at, uint8_t value) {
  image[at] = value;
  return image;
}

std::vector<ParseCase> parseCases() {
  const std::vector<PortMapPair> unknownClass = {{1, 0x123401}};
  // Byte 0 holds the CRC-8, byte 9 the CRC-32's low byte.
  const Bytes valid = makeImage({kVendorName});
  const Bytes crc8Bad = patched(valid, 0, valid[0] ^ 0x5A);
  const Bytes crc32Bad = patched(valid, 9, valid[9] ^ 0x5A);
  const std::string crc8Line = textf("CRC8: 0x%x != 0x%x\n", crc8Bad[0], crc8Bad[0] ^ 0x5A);
  const uint32_t crc = storedCrc32(crc32Bad.data());
  const std::string crc32Line = textf("CRC32: 0x%x != 0x%x\n", crc, crc ^ 0x5A);
  // clang-format off
  return {
      {"noPortMap", valid, {}, status::kNotReady, {}, {"uid:"}},
      {"version2", makeImage({kVendorName}, 2), kOneOfEach, 0,
       {"Trying to parse an unknown style ROM (Version 2)\n"}, {}, 1},
      {"crc8Strict", crc8Bad, kOneOfEach, status::kChecksumMismatch, {crc8Line}, {"vendorID"}, 0, false},
      {"crc8Lenient", crc8Bad, kOneOfEach, 0, {crc8Line, "vendorID: 0x1234\n"}, {}, 1},
      {"crc32Strict", crc32Bad, kOneOfEach, status::kChecksumMismatch, {crc32Line}, {"vendorID"}, 0, false},
      {"unknownClass", makeImage({{2, 0x81}, kVendorName}), unknownClass, status::kGeneralFailure,
       {"Unknown adpater type: 0x123401\n", "Vendor Name; 'Acm'\n"}, {"disabled:"}, 1},
      {"portNotInMap", makeImage({{2, 0x84}, kModelName}), kOneOfEach, 0,
       {"Could not find port 4 in port map!\n", "Model Name; 'Z'\n"}, {}, 1},
      {"pcie3Bytes", makeImage({{3, 0x82, 0x61}}), kOneOfEach, 0,
       {"pciDeviceNum: 0x3\npciFunctionNum: 0x1\nisUpAdapter: 0\n"}, {"requiredBandwidth", "maxBandwidth"}},
      {"pcie4BytesIsUp", makeImage({{4, 0x82, 0x61, 0x23}}), kOneOfEach, status::kGeneralFailure,
       {"isUpAdapter: 1\n"}},
      {"pcie11BytesAsym", makeImage({{11, 0x82, 0x61, 0x23, 0xA1, 0x56, 4, 0x89, 7, 0xBC, 0x0A}}), kOneOfEach, 0,
       {"isUpAdapter: 1\nrequiredBandwidth: 0x123\nisSlotDevice: 0x1\nisLeafDevice: 0x0\nhasAsymBandwidth: 0x1\n"
        "maxBandwidth: 0x456\nrequiredBandIn: 0x789\nmaxBandIn: 0xabc\n"}},
      {"pcieUpSymmetric", makeImage({{7, 0x82, 0x61, 0x23, 0x81, 0x56, 4}}), kOneOfEach, 0,
       {"maxBandwidth: 0x456\n"}, {"requiredBandIn"}},
      {"dpV1", makeImage({{4, 0x83, 0x34, 0x82}}), kOneOfEach, 0, {"isCaptive: 0x1\nbandwidth: 0x234\n"},
       {"DP Port v2", "hasPreferredPort"}},
      {"dpV2", makeImage({{5, 0x83, 0x34, 0x02, 0x85}}), kOneOfEach, 0,
       {"DP Port v2 - entryLength: 0x5\nisCaptive: 0x0\nbandwidth: 0x234\nhasPreferredPort: 0x1\n"
        "preferredNullPort: 0x5\n"}},
      {"dpV2NoPreferred", makeImage({{5, 0x83, 0, 0, 0x05}}), kOneOfEach, 0, {"hasPreferredPort: 0x0\n"},
       {"preferredNullPort"}},
      {"disabledLane", makeImage({{2, 0xC1}}), kOneOfEach, 0, {"disabled: 0x1\n"}, {"hasDualLinkPort"}},
      {"elevenGenerics", makeImage(std::vector<Bytes>(11, Bytes{3, 7, 0x55})), kOneOfEach, 0,
       {"Generic Entry: 0xa\n"}, {"Generic Entry: 0xb\n"}, 10},
      // Hostile images.
      {"headerOnlyPart", Bytes(10, 0), kOneOfEach, status::kGeneralFailure,
       {"ROM buffer of 10 bytes is shorter than the 22-byte header\n"}, {"uid:"}},
      {"zeroLength", makeImage({{0, 0x81}, kVendorName}), kOneOfEach, status::kGeneralFailure,
       {"entry length 0 at offset 0x16 is shorter than its 2-byte head\n", "offset 0x16 size 0x1e\n"},
       {"portNum"}},
      {"oneByteEntry", makeImage({{1, 0x81}, kVendorName}), kOneOfEach, status::kGeneralFailure,
       {"entry length 1 at offset 0x16 is shorter than its 2-byte head\n"}, {"portNum"}},
      {"genericOneByteOverEnd", makeImage({kVendorName, {5, 5, 1, 2}}), kOneOfEach, status::kGeneralFailure,
       {"entry at offset 0x1c reaches past the buffer end 0x20\n"}, {}, 1},
      {"laneFieldsPastEnd", makeImage({{2, 0x81}}), kOneOfEach, status::kGeneralFailure,
       {"entry at offset 0x16 reaches past the buffer end 0x18\n"}},
      // Ports the map does not name are reported and skipped whatever their
      // number (a hub with 14 adapters); only one the map names must have a record.
      {"port0InMap", makeImage({{2, 0x80}, kModelName}), {{0, 0x1}}, status::kGeneralFailure,
       {"portNum 0 is outside the 13 port records; entry skipped\n", "Model Name; 'Z'\n"}, {}, 1},
      {"port14ThenNames", makeImage({{8, 0x8E, 0, 0, 0, 0, 0, 0}, kVendorName, kModelName}), {{14, 0x1}},
       status::kGeneralFailure, {"portNum 14 is outside the 13 port records; entry skipped\n", "Vendor Name; 'Acm'\n",
                                 "Model Name; 'Z'\n"}, {}, 2},
      {"lengthPastBuffer", patched(makeImage({{2, 0xC1}, {2, 0xC1}}), 14, 20), kOneOfEach, status::kGeneralFailure,
       {"CRC32 covers 0x14 bytes but the buffer holds 0xd after offset 0xd\n", "overstepped buffer size!\n"}},
  };
  // clang-format on
}

class ParseCases : public ::testing::TestWithParam<ParseCase> {};

TEST_P(ParseCases, ReportsWhatTheImageHolds) {
  const ParseCase& c = GetParam();
  CapturedDROM parsed(c.map);
  EXPECT_EQ(parsed.parse(c.image, c.ignoreCRCs), c.status);
  for (const std::string& line : c.lines)
    EXPECT_NE(parsed.printed.find(line), std::string::npos) << line << "\n" << parsed.printed;
  for (const std::string& text : c.absent) EXPECT_EQ(parsed.printed.find(text), std::string::npos) << text;
  EXPECT_EQ(parsed.drom.genericsCount(), c.generics);
}

INSTANTIATE_TEST_SUITE_P(Images, ParseCases, ::testing::ValuesIn(parseCases()), test::byName);

}  // namespace
}  // namespace tbt
