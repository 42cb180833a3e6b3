// The parser against images that exercise its branches, including hostile
// ones: it reports, skips or stops, and never leaves the buffer.
#include <gtest/gtest.h>

#include "drom_fixtures.h"
#include "platform/text.h"

namespace tbt {
namespace {

using testing_drom::CapturedDROM;
using testing_drom::kOneOfEach;
using testing_drom::makeImage;
using Bytes = std::vector<uint8_t>;

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
};

Bytes withLength(Bytes image, uint16_t length) {
  image[14] = static_cast<uint8_t>(length);
  image[15] = static_cast<uint8_t>(length >> 8);
  return image;
}

std::vector<ParseCase> parseCases() {
  const std::vector<PortMapPair> unknownClass = {{1, 0x123401}};
  // clang-format off
  return {
      {"version2", makeImage({kVendorName}, 2), kOneOfEach, 0,
       {"Trying to parse an unknown style ROM (Version 2)\n"}, {}, 1},
      {"unknownClass", makeImage({{2, 0x81}, kVendorName}), unknownClass, status::kGeneralFailure,
       {"Unknown adpater type: 0x123401\n", "Vendor Name; 'Acm'\n"}, {"disabled:"}, 1},
      {"portNotInMap", makeImage({{2, 0x84}, kModelName}), kOneOfEach, 0,
       {"Could not find port 4 in port map!\n", "Model Name; 'Z'\n"}, {}, 1},
      {"pcie3Bytes", makeImage({{3, 0x82, 0x61}}), kOneOfEach, 0,
       {"pciDeviceNum: 0x3\npciFunctionNum: 0x1\nisUpAdapter: 0\n"}, {"requiredBandwidth", "maxBandwidth"}},
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
      // Hostile images.
      {"headerOnlyPart", Bytes(10, 0), kOneOfEach, status::kGeneralFailure,
       {"ROM buffer of 10 bytes is shorter than the 22-byte header\n"}, {"uid:"}},
      {"zeroLength", makeImage({{0, 0x81}, kVendorName}), kOneOfEach, status::kGeneralFailure,
       {"entry length 0 at offset 0x16 is shorter than its 2-byte head\n", "offset 0x16 size 0x1e\n"},
       {"portNum"}},
      {"entryOverrun", makeImage({kVendorName, {40, 5, 1, 2}}), kOneOfEach, status::kGeneralFailure,
       {"entry at offset 0x1c reaches past the buffer end 0x20\n"}, {}, 1},
      {"laneFieldsPastEnd", makeImage({{2, 0x81}}), kOneOfEach, status::kGeneralFailure,
       {"entry at offset 0x16 reaches past the buffer end 0x18\n"}},
      {"port0", makeImage({{2, 0x80}, kModelName}), kOneOfEach, status::kGeneralFailure,
       {"portNum 0 is outside the 13 port records; entry skipped\n", "Model Name; 'Z'\n"}, {}, 1},
      {"port14ThenNames", makeImage({{8, 0x8E, 0, 0, 0, 0, 0, 0}, kVendorName, kModelName}), {{14, 0x1}},
       status::kGeneralFailure, {"portNum 14 is outside the 13 port records; entry skipped\n", "Vendor Name; 'Acm'\n",
                                 "Model Name; 'Z'\n"}, {}, 2},
      {"lengthPastBuffer", withLength(makeImage({{2, 0xC1}, {2, 0xC1}}), 20), kOneOfEach, status::kGeneralFailure,
       {"CRC32 covers 0x14 bytes but the buffer holds 0xd after offset 0xd\n", "overstepped buffer size!\n"}},
  };
  // clang-format on
}

class ParseCases : public ::testing::TestWithParam<ParseCase> {};

TEST_P(ParseCases, ReportsWhatTheImageHolds) {
  const ParseCase& c = GetParam();
  CapturedDROM parsed;
  parsed.drom.setPortMap(c.map);
  EXPECT_EQ(parsed.drom.parseROMDataIgnoreCRCs(c.image.data(), static_cast<uint32_t>(c.image.size()), true), c.status);
  for (const std::string& line : c.lines)
    EXPECT_NE(parsed.printed.find(line), std::string::npos) << line << "\n" << parsed.printed;
  for (const std::string& text : c.absent) EXPECT_EQ(parsed.printed.find(text), std::string::npos) << text;
  EXPECT_EQ(parsed.drom.genericsCount(), c.generics);
}

INSTANTIATE_TEST_SUITE_P(Images, ParseCases, ::testing::ValuesIn(parseCases()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Parse, ChecksumMismatchFailsUnlessIgnored) {
  // Byte 0 holds the CRC-8, byte 9 the low byte of the CRC-32.
  for (size_t corrupted : {size_t{0}, size_t{9}}) {
    Bytes image = makeImage({kVendorName});
    image[corrupted] ^= 0x5A;
    const uint32_t stored = image[9] | image[10] << 8 | image[11] << 16 | static_cast<uint32_t>(image[12]) << 24;
    const std::string line = corrupted == 0 ? textf("CRC8: 0x%x != 0x%x\n", image[0], image[0] ^ 0x5A)
                                            : textf("CRC32: 0x%x != 0x%x\n", stored, stored ^ 0x5A);
    CapturedDROM strict;
    strict.drom.setPortMap(kOneOfEach);
    EXPECT_EQ(strict.drom.parseROMData(image.data(), static_cast<uint32_t>(image.size())), status::kChecksumMismatch);
    EXPECT_NE(strict.printed.find(line), std::string::npos) << strict.printed;
    EXPECT_EQ(strict.printed.find("vendorID"), std::string::npos);

    CapturedDROM lenient;
    lenient.drom.setPortMap(kOneOfEach);
    EXPECT_EQ(lenient.drom.parseROMDataIgnoreCRCs(image.data(), static_cast<uint32_t>(image.size()), true), 0u);
    EXPECT_NE(lenient.printed.find(" != "), std::string::npos);
    EXPECT_EQ(lenient.drom.getParsedROM().vendorID, 0x1234);
  }
}

TEST(Parse, GenericRecordsFillUpAndKeepCountingAcrossParses) {
  std::vector<Bytes> entries(11, Bytes{3, 7, 0x55});
  Bytes eleven = makeImage(entries);
  CapturedDROM parsed;
  parsed.drom.setPortMap(kOneOfEach);
  EXPECT_EQ(parsed.drom.parseROMData(eleven.data(), static_cast<uint32_t>(eleven.size())), 0u);
  EXPECT_EQ(parsed.drom.genericsCount(), 10u);
  EXPECT_NE(parsed.printed.find("Generic Entry: 0xa\n"), std::string::npos);
  EXPECT_EQ(parsed.printed.find("Generic Entry: 0xb\n"), std::string::npos);

  CapturedDROM twice;
  twice.drom.setPortMap(kOneOfEach);
  Bytes two = makeImage({kVendorName, kModelName});
  twice.drom.parseROMData(two.data(), static_cast<uint32_t>(two.size()));
  twice.drom.parseROMData(two.data(), static_cast<uint32_t>(two.size()));
  EXPECT_EQ(twice.drom.genericsCount(), 4u);
  EXPECT_EQ(twice.drom.getParsedROM().generics[0].type, 0);  // cleared by the second parse
  EXPECT_EQ(twice.drom.getParsedROM().generics[3].type, kGenericModelName);
}

TEST(Parse, RefusesNullBufferAndMissingPortMap) {
  CapturedDROM parsed;
  Bytes image = makeImage({});
  EXPECT_EQ(parsed.drom.parseROMData(nullptr, 10), status::kBadArgument);
  EXPECT_EQ(parsed.drom.parseROMData(image.data(), static_cast<uint32_t>(image.size())), status::kNotReady);
  EXPECT_EQ(parsed.logged, "parseROMData\nparseROMData\n");
}

}  // namespace
}  // namespace tbt
