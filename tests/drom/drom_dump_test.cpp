// Dumps and read-out: the text forms on odd sizes, the security block, the
// builder's edges (header only, disabled ports, long names, overruns).
#include <gtest/gtest.h>

#include <algorithm>

#include "drom_fixtures.h"

namespace tbt {
namespace {

using testing_drom::CapturedDROM;
using testing_drom::kOneOfEach;

std::vector<uint8_t> counting(size_t n) {
  std::vector<uint8_t> bytes(n);
  for (size_t i = 0; i < n; ++i) bytes[i] = static_cast<uint8_t>(i);
  return bytes;
}

struct RawCase {
  size_t size;
  uint8_t width;
  uint8_t style;
  std::string text;
};

TEST(DecodeAsRaw, StylesOnOddSizes) {
  const RawCase cases[] = {
      {3, 0, kRawStyleCode, "uint8_t buffer[] = { 0x00, 0x01, 0x02 };"},
      {1, 0, kRawStyleDump, "Size: 1 bytes\n000: 000: 00 *"},
      {5, 2, kRawStyleDump, "Size: 5 bytes\n000: 00, 01, \n002: 02, 03, \n004: 04 *"},
      {6, 4, kRawStyleDump, "Size: 6 bytes\n000: 00, 01, 02, 03, 004: 04, 05 *"},
      {6, 4, kRawStylePlain, "00 01 02 03 04 05"},
      {7, 3, kRawStyleCode, "uint8_t buffer[] = { 0x00, 0x01, 0x02, \n0x03, 0x04, 0x05, \n0x06 };"},
      {0, 16, kRawStyleDump, "Size: 0 bytes\n000: "},
  };
  for (const RawCase& c : cases) {
    std::vector<uint8_t> bytes = counting(std::max<size_t>(c.size, 1));
    EXPECT_EQ(decodeAsRaw(bytes.data(), static_cast<uint32_t>(c.size), c.width, c.style, DromOutput::silent()), c.text)
        << c.size << "/" << int(c.width) << "/" << int(c.style);
  }
  EXPECT_EQ(decodeAsRaw(nullptr, 4, 0, kRawStyleDump, DromOutput::silent()), std::nullopt);
}

TEST(DecodeAsRaw, WidthZeroKeepsTheRowWidthToEightBits) {
  std::vector<uint8_t> bytes = counting(300);
  std::string text = *decodeAsRaw(bytes.data(), 300, 0, kRawStylePlain, DromOutput::silent());
  EXPECT_EQ(text.size(), 43u * 3 + 2);  // bytes 0 to 42, then byte 299 (0x2b)
  EXPECT_TRUE(text.ends_with(" 2a 2b")) << text;
}

TEST(HexDump, FullRowsThenTheRest) {
  std::vector<uint8_t> bytes = counting(20);
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
  EXPECT_EQ(image[9] | image[10] << 8 | image[11] << 16 | static_cast<uint32_t>(image[12]) << 24,
            crc32c(image + 13, 9));
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

TEST(Build, DisabledPortsUnknownClassesAndLongNames) {
  CapturedDROM built;
  built.drom.setPortMap(std::vector<PortMapPair>{{3, 0x0E0101}, {4, 0x777701}});
  built.drom.genericROM().ports[3].disabled = true;
  built.drom.setVendorName(std::string(300, 'v').c_str());
  ASSERT_EQ(built.drom.buildROM(kBuildFullImage), 0u);
  uint32_t size = 0;
  const uint8_t* image = built.drom.getBytesWithSize(size);
  EXPECT_EQ(image[22], 2);
  EXPECT_EQ(image[23], 0xC3);
  EXPECT_NE(built.printed.find("Found unknown adapter type, 0x777701, for port 4"), std::string::npos);
  // 253 characters and the terminator: the entry's length byte wraps to 0.
  EXPECT_EQ(image[24], 0);
  EXPECT_EQ(image[25], kGenericVendorName);
  EXPECT_EQ(image[26 + 252], 'v');
  EXPECT_EQ(image[26 + 253], 0);
  EXPECT_EQ(size, 22u + 2 + 2 + 254 + 2);
}

TEST(Build, LengthFieldKeepsTenBitsAndOverrunsStopAtTheBuffer) {
  CapturedDROM built;
  built.drom.setPortMap(kOneOfEach);
  for (int i = 0; i < 5; ++i) built.drom.addGenericType(9, std::vector<uint8_t>(200, static_cast<uint8_t>(i)));
  ASSERT_EQ(built.drom.buildROM(kBuildFullImage), 0u);
  uint32_t size = 0;
  const uint8_t* image = built.drom.getBytesWithSize(size);
  const uint32_t length = size - 13;
  ASSERT_GT(length, 1023u);
  EXPECT_EQ(image[14], length & 0xFF);
  EXPECT_EQ(image[15], (length >> 8) & 3);
  EXPECT_EQ(image[9] | image[10] << 8 | image[11] << 16 | static_cast<uint32_t>(image[12]) << 24,
            crc32c(image + 13, static_cast<int32_t>(length)));
  CapturedDROM parsed;
  parsed.drom.setPortMap(kOneOfEach);
  EXPECT_EQ(parsed.drom.parseROMData(image, size), status::kChecksumMismatch);

  for (int i = 0; i < 20; ++i) built.drom.addGenericType(9, std::vector<uint8_t>(200, 0xEE));
  ASSERT_EQ(built.drom.buildROM(kBuildFullImage), 0u);
  EXPECT_EQ(built.drom.getSize(), 4096);
  EXPECT_NE(built.printed.find("ROM overrun!"), std::string::npos);
  built.drom.getBytesPlusSecurityBlockWithSize(size);
  EXPECT_EQ(size, 4096u + 32);
}

TEST(PortMap, RenderingIsLogged) {
  CapturedDROM drom;
  drom.drom.setPortMap(std::vector<PortMapPair>{{1, 0x0E0102}});
  EXPECT_EQ(drom.logged,
            "decodeAsRaw\nPort Map:\n uint8_t buffer[] = { 0x01, 0x00, 0x00, 0x00, 0x02, 0x01, 0x0e, 0x00 };");
  EXPECT_EQ(drom.drom.getPortMap().size(), 1u);
}

}  // namespace
}  // namespace tbt
