#pragma once
// The DFT capability's EEPROM pin register and the serial EEPROM behind it.
//
// The register is device-space double word DFT + 4, where DFT is the
// capability whose header masked with 0xFFFF00 is 0x010500 (placed as
// capability_chain.h says). Bits: 0 SK,
// 1 CS (low selects), 2 DI, 3 DO (driven by the EEPROM), 4 BB (the host owns
// the pins). Every other bit is plain storage; unless the host file sets the
// register, it comes out of reset with CS high. The EEPROM sees the host's
// wires only while BB is set; otherwise it rests deselected, as when the
// switch's own firmware has the pins, and a host that takes the pins must
// raise CS and lower it again to select the part (see spi_eeprom.h). A router
// gets the model when its host file describes an "eeprom" and declares a DFT
// capability (see capability_chain.h).
//
// Faults (host-file "faults" or SimHost::addFault; "status" is not used):
//   "eeprom-bb-held"  each read of the register that it fires on shows BB set
//                     (another agent holds the pins); times -1 holds it forever.
//   "eeprom-do-flip"  checked at each rising clock edge that samples a bit the
//                     EEPROM drives: "address" is the byte address being read
//                     (a status-register read has none, so only faults without
//                     "address" match it), "index" the bit number 7..0; when
//                     it fires the host samples that bit inverted. Matches,
//                     and so skip and times, are counted per bit.
#include <cstdint>
#include <memory>
#include <string_view>

#include "sim/models.h"
#include "sim/router.h"
#include "sim/spi_eeprom.h"

namespace tbt::sim {

inline constexpr std::string_view kFaultEepromOwnerHeld = "eeprom-bb-held";
inline constexpr std::string_view kFaultEepromDataOutFlip = "eeprom-do-flip";

class EepromPinsModel : public RegisterModel {
 public:
  /// The pin register at device-space double word pinRegister of router,
  /// with an EEPROM storing into memory.
  EepromPinsModel(SimHost& host, Router& router, uint32_t pinRegister, ByteMemory& memory);
  EepromPinsModel(const EepromPinsModel&) = delete;
  EepromPinsModel& operator=(const EepromPinsModel&) = delete;

  bool handles(uint32_t port, uint32_t space, uint32_t index) const override;
  Status read(uint32_t port, uint32_t space, uint32_t index, uint32_t& value) override;
  Status write(uint32_t port, uint32_t space, uint32_t index, uint32_t value) override;

  uint32_t pinRegister() const { return pinRegister_; }
  const SpiEeprom& eeprom() const { return eeprom_; }

 private:
  SimHost& host_;
  Router& router_;
  uint32_t pinRegister_;
  SpiEeprom eeprom_;
};

/// Attaches the pin register model when router has an "eeprom" and a DFT capability.
void attachEepromPins(SimHost& host, Router& router);

/// The pin model attached to router, or null.
inline EepromPinsModel* eepromPinsOf(const Router& router) { return router.modelOf<EepromPinsModel>(); }

}  // namespace tbt::sim
