#pragma once
// A serial SPI EEPROM seen from its four wires: chip select (active low),
// clock, data in and data out. It samples data in on the rising clock edge
// while selected, most significant bit first, and changes data out on the
// falling edge, so a host samples it while the clock is high.
//
// Chip select acts on its edges: the part is selected when chip select falls
// from a high level it has seen, and deselected when it rises. At power-up,
// and whenever the wires are released (nobody drives them), the part has seen
// no high level yet, so a chip select that is already low selects nothing.
//
// Instructions: 0x06 sets the write-enable latch, 0x04 clears it; 0x02 with a
// 16-bit address and one data byte writes that byte; 0x03 with a 16-bit
// address reads from there on, byte after byte while clocks keep coming;
// 0x05 reads the status register (repeatedly); 0x01 with one byte writes it.
// A write (0x02, 0x01) takes effect when chip select rises after exactly its
// bits, only with the latch set, and clears the latch; any other instruction,
// or one clocked with extra bits, does nothing. The write then runs its
// internal write cycle (kWriteCycleMicroseconds of simulated time): until it
// is over the part takes only the read-status instruction, and leaves data
// out undriven (reading low) for any other. Status register: bit 0 write in
// progress, bit 1 the latch, bits 2, 3 and 7 as last written (stored,
// protection is not enforced).
//
// Addresses at or beyond the memory's size wrap around it, as a small part
// ignores the address bits it does not have.
#include <cstdint>
#include <functional>
#include <optional>

#include "sim/memory.h"

namespace tbt::sim {

/// How long the part's internal write cycle takes after a write.
inline constexpr uint64_t kWriteCycleMicroseconds = 1500;

class SpiEeprom {
 public:
  /// Asked at every rising clock edge that samples an output bit: the byte
  /// address being read (nullopt for the status register) and the bit number
  /// (7..0); true inverts that bit until the next falling edge.
  using OutputFault = std::function<bool(std::optional<uint32_t> address, unsigned bit)>;

  /// The simulated time now, in microseconds.
  using Clock = std::function<uint64_t()>;

  /// An EEPROM storing its bytes in memory (which must outlive it).
  SpiEeprom(ByteMemory& memory, OutputFault fault, Clock clock);

  /// The wires as the host now drives them (chipSelect high deselects);
  /// edges are taken from the change.
  void setWires(bool chipSelect, bool clock, bool dataIn);
  /// Nobody drives the wires any more: the part is deselected and has seen
  /// no chip-select level.
  void release();
  /// The data-out wire: the bit being shifted out, low when not driven.
  bool dataOut() const { return driving_ && out_; }

  bool writeEnabled() const { return writeEnabled_; }
  /// True while the internal write cycle of the last write runs.
  bool writeInProgress() const;
  /// The status register as instruction 0x05 reads it.
  uint8_t statusRegister() const;

 private:
  enum class Phase { Instruction, Address, DataIn, Ready, Output, Ignore };

  void select();
  void deselect();
  void risingEdge(bool dataIn);
  void fallingEdge();
  void instructionTaken();
  void presentBit();
  uint32_t wrap(uint32_t address) const;

  ByteMemory& memory_;
  OutputFault fault_;
  Clock now_;
  bool chipSelectSeenHigh_ = false;
  bool selected_ = false;
  bool clock_ = false;
  Phase phase_ = Phase::Ignore;
  uint32_t shift_ = 0;
  unsigned bits_ = 0;
  uint8_t instruction_ = 0;
  uint32_t address_ = 0;
  uint8_t data_ = 0;
  bool outputPending_ = false;  // output starts at the next falling edge
  uint8_t outByte_ = 0;
  unsigned outBit_ = 0;
  bool driving_ = false;
  bool out_ = false;
  bool writeEnabled_ = false;
  uint8_t status_ = 0;  // the stored (writable) status bits
  uint64_t busyUntil_ = 0;
};

}  // namespace tbt::sim
