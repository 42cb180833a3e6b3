#pragma once
// The decoders of a router's device-space capabilities, one per capability
// kind. Each prints the capability whose first double word is the printer's
// first, every line after its own read, and ends silently at the first read
// that fails (the printer keeps its status).
#include "reports/report_engine.h"

namespace tbt::reports {

/// I2C controller (vendor-specific ID 0).
void printI2cCapability(RegisterPrinter& p);
/// Design-for-test block (vendor-specific ID 1), with the EEPROM pin register.
void printDftCapability(RegisterPrinter& p);
/// Time management unit, vendor-specific form (vendor-specific ID 3).
void printTmuVendorCapability(RegisterPrinter& p);
/// Time management unit capability (capability ID 3).
void printTmuCapability(RegisterPrinter& p);
/// Analog block (vendor-specific ID 2): header and raw double words.
void printAnalogCapability(RegisterPrinter& p);
/// The link-controller capability (vendor-specific ID 6) and its blocks.
void printLinkControllerCapability(RegisterPrinter& p);

}  // namespace tbt::reports
