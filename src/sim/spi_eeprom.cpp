#include "sim/spi_eeprom.h"

namespace tbt::sim {
namespace {

constexpr uint8_t kWriteStatus = 0x01;
constexpr uint8_t kWrite = 0x02;
constexpr uint8_t kRead = 0x03;
constexpr uint8_t kWriteDisable = 0x04;
constexpr uint8_t kReadStatus = 0x05;
constexpr uint8_t kWriteEnable = 0x06;

// Bits clocked in by the end of the address and of the data byte.
constexpr unsigned kAddressEnd = 24;
constexpr unsigned kWriteEnd = 32;
constexpr unsigned kWriteStatusEnd = 16;

// Status register: write in progress, the latch's bit, and the bits a status
// write stores (block protect 1..0, write-protect enable).
constexpr uint8_t kWriteInProgressBit = 0x01;
constexpr uint8_t kLatchBit = 0x02;
constexpr uint8_t kStoredStatusBits = 0x8C;

}  // namespace

SpiEeprom::SpiEeprom(ByteMemory& memory, OutputFault fault, Clock clock)
    : memory_(memory), fault_(std::move(fault)), now_(std::move(clock)) {}

bool SpiEeprom::writeInProgress() const { return now_() < busyUntil_; }

uint8_t SpiEeprom::statusRegister() const {
  return static_cast<uint8_t>(status_ | (writeEnabled_ ? kLatchBit : 0) |
                              (writeInProgress() ? kWriteInProgressBit : 0));
}

void SpiEeprom::setWires(bool chipSelect, bool clock, bool dataIn) {
  if (chipSelect && selected_) {
    selected_ = false;
    deselect();
  } else if (!chipSelect && !selected_ && chipSelectSeenHigh_) {
    // The clock's level at the moment of selection is no edge.
    selected_ = true;
    select();
  } else if (selected_ && clock != clock_) {
    clock ? risingEdge(dataIn) : fallingEdge();
  }
  chipSelectSeenHigh_ = chipSelect;
  clock_ = clock;
}

void SpiEeprom::release() {
  if (selected_) {
    selected_ = false;
    deselect();
  }
  chipSelectSeenHigh_ = false;
}

void SpiEeprom::select() {
  phase_ = Phase::Instruction;
  shift_ = 0;
  bits_ = 0;
  outputPending_ = false;
  driving_ = false;
}

void SpiEeprom::deselect() {
  if (phase_ == Phase::Ready) {
    switch (instruction_) {
      case kWriteEnable:
        writeEnabled_ = true;
        break;
      case kWriteDisable:
        writeEnabled_ = false;
        break;
      // A write starts the internal write cycle and clears the latch.
      case kWrite:
        if (writeEnabled_) memory_.write(wrap(address_), data_);
        if (writeEnabled_) busyUntil_ = now_() + kWriteCycleMicroseconds;
        writeEnabled_ = false;
        break;
      case kWriteStatus:
        if (writeEnabled_) status_ = data_ & kStoredStatusBits;
        if (writeEnabled_) busyUntil_ = now_() + kWriteCycleMicroseconds;
        writeEnabled_ = false;
        break;
    }
  }
  phase_ = Phase::Ignore;
  outputPending_ = false;
  driving_ = false;
}

void SpiEeprom::risingEdge(bool dataIn) {
  if (phase_ == Phase::Output) {
    // The host samples now: an injected fault corrupts what it sees.
    const bool fromMemory = instruction_ == kRead;
    if (fault_ && fault_(fromMemory ? std::optional<uint32_t>(address_) : std::nullopt, outBit_)) out_ = !out_;
    return;
  }
  if (phase_ == Phase::Ignore) return;
  if (phase_ == Phase::Ready || outputPending_) {
    // Clocks beyond a complete instruction void it.
    phase_ = Phase::Ignore;
    outputPending_ = false;
    return;
  }
  shift_ = (shift_ << 1) | (dataIn ? 1u : 0u);
  ++bits_;
  if (phase_ == Phase::Instruction && bits_ == 8) {
    instruction_ = static_cast<uint8_t>(shift_);
    instructionTaken();
  } else if (phase_ == Phase::Address && bits_ == kAddressEnd) {
    address_ = shift_ & 0xFFFF;
    if (instruction_ == kRead)
      outputPending_ = true;
    else
      phase_ = Phase::DataIn;
  } else if (phase_ == Phase::DataIn && bits_ == (instruction_ == kWrite ? kWriteEnd : kWriteStatusEnd)) {
    data_ = static_cast<uint8_t>(shift_);
    phase_ = Phase::Ready;
  }
}

void SpiEeprom::instructionTaken() {
  // During a write cycle only the status register answers.
  if (instruction_ != kReadStatus && writeInProgress()) {
    phase_ = Phase::Ignore;
    return;
  }
  switch (instruction_) {
    case kWriteEnable:
    case kWriteDisable:
      phase_ = Phase::Ready;
      break;
    case kRead:
    case kWrite:
      phase_ = Phase::Address;
      break;
    case kReadStatus:
      outputPending_ = true;
      break;
    case kWriteStatus:
      phase_ = Phase::DataIn;
      break;
    default:
      phase_ = Phase::Ignore;
  }
}

void SpiEeprom::fallingEdge() {
  if (outputPending_) {
    outputPending_ = false;
    phase_ = Phase::Output;
    outBit_ = 8;
  } else if (phase_ != Phase::Output) {
    return;
  }
  if (outBit_ == 0) {
    // On to the next byte: a read goes on at the next address, a status read
    // repeats the register.
    if (instruction_ == kRead) address_ = (address_ + 1) & 0xFFFF;
    outBit_ = 8;
  }
  if (outBit_ == 8) outByte_ = instruction_ == kRead ? memory_.read(wrap(address_)) : statusRegister();
  --outBit_;
  presentBit();
}

void SpiEeprom::presentBit() {
  out_ = (outByte_ >> outBit_) & 1u;
  driving_ = true;
}

uint32_t SpiEeprom::wrap(uint32_t address) const {
  return memory_.size() == 0 ? address : static_cast<uint32_t>(address % memory_.size());
}

}  // namespace tbt::sim
