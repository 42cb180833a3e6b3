// Building and parsing agree: every constant port map round-trips, a golden
// image pins the byte format down, and rebuilding from the parsed form gives
// the same bytes.
#include <gtest/gtest.h>

#include "drom/port_maps.h"
#include "drom_fixtures.h"

namespace tbt {
namespace {

using testing_drom::CapturedDROM;

// A record that survives a round trip exactly: every field the entry form
// can carry is set, nothing it leaves out. Every fourth port is disabled.
PortRecord sampleRecord(uint32_t port, uint32_t type) {
  PortRecord record;
  const uint8_t p = static_cast<uint8_t>(port);
  if (port % 4 == 3) {
    record.disabled = true;
  } else if ((type & kAdapterClassMask) == kLaneAdapterClass) {
    record.lane = {1,
                   static_cast<uint8_t>(p & 1),
                   static_cast<uint8_t>(p & 0xF),
                   p,
                   static_cast<uint8_t>(p % 7 + 1),
                   static_cast<uint8_t>((p + 2) & 0xF),
                   static_cast<uint8_t>(0x40 + p),
                   1,
                   static_cast<uint8_t>((p + 1) & 0xF),
                   static_cast<uint8_t>(p + 1)};
  } else if ((type & kAdapterClassMask) == kPCIeAdapterClass) {
    record.pci.pciDeviceNum = p & 7;
    record.pci.pciFunctionNum = (p + 1) & 7;
    if (port % 2 == 0)  // an up adapter, with asymmetric bandwidth
      record.pci = {record.pci.pciDeviceNum,
                    record.pci.pciFunctionNum,
                    1,
                    static_cast<uint8_t>(p & 1),
                    1,
                    1,
                    static_cast<uint16_t>(0x100 + p),
                    static_cast<uint16_t>(0x200 + p),
                    static_cast<uint16_t>(0x300 + p),
                    static_cast<uint16_t>(0xF00 + p)};
  } else {
    record.dp = {1, static_cast<uint16_t>(0xA00 + p), 1, static_cast<uint8_t>(p & 0x3F)};
  }
  return record;
}

void fillBuilder(DROM& drom, std::span<const PortMapPair> map) {
  ParsedROM& values = drom.genericROM();
  values.uid = 0x8877665544332219;
  values.version = 1;
  values.vendorID = 0xABCD;
  values.modelID = 0x1234;
  values.modelRev = 7;
  values.firmwareRev = 9;
  for (const PortMapPair& pair : map)
    if (pair.port < kDromPortRecords) values.ports[pair.port] = sampleRecord(pair.port, pair.type);
  drom.setVendorName("Vendor Co.");
  drom.setModelName("Model 9");
  drom.addGenericType(5, {0xDE, 0xAD, 0xBE, 0xEF});
  drom.addGenericType(0x3F, {});
}

std::vector<uint8_t> imageOf(const DROM& drom) {
  uint32_t size = 0;
  const uint8_t* bytes = drom.getBytesWithSize(size);
  return std::vector<uint8_t>(bytes, bytes + size);
}

class RoundTrip : public ::testing::TestWithParam<NamedPortMap> {};

TEST_P(RoundTrip, BuildsParsesAndRebuildsIdentically) {
  const NamedPortMap& map = GetParam();
  CapturedDROM built;
  built.drom.setPortMap(map.pairs);
  fillBuilder(built.drom, map.pairs);
  ASSERT_EQ(built.drom.buildROM(kBuildFullImage), status::kSuccess);
  ASSERT_TRUE(built.drom.isReady());
  const std::vector<uint8_t> image = imageOf(built.drom);

  CapturedDROM parsed;
  parsed.drom.setPortMap(map.pairs);
  ASSERT_EQ(parsed.drom.parseROMData(image.data(), static_cast<uint32_t>(image.size())), status::kSuccess)
      << parsed.printed;
  EXPECT_EQ(parsed.printed.find("!="), std::string::npos);
  const ParsedROM& rom = parsed.drom.getParsedROM();
  const ParsedROM& values = built.drom.genericROM();
  EXPECT_EQ(rom.uid, values.uid);
  EXPECT_EQ(rom.rid, 9);
  EXPECT_EQ(rom.size, image.size() - 13);
  EXPECT_EQ(std::tie(rom.version, rom.vendorID, rom.modelID, rom.modelRev, rom.firmwareRev),
            std::tie(values.version, values.vendorID, values.modelID, values.modelRev, values.firmwareRev));
  for (const PortMapPair& pair : map.pairs) {
    // The builder has no record for port 13: it goes out as an empty one.
    const PortRecord expected = pair.port < kDromPortRecords ? values.ports[pair.port] : PortRecord{};
    EXPECT_EQ(rom.ports[pair.port - 1], expected) << "port " << pair.port;
  }
  ASSERT_EQ(parsed.drom.genericsCount(), 4u);
  EXPECT_STREQ(reinterpret_cast<const char*>(rom.generics[0].data.data()), "Vendor Co.");
  EXPECT_STREQ(reinterpret_cast<const char*>(rom.generics[1].data.data()), "Model 9");
  EXPECT_EQ(rom.generics[2].type, 5);
  EXPECT_EQ(rom.generics[2].dataSize, 4);
  EXPECT_EQ(rom.generics[2].data[3], 0xEF);
  EXPECT_EQ(rom.generics[3].type, 0x3F);
  EXPECT_EQ(rom.generics[3].dataSize, 0);

  CapturedDROM rebuilt;
  rebuilt.drom.setPortMap(map.pairs);
  rebuilt.drom.loadParsedForm(rom, parsed.drom.genericsCount());
  ASSERT_EQ(rebuilt.drom.buildROM(kBuildFullImage), status::kSuccess);
  EXPECT_EQ(imageOf(rebuilt.drom), image);
}

INSTANTIATE_TEST_SUITE_P(ConstantMaps, RoundTrip, ::testing::ValuesIn(namedPortMaps().begin(), namedPortMaps().end()),
                         [](const auto& info) {
                           std::string name = info.param.name;
                           for (char& c : name)
                             if (c == '-') c = '_';
                           return name;
                         });

TEST(GoldenImage, LaneAndPCIeUpDevice) {
  const std::vector<uint8_t> golden = {
      0x50,                                            // CRC-8 of the UID
      0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01,  // UID 0x0123456789abcdef
      0x2C, 0xC5, 0xBC, 0x62,                          // CRC-32C of bytes 13..53
      0x01,                                            // version
      0x29, 0x00,                                      // length 41 (from offset 13)
      0x34, 0x12, 0x78, 0x56,                          // vendor 0x1234, model 0x5678
      0x02, 0x03,                                      // model and firmware revisions
      0x08, 0x81,                                      // port 1, lane adapter:
      0x92, 0x03,                                      //   dual link: bit 4 flag, RID 2, port 3
      0xA4, 0x21,                                      //   micro type 5, RID 4, AID 0x21
      0x86, 0x07,                                      //   peer port: RID 6, port 7
      0x0B, 0x82,                                      // port 2, PCIe up adapter:
      0x61,                                            //   device 3, function 1
      0x23, 0xA1,                                      //   slot, asymmetric, required bandwidth 0x123
      0x56, 0x04,                                      //   max bandwidth 0x456
      0x89, 0x07,                                      //   required inbound 0x789
      0xBC, 0x0A,                                      //   max inbound 0xabc
      0x05, 0x01, 'A',  'B',  0x00,                    // vendor name
      0x04, 0x02, 'C',  0x00,                          // model name
      0x04, 0x05, 0xDE, 0xAD,                          // generic type 5
  };
  CapturedDROM built;
  built.drom.setPortMap(findNamedPortMap("lane1-pcieup1")->pairs);
  ParsedROM& values = built.drom.genericROM();
  values.uid = 0x0123456789ABCDEF;
  values.version = 1;
  values.vendorID = 0x1234;
  values.modelID = 0x5678;
  values.modelRev = 2;
  values.firmwareRev = 3;
  values.ports[1].lane = {1, 1, 2, 3, 5, 4, 0x21, 1, 6, 7};
  values.ports[2].pci = {3, 1, 1, 1, 0, 1, 0x123, 0x456, 0x789, 0xABC};
  built.drom.setVendorName("AB");
  built.drom.setModelName("C");
  built.drom.addGenericType(5, {0xDE, 0xAD});
  ASSERT_EQ(built.drom.buildROM(kBuildFullImage), status::kSuccess);
  EXPECT_EQ(imageOf(built.drom), golden);
  EXPECT_NE(built.printed.find("CRC32: 0x62bcc52c Len: 0x29 Offset: 0xd\n"), std::string::npos);
}

}  // namespace
}  // namespace tbt
