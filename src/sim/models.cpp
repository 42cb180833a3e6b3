#include "sim/models.h"

#include <algorithm>

#include "sim/config_bridge_model.h"
#include "sim/eeprom_pins_model.h"
#include "sim/faults.h"
#include "sim/lc_mailbox_model.h"
#include "sim/lc_memory_window_model.h"
#include "sim/nvm_mailbox_model.h"
#include "sim/sim_host.h"

namespace tbt::sim {

Status IecsRegisterFile::read(uint32_t offset, uint8_t* data, uint32_t length) {
  for (uint32_t i = 0; i < length; ++i) data[i] = bytes_.read(uint64_t{offset} + i);
  return status::kSuccess;
}

Status IecsRegisterFile::write(uint32_t offset, const uint8_t* data, uint32_t length) {
  return bytes_.write(offset, std::span<const uint8_t>(data, length)) ? status::kSuccess : status::kBadArgument;
}

void I2cRegisterFile::transfer(const uint8_t* writeData, uint32_t writeLength, uint8_t* readData,
                               uint32_t readLength) {
  if (writeLength > 0) pointer_ = writeData[0];
  for (uint32_t i = 1; i < writeLength; ++i) bytes_.write(pointer_++, writeData[i]);
  for (uint32_t i = 0; i < readLength; ++i) readData[i] = bytes_.read(pointer_++);
}

void attachRouterModels(SimHost& host, Router& router) {
  // A model attached later is asked first.
  attachEepromPins(host, router);
  attachIecsMailboxes(host, router);
  attachNvmMailbox(host, router);
  attachLcMemoryWindows(host, router);
}

void attachModels(SimHost& host) {
  for (Router* router : host.routers()) attachRouterModels(host, *router);
}

bool isKnownFaultOp(std::string_view name) {
  static constexpr std::string_view kOps[] = {
      kFaultConfigRead, kFaultConfigWrite,     kFaultI2c,         kFaultIecsRead,      kFaultIecsWrite,
      kFaultLcMailbox,  kFaultConfigBridge,    kFaultNvmError,    kFaultNvmStuck,      kFaultEepromOwnerHeld,
      kFaultEepromDataOutFlip};
  return std::find(std::begin(kOps), std::end(kOps), name) != std::end(kOps);
}

}  // namespace tbt::sim
