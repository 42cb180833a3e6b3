#pragma once
// Plain storage of the simulated hardware: sparse double-word stores (the
// configuration spaces, LC memory) and sparse byte memories (EEPROM, NVM,
// IECS and I2C register files). Nothing here has behaviour of its own.
#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace tbt::sim {

/// A sparse store of 32-bit double words; an index never written reads 0.
class DwordStore {
 public:
  /// The double word at index (0 when never written).
  uint32_t read(uint32_t index) const;
  /// Stores value at index.
  void write(uint32_t index, uint32_t value) { words_[index] = value; }
  /// True when index was written (by the host file or since).
  bool isSet(uint32_t index) const { return words_.count(index) != 0; }
  /// Every written double word, by ascending index.
  const std::map<uint32_t, uint32_t>& words() const { return words_; }
  bool empty() const { return words_.empty(); }

 private:
  std::map<uint32_t, uint32_t> words_;
};

/// A sparse byte memory of a given size (0: the whole 32-bit address range);
/// bytes never written read as the fill byte.
class ByteMemory {
 public:
  ByteMemory() = default;
  ByteMemory(uint64_t size, uint8_t fill) : size_(size), fill_(fill) {}

  /// The memory's size in bytes; 0 when it spans the whole address range.
  uint64_t size() const { return size_; }
  uint8_t fill() const { return fill_; }
  /// True when address lies inside the memory.
  bool contains(uint64_t address) const { return size_ == 0 ? address <= UINT32_MAX : address < size_; }
  /// The byte at address (the fill byte when never written or outside).
  uint8_t read(uint64_t address) const;
  /// length bytes from address upward.
  std::vector<uint8_t> read(uint64_t address, size_t length) const;
  /// Writes one byte; false (and nothing written) when address is outside.
  bool write(uint64_t address, uint8_t value);
  /// Writes bytes from address upward; false when any byte would fall outside
  /// (then nothing is written).
  bool write(uint64_t address, std::span<const uint8_t> bytes);
  /// Every written byte, by ascending address (bytes equal to fill included).
  const std::map<uint32_t, uint8_t>& written() const { return bytes_; }

 private:
  uint64_t size_ = 0;
  uint8_t fill_ = 0;
  std::map<uint32_t, uint8_t> bytes_;
};

}  // namespace tbt::sim
