#pragma once
// The two checksums of a device ROM image: CRC-8 over the switch UID at the
// head of the image, CRC-32C over the rest.
#include <cstdint>

namespace tbt {

/// CRC-8 (polynomial 0x07, initial 0xFF, no reflection, no final XOR) of
/// count bytes; a count of 0 or below touches no byte and gives 0xFF.
uint8_t crc8(const uint8_t* bytes, int32_t count);

/// CRC-32C (Castagnoli, reflected, initial and final XOR 0xFFFFFFFF) of count
/// bytes; a count of 0 or below gives 0.
uint32_t crc32c(const uint8_t* bytes, int32_t count);

/// One table-driven CRC-32C step: feeds byte into the running state and
/// returns the new state (no initial or final XOR).
uint32_t crc32cUpdateByte(uint32_t state, uint8_t byte);

}  // namespace tbt
