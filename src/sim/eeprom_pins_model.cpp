#include "sim/eeprom_pins_model.h"

#include "sim/capability_chain.h"
#include "sim/register_fields.h"
#include "sim/sim_host.h"

namespace tbt::sim {
namespace {

constexpr uint32_t kPinRegisterOffset = 4;

constexpr BitField kClock{0, 0};
constexpr BitField kChipSelect{1, 1};
constexpr BitField kDataIn{2, 2};
constexpr BitField kDataOut{3, 3};
constexpr BitField kOwner{4, 4};

}  // namespace

void attachEepromPins(SimHost& host, Router& router) {
  if (!router.eeprom()) return;
  std::optional<uint32_t> dft = findDeviceCapability(router, kDftCapability, kVendorCapabilityMask);
  if (!dft) return;
  const uint32_t pins = *dft + kPinRegisterOffset;
  if (!router.isSet(0, kDeviceSpace, pins)) router.poke(0, kDeviceSpace, pins, kChipSelect.set(0, 1));
  router.attachModel(std::make_shared<EepromPinsModel>(host, router, pins, *router.eeprom()));
}

EepromPinsModel::EepromPinsModel(SimHost& host, Router& router, uint32_t pinRegister, ByteMemory& memory)
    : host_(host),
      router_(router),
      pinRegister_(pinRegister),
      eeprom_(memory, [this](std::optional<uint32_t> address, unsigned bit) {
        return host_
            .checkFault({.op = kFaultEepromDataOutFlip,
                         .controller = router_.controllerIndex(),
                         .route = router_.route(),
                         .index = bit,
                         .address = address})
            .has_value();
      }, [this] { return host_.nowMicroseconds(); }) {}

bool EepromPinsModel::handles(uint32_t port, uint32_t space, uint32_t index) const {
  return port == 0 && space == kDeviceSpace && index == pinRegister_;
}

Status EepromPinsModel::read(uint32_t port, uint32_t space, uint32_t index, uint32_t& value) {
  value = kDataOut.set(router_.peek(port, space, index), eeprom_.dataOut());
  const FaultQuery held{.op = kFaultEepromOwnerHeld,
                        .controller = router_.controllerIndex(),
                        .route = router_.route(),
                        .port = port,
                        .space = space,
                        .index = index};
  if (host_.checkFault(held)) value = kOwner.set(value, 1);
  return status::kSuccess;
}

Status EepromPinsModel::write(uint32_t port, uint32_t space, uint32_t index, uint32_t value) {
  router_.poke(port, space, index, kDataOut.set(value, 0));
  // Without BB the host's wires do not reach the EEPROM.
  if (kOwner.get(value) != 0)
    eeprom_.setWires(kChipSelect.get(value) != 0, kClock.get(value) != 0, kDataIn.get(value) != 0);
  else
    eeprom_.release();
  return status::kSuccess;
}

}  // namespace tbt::sim
