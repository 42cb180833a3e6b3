#pragma once
// tbkit's EEPROM and NVM commands:
//   tbkit eeprom read    verified reads of a switch's serial EEPROM (bit-banged)
//   tbkit eeprom write   verified writes to it
//   tbkit nvm read       reads of a switch's NVM through its link controller
#include "cli/tbkit_main.h"

namespace tbt::cli {

const CommandFamily& eepromFamily();
const CommandFamily& nvmFamily();

}  // namespace tbt::cli
