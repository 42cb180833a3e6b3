// EEPROM transactions (one instruction between select and deselect) and the
// verified multi-byte reads and writes built on them.
#include "eeprom/ee_register.h"
#include "platform/platform.h"
#include "platform/text.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using namespace eeprom;

// The EEPROM's busy bit is never polled: this pause ahead of every byte-level
// transaction covers the write cycle of the one before it.
constexpr uint64_t kWriteCycleMicroseconds = 2000;
// Attempts per byte of the verified reads and writes.
constexpr int kVerifyAttempts = 10;

struct Frame {
  bool writeCycleWait;  // pause for the previous write cycle first
  bool writeEnable;     // a write: between write enable and write disable
};
constexpr Frame kCommandFrame{false, false};
constexpr Frame kReadFrame{true, false};
constexpr Frame kWriteFrame{true, true};

// One transaction; body clocks the instruction and what goes with it. Only
// the write enable, taking the pins and selecting the EEPROM decide the
// result: a failure while clocking the body is not reported, and callers that
// care detect it by reading back. Whatever was taken is given back on the way
// out, whatever happened in between.
template <typename Body>
Status runTransaction(ThunderboltUserClientUtils& utils, Frame frame, RouterHandle& handle, uint8_t dftOffset,
                      Body&& body) {
  if (frame.writeCycleWait) host().sleepMicroseconds(kWriteCycleMicroseconds);
  Status s = status::kSuccess;
  if (frame.writeEnable) s = utils.eeCommandWrite(kWriteEnableInstruction, handle, dftOffset);
  const bool enabled = frame.writeEnable && s == status::kSuccess;
  bool owned = false;
  bool selected = false;
  if (s == status::kSuccess) owned = (s = utils.eeBB1forRouterHandle(handle, dftOffset)) == status::kSuccess;
  if (owned) selected = (s = utils.eeCS0forRouterHandle(handle, dftOffset)) == status::kSuccess;
  if (selected) {
    body();
    utils.eeCS1forRouterHandle(handle, dftOffset);
  }
  if (owned) utils.eeBB0forRouterHandle(handle, dftOffset);
  if (enabled) utils.eeCommandWrite(kWriteDisableInstruction, handle, dftOffset);
  return s;
}

// Runs attempt(i, address) for byte i of count from startAddress up, up to
// kVerifyAttempts times until it succeeds. The first byte whose attempts all
// fail ends the run with its last attempt's status.
template <typename Attempt>
Status forEachByte(uint32_t count, uint16_t startAddress, Attempt&& attempt) {
  for (uint32_t i = 0; i < count; ++i) {
    // Addresses are 16 bits wide: past 0xFFFF they go on at 0.
    const auto address = static_cast<uint16_t>(startAddress + i);
    Status s = status::kSuccess;
    for (int n = 0; n < kVerifyAttempts; ++n)
      if ((s = attempt(i, address)) == status::kSuccess) break;
    if (s != status::kSuccess) return s;
  }
  return status::kSuccess;
}

}  // namespace

Status ThunderboltUserClientUtils::eeCommandWrite(uint8_t instruction, RouterHandle& forRouterHandle,
                                                  uint8_t withDFTOffset) {
  return runTransaction(*this, kCommandFrame, forRouterHandle, withDFTOffset,
                        [&] { eeDataWrite(instruction, forRouterHandle, withDFTOffset); });
}

Status ThunderboltUserClientUtils::eeByteRead(uint8_t& outByte, uint16_t address, RouterHandle& forRouterHandle,
                                              uint8_t withDFTOffset) {
  return runTransaction(*this, kReadFrame, forRouterHandle, withDFTOffset, [&] {
    eeDataWrite(kReadInstruction, forRouterHandle, withDFTOffset);
    eeAddressWrite(address, forRouterHandle, withDFTOffset);
    eeDataRead(outByte, forRouterHandle, withDFTOffset);
  });
}

Status ThunderboltUserClientUtils::eeByteWrite(uint8_t byte, uint16_t address, RouterHandle& forRouterHandle,
                                               uint8_t withDFTOffset) {
  return runTransaction(*this, kWriteFrame, forRouterHandle, withDFTOffset, [&] {
    eeDataWrite(kWriteInstruction, forRouterHandle, withDFTOffset);
    eeAddressWrite(address, forRouterHandle, withDFTOffset);
    eeDataWrite(byte, forRouterHandle, withDFTOffset);
  });
}

Status ThunderboltUserClientUtils::eeReadStatusRegister(uint8_t& outValue, RouterHandle& forRouterHandle,
                                                        uint8_t withDFTOffset) {
  return runTransaction(*this, kReadFrame, forRouterHandle, withDFTOffset, [&] {
    eeDataWrite(kReadStatusInstruction, forRouterHandle, withDFTOffset);
    eeDataRead(outValue, forRouterHandle, withDFTOffset);
    host().print(textf("Data out: 0x%x\n", outValue));
  });
}

Status ThunderboltUserClientUtils::eeWriteStatusRegister(uint8_t value, RouterHandle& forRouterHandle,
                                                         uint8_t withDFTOffset) {
  return runTransaction(*this, kWriteFrame, forRouterHandle, withDFTOffset, [&] {
    eeDataWrite(kWriteStatusInstruction, forRouterHandle, withDFTOffset);
    eeDataWrite(value, forRouterHandle, withDFTOffset);
  });
}

Status ThunderboltUserClientUtils::eeMultiByteRead(uint8_t* buffer, uint32_t count, uint16_t startAddress,
                                                   RouterHandle& forRouterHandle, uint8_t withDFTOffset,
                                                   Progress* progress) {
  advance(progress, 0, count);
  return forEachByte(count, startAddress, [&](uint32_t i, uint16_t address) {
    Status s = eeByteRead(buffer[i], address, forRouterHandle, withDFTOffset);
    uint8_t again = 0;
    if (s == status::kSuccess) s = eeByteRead(again, address, forRouterHandle, withDFTOffset);
    if (s == status::kSuccess && again != buffer[i]) s = status::kNotReadable;
    if (s == status::kSuccess) advance(progress, i + 1, count);
    return s;
  });
}

Status ThunderboltUserClientUtils::eeMultiByteWrite(const uint8_t* buffer, uint32_t count, uint16_t startAddress,
                                                    RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return forEachByte(count, startAddress, [&](uint32_t i, uint16_t address) {
    Status s = eeByteWrite(buffer[i], address, forRouterHandle, withDFTOffset);
    uint8_t readBack = 0;
    if (s == status::kSuccess && eeByteRead(readBack, address, forRouterHandle, withDFTOffset) != status::kSuccess)
      s = status::kNotReadable;
    else if (s == status::kSuccess && readBack != buffer[i])
      s = status::kNotWritable;
    return s;
  });
}

}  // namespace tbt
