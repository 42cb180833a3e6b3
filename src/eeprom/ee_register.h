#pragma once
// The switch's EEPROM and NVM as the host reaches them: the DFT capability's
// pin register, the serial EEPROM's instruction set, and the link
// controller's NVM mailbox. Layouts only; the operations are methods of
// ThunderboltUserClientUtils (ee_pins.cpp, ee_transactions.cpp, nvm.cpp).
#include <cstdint>

#include "kernel/config_space.h"

namespace tbt::eeprom {

// ---- DFT capability (device space) ----

/// The DFT vendor-specific capability: capability ID 5, vendor-specific ID 1.
inline constexpr uint32_t kDftCapability = 0x010500;
/// The link-controller vendor-specific capability: ID 5, vendor-specific ID 6.
inline constexpr uint32_t kLinkControllerCapability = 0x060500;
/// Capability ID and vendor-specific ID of a header.
inline constexpr uint32_t kCapabilityMask = 0xFFFF00;

/// Double words of the DFT capability, relative to its first.
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

/// Link-controller capability double word 2: where the mailbox block starts
/// (relative to the capability) and the capability's length in double words.
inline constexpr uint32_t kLinkControllerLayoutDword = 2;
inline constexpr Bits kMailboxOffset{15, 8};
inline constexpr Bits kLinkControllerLength{27, 16};

/// Double words relative to the mailbox base.
inline constexpr uint32_t kNvmDataDword = 116;     // 16 data double words
inline constexpr uint32_t kNvmCommandDword = 156;  // request / status
inline constexpr uint32_t kNvmDataDwords = 16;
/// The shortest link-controller capability that holds the NVM mailbox.
inline constexpr uint32_t kMinimumLinkControllerLength = 156;

/// Status bit 31: the request is still running.
inline constexpr uint32_t kNvmBusy = 0x80000000;

}  // namespace tbt::eeprom
