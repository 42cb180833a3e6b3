#pragma once
// The switch's EEPROM and NVM as the host reaches them: the DFT capability's
// pin register, the serial EEPROM's instruction set, and the NVM request in
// the link controller's mailbox. The capabilities' search keys and the
// mailbox geometry are shared with the other layers (kernel/config_space.h,
// toolkit/remote_router_handle.h). Layouts only; the operations are methods
// of ThunderboltUserClientUtils (ee_pins.cpp, ee_transactions.cpp, nvm.cpp).
#include <cstdint>

#include "kernel/config_space.h"

namespace tbt::eeprom {

// ---- DFT capability (device space) ----

/// The DFT capability's search key under the names the EEPROM commands use.
inline constexpr uint32_t kDftCapability = kDftCapabilityKey;
inline constexpr uint32_t kCapabilityMask = kVendorCapabilityMask;

/// Double words of the DFT capability (kDftCapabilityKey), relative to its first.
inline constexpr uint32_t kPinRegisterDword = 4;   // the EEPROM pin register
inline constexpr uint32_t kDromOffsetDword = 12;   // byte address of the DROM in the EEPROM

/// Wires of the pin register, one bit each. The host drives all but DO.
struct Wire {
  uint32_t mask;
};
inline constexpr Wire kClock{0x01};         // SK
inline constexpr Wire kChipSelect{0x02};    // CS, low selects the EEPROM
inline constexpr Wire kDataIn{0x04};        // DI, into the EEPROM
inline constexpr Wire kDataOut{0x08};       // DO, sampled by the host
inline constexpr Wire kBitBangOwner{0x10};  // BB, set while the host drives the pins

// ---- Serial EEPROM instructions ----

inline constexpr uint8_t kWriteStatusInstruction = 0x01;
inline constexpr uint8_t kWriteInstruction = 0x02;
inline constexpr uint8_t kReadInstruction = 0x03;
inline constexpr uint8_t kWriteDisableInstruction = 0x04;
inline constexpr uint8_t kReadStatusInstruction = 0x05;
inline constexpr uint8_t kWriteEnableInstruction = 0x06;

// ---- Link-controller NVM mailbox (device space) ----

/// The NVM request / status double word, relative to the mailbox base; the
/// data arrives in the mailbox's read-data double words.
inline constexpr uint32_t kNvmCommandDword = 156;
/// The shortest link-controller capability that holds the NVM mailbox.
inline constexpr uint32_t kMinimumLinkControllerLength = 156;

/// Status bit 31: the request is still running.
inline constexpr uint32_t kNvmBusy = 0x80000000;

}  // namespace tbt::eeprom
