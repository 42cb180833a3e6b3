#include "drom/checksums.h"

#include <gtest/gtest.h>

#include <vector>

namespace tbt {
namespace {

struct Vector {
  std::vector<uint8_t> bytes;
  uint8_t crc8;
  uint32_t crc32c;
};

TEST(Checksums, KnownVectors) {
  const Vector vectors[] = {
      {{'1', '2', '3', '4', '5', '6', '7', '8', '9'}, 0xFB, 0xE3069283},  // the customary check string
      {{}, 0xFF, 0x00000000},                                             // nothing covered
      {std::vector<uint8_t>(8, 0), 0xDB, 0x8C28B28A},                     // a blank UID
      {std::vector<uint8_t>(32, 0xFF), 0xFC, 0x62A8AB43},                 // the iSCSI all-ones block
  };
  for (const Vector& v : vectors) {
    const int32_t count = static_cast<int32_t>(v.bytes.size());
    EXPECT_EQ(crc8(v.bytes.data(), count), v.crc8) << count;
    EXPECT_EQ(crc32c(v.bytes.data(), count), v.crc32c) << count;
  }
}

TEST(Checksums, NegativeCountTouchesNothing) {
  const uint8_t byte = 0x42;
  EXPECT_EQ(crc8(&byte, -1), 0xFF);
  EXPECT_EQ(crc32c(&byte, -5), 0u);
}

}  // namespace
}  // namespace tbt
