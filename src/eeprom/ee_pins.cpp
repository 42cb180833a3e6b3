// The EEPROM's wires, one register access at a time, and the bits and bytes
// clocked over them.
#include "eeprom/ee_register.h"
#include "platform/platform.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using namespace eeprom;

// Another agent (the switch's own firmware, another tool) may hold the pins;
// the wait for it to let go is bounded to about a second.
constexpr uint32_t kOwnershipPolls = 10000;
constexpr uint64_t kOwnershipPollMicroseconds = 100;

// The DFT offset is an 8-bit index; the register lies four double words on.
uint32_t pinRegister(uint8_t dftOffset) { return uint32_t{dftOffset} + kPinRegisterDword; }

// Drives one wire high or low.
Status driveWire(ThunderboltUserClientUtils& utils, Wire wire, bool high, RouterHandle& handle, uint8_t dftOffset) {
  return utils.eeWriteWithMask(high ? wire.mask : 0, wire.mask, handle, dftOffset);
}

// Sets DI and gives the EEPROM one clock pulse to take it in.
Status clockDataIn(ThunderboltUserClientUtils& utils, bool high, RouterHandle& handle, uint8_t dftOffset) {
  Status s = driveWire(utils, kDataIn, high, handle, dftOffset);
  if (s == status::kSuccess) s = utils.eeSK1forRouterHandle(handle, dftOffset);
  if (s == status::kSuccess) s = utils.eeSK0forRouterHandle(handle, dftOffset);
  return s;
}

// Clocks out the low `width` bits of value, most significant first.
Status shiftOut(ThunderboltUserClientUtils& utils, uint32_t value, unsigned width, RouterHandle& handle,
                uint8_t dftOffset) {
  Status s = status::kSuccess;
  for (unsigned bit = width; bit-- > 0 && s == status::kSuccess;)
    s = (value >> bit) & 1u ? utils.eeDI1forRouterHandle(handle, dftOffset)
                            : utils.eeDI0forRouterHandle(handle, dftOffset);
  return s;
}

}  // namespace

Status ThunderboltUserClientUtils::eeRead(uint32_t& outValue, RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return configReadWithRouterHandle(forRouterHandle, 0, kDeviceSpace, pinRegister(withDFTOffset), outValue);
}

Status ThunderboltUserClientUtils::eeWrite(uint32_t value, RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return configWriteWithRouterHandle(forRouterHandle, 0, kDeviceSpace, pinRegister(withDFTOffset), value);
}

Status ThunderboltUserClientUtils::eeWriteWithMask(uint32_t value, uint32_t mask, RouterHandle& forRouterHandle,
                                                   uint8_t withDFTOffset) {
  uint32_t current = 0;
  Status s = eeRead(current, forRouterHandle, withDFTOffset);
  if (s == status::kSuccess) s = eeWrite((current & ~mask) | value, forRouterHandle, withDFTOffset);
  return s;
}

Status ThunderboltUserClientUtils::eeBB1forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  for (uint32_t attempts = 0;;) {
    uint32_t pins = 0;
    Status s = eeRead(pins, forRouterHandle, withDFTOffset);
    if (s != status::kSuccess) return s;
    if ((pins & kBitBangOwner.mask) == 0) break;
    if (++attempts == kOwnershipPolls) return status::kExclusiveAccess;
    host().sleepMicroseconds(kOwnershipPollMicroseconds);
  }
  return driveWire(*this, kBitBangOwner, true, forRouterHandle, withDFTOffset);
}

Status ThunderboltUserClientUtils::eeBB0forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return driveWire(*this, kBitBangOwner, false, forRouterHandle, withDFTOffset);
}

Status ThunderboltUserClientUtils::eeCS1forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return driveWire(*this, kChipSelect, true, forRouterHandle, withDFTOffset);
}

Status ThunderboltUserClientUtils::eeCS0forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return driveWire(*this, kChipSelect, false, forRouterHandle, withDFTOffset);
}

Status ThunderboltUserClientUtils::eeSK1forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return driveWire(*this, kClock, true, forRouterHandle, withDFTOffset);
}

Status ThunderboltUserClientUtils::eeSK0forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return driveWire(*this, kClock, false, forRouterHandle, withDFTOffset);
}

Status ThunderboltUserClientUtils::eeDI1forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return clockDataIn(*this, true, forRouterHandle, withDFTOffset);
}

Status ThunderboltUserClientUtils::eeDI0forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return clockDataIn(*this, false, forRouterHandle, withDFTOffset);
}

Status ThunderboltUserClientUtils::eeDataWrite(uint8_t byte, RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  return shiftOut(*this, byte, 8, forRouterHandle, withDFTOffset);
}

Status ThunderboltUserClientUtils::eeAddressWrite(uint16_t address, RouterHandle& forRouterHandle,
                                                  uint8_t withDFTOffset) {
  return shiftOut(*this, address, 16, forRouterHandle, withDFTOffset);
}

Status ThunderboltUserClientUtils::eeDataRead(uint8_t& ioByte, RouterHandle& forRouterHandle, uint8_t withDFTOffset) {
  Status s = status::kSuccess;
  for (unsigned bit = 0; bit < 8 && s == status::kSuccess; ++bit) {
    ioByte = static_cast<uint8_t>(ioByte << 1);
    s = eeSK1forRouterHandle(forRouterHandle, withDFTOffset);
    uint32_t pins = 0;
    if (s == status::kSuccess) s = eeRead(pins, forRouterHandle, withDFTOffset);
    if (s == status::kSuccess && (pins & kDataOut.mask)) ioByte |= 1u;
    if (s == status::kSuccess) s = eeSK0forRouterHandle(forRouterHandle, withDFTOffset);
  }
  return s;
}

}  // namespace tbt
