// Building: every constant port map round-trips through the parser and back
// to the same bytes, a golden image pins the byte format down, and the
// builder's edges (disabled ports, long names, the length field, overruns).
#include <gtest/gtest.h>

#include <algorithm>

#include "drom/port_maps.h"
#include "drom_fixtures.h"

namespace tbt {
namespace {

using namespace testing_drom;

// A record that survives a round trip exactly: every field the entry form
// can carry is set, nothing it leaves out. Every fourth port is disabled.
PortRecord sampleRecord(uint32_t p, uint32_t type) {
  auto b = [](uint32_t v) { return static_cast<uint8_t>(v); };
  auto w = [](uint32_t v) { return static_cast<uint16_t>(v); };
  PortRecord record;
  if (p % 4 == 3)
    record.disabled = true;
  else if ((type & kAdapterClassMask) == kLaneAdapterClass)
    record.lane = {1, b(p & 1), b(p & 0xF), b(p), b(p % 7 + 1), b((p + 2) & 0xF), b(0x40 + p), 1,
                   b((p + 1) & 0xF), b(p + 1)};
  else if ((type & kAdapterClassMask) == kPCIeAdapterClass && p % 2 == 0)  // up, asymmetric bandwidth
    record.pci = {b(p & 7), b((p + 1) & 7), 1, b(p & 1), 1, 1, w(0x100 + p), w(0x200 + p), w(0x300 + p), w(0xF00 + p)};
  else if ((type & kAdapterClassMask) == kPCIeAdapterClass)
    record.pci = {b(p & 7), b((p + 1) & 7)};
  else
    record.dp = {1, w(0xA00 + p), 1, b(p & 0x3F)};
  return record;
}

Bytes imageOf(const DROM& drom) {
  uint32_t size = 0;
  const uint8_t* bytes = drom.getBytesWithSize(size);
  return Bytes(bytes, bytes + size);
}

class RoundTrip : public ::testing::TestWithParam<NamedPortMap> {};

TEST_P(RoundTrip, BuildsParsesAndRebuildsIdentically) {
  const NamedPortMap& map = GetParam();
  CapturedDROM built(map.pairs);
  ParsedROM& values = built.drom.genericROM();
  values = {.uid = 0x8877665544332219, .version = 1, .vendorID = 0xABCD, .modelID = 0x1234, .modelRev = 7,
            .firmwareRev = 9};
  for (const PortMapPair& pair : map.pairs)
    if (pair.port < kDromPortRecords) values.ports[pair.port] = sampleRecord(pair.port, pair.type);
  built.drom.setVendorName("Vendor Co.");
  built.drom.setModelName("Model 9");
  built.drom.addGenericType(5, {0xDE, 0xAD, 0xBE, 0xEF});
  built.drom.addGenericType(0x3F, {});
  ASSERT_EQ(built.drom.buildROM(kBuildFullImage), status::kSuccess);
  const Bytes image = imageOf(built.drom);

  CapturedDROM parsed(map.pairs);
  ASSERT_EQ(parsed.parse(image), status::kSuccess) << parsed.printed;
  const ParsedROM& rom = parsed.drom.getParsedROM();
  EXPECT_EQ(rom.rid, 9);
  EXPECT_EQ(rom.size, image.size() - 13);
  for (const PortMapPair& pair : map.pairs) {
    // The builder has no record for port 13: it goes out as an empty one.
    const PortRecord expected = pair.port < kDromPortRecords ? values.ports[pair.port] : PortRecord{};
    EXPECT_EQ(rom.ports[pair.port - 1], expected) << "port " << pair.port;
  }
  ASSERT_EQ(parsed.drom.genericsCount(), 4u);
  EXPECT_EQ(rom.generics[3], (GenericRecord{0x3F, 0, {}}));

  // The header, names and generic entries come back through the parsed form.
  CapturedDROM rebuilt(map.pairs);
  rebuilt.drom.loadParsedForm(rom, parsed.drom.genericsCount());
  ASSERT_EQ(rebuilt.drom.buildROM(kBuildFullImage), status::kSuccess);
  EXPECT_EQ(imageOf(rebuilt.drom), image);
}

INSTANTIATE_TEST_SUITE_P(ConstantMaps, RoundTrip, ::testing::ValuesIn(namedPortMaps().begin(), namedPortMaps().end()),
                         [](const auto& info) {
                           std::string name = info.param.name;  // lane6-pcie4-dp3 runs as lane6_pcie4_dp3
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

// Every field is set to a value that fills its bit range's top bit, so a
// range cut short in the layout shows up as a changed byte.
TEST(GoldenImage, LaneAndPCIeUpDevice) {
  const Bytes golden = {
      0x50,                                            // CRC-8 of the UID
      0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01,  // UID 0x0123456789abcdef
      0x75, 0x79, 0x27, 0x84,                          // CRC-32C of bytes 13..53
      0x01,                                            // version
      0x29, 0x00,                                      // length 41 (from offset 13)
      0x34, 0x92, 0x78, 0xD6,                          // vendor 0x9234, model 0xd678
      0x82, 0x83,                                      // model and firmware revisions
      0x08, 0x81,                                      // port 1, lane adapter:
      0x9A, 0xA3,                                      //   dual link: bit 4 flag, RID 0xa, port 0xa3
      0xAC, 0xA1,                                      //   micro type 5, RID 0xc, AID 0xa1
      0x8E, 0xA7,                                      //   peer port: RID 0xe, port 0xa7
      0x0B, 0x82,                                      // port 2, PCIe up adapter:
      0xE5,                                            //   device 7, function 5
      0x23, 0xE9,                                      //   slot, leaf, asymmetric, required bandwidth 0x923
      0x56, 0x08,                                      //   max bandwidth 0x856
      0x89, 0x0F,                                      //   required inbound 0xf89
      0xBC, 0x0A,                                      //   max inbound 0xabc
      0x05, 0x01, 'A',  'B',  0x00,                    // vendor name
      0x04, 0x02, 'C',  0x00,                          // model name
      0x04, 0x05, 0xDE, 0xAD,                          // generic type 5
  };
  CapturedDROM built(findNamedPortMap("lane1-pcieup1")->pairs);
  ParsedROM& values = built.drom.genericROM();
  values = {.uid = 0x0123456789ABCDEF, .version = 1, .vendorID = 0x9234, .modelID = 0xD678, .modelRev = 0x82,
            .firmwareRev = 0x83};
  values.ports[1].lane = {1, 1, 0xA, 0xA3, 5, 0xC, 0xA1, 1, 0xE, 0xA7};
  values.ports[2].pci = {7, 5, 1, 1, 1, 1, 0x923, 0x856, 0xF89, 0xABC};
  built.drom.setVendorName("AB");
  built.drom.setModelName("C");
  built.drom.addGenericType(5, {0xDE, 0xAD});
  ASSERT_EQ(built.drom.buildROM(kBuildFullImage), status::kSuccess);
  EXPECT_EQ(imageOf(built.drom), golden);
  EXPECT_NE(built.printed.find("CRC32: 0x84277975 Len: 0x29 Offset: 0xd\n"), std::string::npos);
}

TEST(Build, LengthFieldKeepsTenBitsAndOverrunsStopAtTheBuffer) {
  CapturedDROM built(kOneOfEach);
  for (int i = 0; i < 5; ++i) built.drom.addGenericType(9, Bytes(200, static_cast<uint8_t>(i)));
  ASSERT_EQ(built.drom.buildROM(kBuildFullImage), 0u);
  uint32_t size = 0;
  const uint8_t* image = built.drom.getBytesWithSize(size);
  const uint32_t length = size - 13;
  ASSERT_GT(length, 1023u);
  EXPECT_EQ(image[14], length & 0xFF);
  EXPECT_EQ(image[15], (length >> 8) & 3);
  EXPECT_EQ(storedCrc32(image), crc32c(image + 13, static_cast<int32_t>(length)));
  EXPECT_EQ(CapturedDROM(kOneOfEach).parse(Bytes(image, image + size)), status::kChecksumMismatch);
}

// Generic entries fill the image to exactly the buffer's 4096 bytes, one
// byte less, one more and far more: only the last two are overruns, cut at
// the buffer with the security block after it.
TEST(Build, ImageAroundTheBufferSize) {
  for (uint32_t size : {4095u, 4096u, 4097u, 8000u}) {
    CapturedDROM built(kOneOfEach);
    ASSERT_EQ(built.drom.buildROM(kBuildFullImage), 0u);
    uint32_t rest = size - static_cast<uint32_t>(built.drom.getSize());
    for (; rest > 204; rest -= 202) built.drom.addGenericType(9, Bytes(200, 0x11));
    built.drom.addGenericType(9, Bytes(rest - 2, 0x22));
    built.printed.clear();
    ASSERT_EQ(built.drom.buildROM(kBuildFullImage), 0u);
    EXPECT_EQ(built.drom.getSize(), std::min(size, 4096u));
    EXPECT_EQ(built.printed.find("ROM overrun!") != std::string::npos, size > 4096) << size;
    uint32_t withBlock = 0;
    built.drom.getBytesPlusSecurityBlockWithSize(withBlock);
    EXPECT_EQ(withBlock, std::min(size, 4096u) + 32);
  }
}

}  // namespace
}  // namespace tbt
