// Dumps and read-out: the text forms on odd sizes, the header-only image with
// its security block, the port map's logged rendering.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "drom_fixtures.h"

namespace tbt {
namespace {

using namespace testing_drom;

TEST(TextForms, StylesAndRowsOnOddSizes) {
  const struct { uint32_t size; uint8_t width; uint8_t style; std::string text; } cases[] = {
      {3, 0, kRawStyleCode, "uint8_t buffer[] = { 0x00, 0x01, 0x02 };"},
      {1, 0, kRawStyleDump, "Size: 1 bytes\n000: 000: 00 *"},
      {5, 2, kRawStyleDump, "Size: 5 bytes\n000: 00, 01, \n002: 02, 03, \n004: 04 *"},
      {6, 4, kRawStyleDump, "Size: 6 bytes\n000: 00, 01, 02, 03, 004: 04, 05 *"},
      {6, 4, kRawStylePlain, "00 01 02 03 04 05"},
      {7, 3, kRawStyleCode, "uint8_t buffer[] = { 0x00, 0x01, 0x02, \n0x03, 0x04, 0x05, \n0x06 };"},
      {0, 16, kRawStyleDump, "Size: 0 bytes\n000: "},
  };
  Bytes bytes(300);
  std::iota(bytes.begin(), bytes.end(), 0);
  for (const auto& c : cases)
    EXPECT_EQ(decodeAsRaw(bytes.data(), c.size, c.width, c.style, DromOutput::silent()), c.text)
        << c.size << "/" << int(c.width) << "/" << int(c.style);
  EXPECT_EQ(decodeAsRaw(nullptr, 4, 0, kRawStyleDump, DromOutput::silent()), std::nullopt);
  // Width 0 keeps the row width to 8 bits: bytes 0 to 42, then byte 299 (0x2b).
  std::string text = *decodeAsRaw(bytes.data(), 300, 0, kRawStylePlain, DromOutput::silent());
  EXPECT_EQ(text.size(), 43u * 3 + 2);
  EXPECT_TRUE(text.ends_with(" 2a 2b")) << text;
  EXPECT_EQ(hexDumpText(bytes.data(), 20, 16),
            "Size of dump: 20 bytes\n000: 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f \n010: 10 11 12 13 *\n");
  EXPECT_EQ(hexDumpText(bytes.data(), 4, 2), "Size of dump: 4 bytes\n000: 00 01 \n002: 02 03 \n*\n");
}

TEST(Build, HeaderOnlyImageAndSecurityBlock) {
  CapturedDROM built;
  EXPECT_EQ(built.drom.buildROM(kBuildFullImage), status::kNotReady);
  EXPECT_FALSE(built.drom.isReady());
  ASSERT_EQ(built.drom.buildROM(kBuildHeaderOnly), status::kSuccess);
  uint32_t size = 0;
  const uint8_t* image = built.drom.getBytesWithSize(size);
  ASSERT_EQ(size, 22u);
  EXPECT_EQ(image[14], 9);
  EXPECT_EQ(storedCrc32(image), crc32c(image + 13, 9));
  image = built.drom.getBytesPlusSecurityBlockWithSize(size);
  EXPECT_EQ(size, 54u);
  EXPECT_TRUE(std::all_of(image + 22, image + 54, [](uint8_t b) { return b == 0; }));

  built.printed.clear();
  EXPECT_EQ(built.drom.dumpTo(nullptr, 0), 0u);
  EXPECT_EQ(built.printed, hexDumpText(image, 22, 16));
  uint8_t destination[64];
  built.printed.clear();
  EXPECT_EQ(built.drom.dumpTo(destination, sizeof destination), status::kGeneralFailure);
  EXPECT_EQ(built.drom.dumpAsCodeTo(destination, sizeof destination), 0u);
  EXPECT_EQ(built.printed, "");
}

TEST(PortMap, RenderingIsLogged) {
  EXPECT_EQ(CapturedDROM(std::vector<PortMapPair>{{1, 0x0E0102}}).logged,
            "decodeAsRaw\nPort Map:\n uint8_t buffer[] = { 0x01, 0x00, 0x00, 0x00, 0x02, 0x01, 0x0e, 0x00 };");
}

}  // namespace
}  // namespace tbt
