#include "drom/checksums.h"

#include <array>

namespace tbt {
namespace {

constexpr uint32_t kCrc32cPolynomialReflected = 0x82F63B78;

// The byte-wise lookup table of the reflected CRC-32C polynomial, computed
// once by the compiler.
constexpr std::array<uint32_t, 256> makeCrc32cTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value & 1) ? (value >> 1) ^ kCrc32cPolynomialReflected : value >> 1;
    table[i] = value;
  }
  return table;
}

constexpr std::array<uint32_t, 256> kCrc32cTable = makeCrc32cTable();
static_assert(kCrc32cTable[1] == 0xF26B8303);

}  // namespace

uint8_t crc8(const uint8_t* bytes, int32_t count) {
  uint8_t crc = 0xFF;
  for (int32_t i = 0; i < count; ++i) {
    crc ^= bytes[i];
    for (int bit = 0; bit < 8; ++bit)
      crc = (crc & 0x80) ? static_cast<uint8_t>((crc << 1) ^ 0x07) : static_cast<uint8_t>(crc << 1);
  }
  return crc;
}

uint32_t crc32cUpdateByte(uint32_t state, uint8_t byte) { return (state >> 8) ^ kCrc32cTable[(state ^ byte) & 0xFF]; }

uint32_t crc32c(const uint8_t* bytes, int32_t count) {
  uint32_t state = 0xFFFFFFFF;
  for (int32_t i = 0; i < count; ++i) state = crc32cUpdateByte(state, bytes[i]);
  return ~state;
}

}  // namespace tbt
