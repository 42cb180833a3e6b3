#pragma once
// Plain storage of the simulated hardware: sparse double-word stores (the
// configuration spaces, LC memory) and sparse byte memories (EEPROM, NVM,
// IECS and I2C register files). Nothing here has behaviour of its own.
// Both keep what was written contiguously (sorted (index, value) pairs, runs
// of bytes), so that a host file's registers and images take little more
// memory than their values.
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace tbt::sim {

/// A sparse store of 32-bit double words; an index never written reads 0.
class DwordStore {
 public:
  using Word = std::pair<uint32_t, uint32_t>;  // (index, value)

  /// The double word at index (0 when never written).
  uint32_t read(uint32_t index) const;
  /// Stores value at index.
  void write(uint32_t index, uint32_t value);
  /// True when index was written (by the host file or since).
  bool isSet(uint32_t index) const { return find(index) != nullptr; }
  /// Every written double word, by ascending index.
  const std::vector<Word>& words() const { return words_; }
  bool empty() const { return words_.empty(); }
  /// Writes many double words at once (in any order). When an index comes
  /// twice, or is written already, nothing is written and the position in
  /// words of its later occurrence is returned.
  std::optional<size_t> writeAll(std::vector<Word> words);

 private:
  const Word* find(uint32_t index) const;

  std::vector<Word> words_;  // ascending by index
};

/// A sparse byte memory of a given size (0: the whole 32-bit address range);
/// bytes never written read as the fill byte.
class ByteMemory {
 public:
  /// Bytes written at consecutive addresses from start.
  struct Run {
    uint64_t start = 0;
    std::vector<uint8_t> bytes;
    uint64_t end() const { return start + bytes.size(); }
  };

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
  bool write(uint64_t address, uint8_t value) { return write(address, std::span<const uint8_t>(&value, 1)); }
  /// Writes bytes from address upward; false when any byte would fall outside
  /// (then nothing is written).
  bool write(uint64_t address, std::span<const uint8_t> bytes);
  /// Every written byte (bytes equal to fill included) as runs by ascending
  /// address; no two runs overlap or touch.
  const std::vector<Run>& runs() const { return runs_; }

 private:
  uint64_t size_ = 0;
  uint8_t fill_ = 0;
  std::vector<Run> runs_;
};

}  // namespace tbt::sim
