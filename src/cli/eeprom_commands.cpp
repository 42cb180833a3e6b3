#include "cli/eeprom_commands.h"

#include <algorithm>
#include <memory>
#include <ostream>
#include <span>
#include <vector>

#include "cli/progress_line.h"
#include "eeprom/ee_register.h"
#include "platform/text.h"
#include "toolkit/utilities.h"

namespace tbt::cli {
namespace {

// EEPROM and NVM mailbox addresses are 16 bits wide.
constexpr uint64_t kMaxAddress = 0xFFFF;
constexpr uint32_t kDumpRow = 16;

ThunderboltUserClientUtils& utils() { return ThunderboltUserClientUtils::sharedInstance(); }

// The switch, the address and, for reads, the length the options name.
struct Target {
  LocalRouterHandle handle;
  uint16_t offset = 0;
  uint32_t length = 0;
};

bool chooseTarget(CommandContext& context, Target& target) {
  uint64_t route = 0, offset = 0, length = 0;
  uint8_t routerID = 0;
  if (!context.router("route", route, routerID) || !context.number("offset", kMaxAddress, offset) ||
      !context.blockSize("length", "offset", offset, kSixteenBitAddresses, length))
    return false;
  target.handle.setRoute(route);
  target.handle.setRouterID(routerID);
  target.offset = static_cast<uint16_t>(offset);
  target.length = static_cast<uint32_t>(length);
  return true;
}

// Rows of 16 bytes, each led by the address of its first byte.
void printBytes(std::ostream& out, uint32_t address, std::span<const uint8_t> bytes) {
  for (size_t row = 0; row < bytes.size(); row += kDumpRow)
    out << textf("0x%04zx: %s\n", address + row,
                 hexText(bytes.subspan(row, std::min<size_t>(kDumpRow, bytes.size() - row))).c_str());
}

// The DFT capability that holds the switch's EEPROM pins.
bool findEepromPins(CommandContext& context, Target& target, uint8_t& dft) {
  const Status s = utils().findCapabilityAtRouterHandle(dft, eeprom::kDftCapability, eeprom::kCapabilityMask,
                                                        target.handle, 0, kDeviceSpace);
  if (s != status::kSuccess) context.failure("no EEPROM pins (DFT capability): " + describeStatus(s));
  return s == status::kSuccess;
}

int runEepromRead(CommandContext& context) {
  Target target;
  uint8_t dft = 0;
  if (!chooseTarget(context, target)) return kExitUsage;
  if (!findEepromPins(context, target, dft)) return kExitFailure;
  std::vector<uint8_t> bytes(target.length);
  std::unique_ptr<ProgressLine> progress = progressLineFor(context, "bytes");
  const Status s = utils().eeMultiByteRead(bytes.data(), target.length, target.offset, target.handle, dft,
                                           progress.get());
  progress.reset();  // erased before anything else is written
  if (s != status::kSuccess) return context.failure("EEPROM read failed: " + describeStatus(s));
  printBytes(context.out(), target.offset, bytes);
  return kExitSuccess;
}

int runEepromWrite(CommandContext& context) {
  Target target;
  std::vector<uint8_t> bytes;
  if (!chooseTarget(context, target) || !context.hexBytes("data", kSixteenBitAddresses.size, bytes) ||
      !context.blockFits("data", bytes.size(), "offset", target.offset, kSixteenBitAddresses))
    return kExitUsage;
  uint8_t dft = 0;
  if (!findEepromPins(context, target, dft)) return kExitFailure;
  const Status s =
      utils().eeMultiByteWrite(bytes.data(), static_cast<uint32_t>(bytes.size()), target.offset, target.handle, dft);
  if (s != status::kSuccess) return context.failure("EEPROM write failed: " + describeStatus(s));
  context.out() << textf("wrote %zu bytes at 0x%04x\n", bytes.size(), target.offset);
  return kExitSuccess;
}

int runNvmRead(CommandContext& context) {
  Target target;
  if (!chooseTarget(context, target)) return kExitUsage;
  std::vector<uint8_t> bytes(target.length);
  std::unique_ptr<ProgressLine> progress = progressLineFor(context, "bytes");
  const Status s = utils().nvmRead(bytes.data(), target.length, target.offset, target.handle, progress.get());
  progress.reset();  // erased before anything else is written
  if (s != status::kSuccess) return context.failure("NVM read failed: " + describeStatus(s));
  printBytes(context.out(), target.offset, bytes);
  return kExitSuccess;
}

constexpr OptionSpec kRoute = {.name = "route", .valueName = "R", .help = "the switch's route string", .required = true};
constexpr OptionSpec kOffset = {.name = "offset", .valueName = "O", .help = "the first byte's address (16 bits)",
                                .required = true};
constexpr OptionSpec kLength = {.name = "length", .valueName = "N", .help = "how many bytes", .required = true};

const OptionSpec kReadOptions[] = {kRoute, kRouterIDOption, kOffset, kLength};
const OptionSpec kWriteOptions[] = {
    kRoute, kRouterIDOption, kOffset,
    {.name = "data", .valueName = "HEX", .help = "the bytes to write, as hex digit pairs", .required = true}};

const Command kEepromCommands[] = {
    {.name = "read", .summary = "read bytes of a switch's EEPROM, each read twice until both agree",
     .details = "Drives the EEPROM's pins through the switch's DFT capability. Addresses are\n"
                "16 bits wide: the bytes read end at 0xFFFF at the latest. Numbers are decimal or\n"
                "0x-hex.\n",
     .options = kReadOptions, .needsHost = true, .writes = true, .run = runEepromRead},
    {.name = "write", .summary = "write bytes to a switch's EEPROM, each read back",
     .details = "Drives the EEPROM's pins through the switch's DFT capability. Addresses are\n"
                "16 bits wide: the bytes written end at 0xFFFF at the latest. A simulated host\n"
                "keeps the change for this run only.\n",
     .options = kWriteOptions, .needsHost = true, .writes = true, .run = runEepromWrite},
};

const Command kNvmCommands[] = {
    {.name = "read", .summary = "read bytes of a switch's NVM",
     .details = "Reads through the link controller's NVM mailbox in 64-byte requests; a switch\n"
                "without a link controller is read from its EEPROM instead. The mailbox takes\n"
                "dword-aligned addresses, 16 bits wide: the bytes read end at 0xFFFF at the latest.\n"
                "Numbers are decimal or 0x-hex.\n",
     .options = kReadOptions, .needsHost = true, .writes = true, .run = runNvmRead},
};

const CommandFamily kEepromFamily = {"eeprom", "a switch's serial EEPROM: verified reads and writes", kEepromCommands};
const CommandFamily kNvmFamily = {"nvm", "a switch's NVM through its link controller", kNvmCommands};

}  // namespace

const CommandFamily& eepromFamily() { return kEepromFamily; }
const CommandFamily& nvmFamily() { return kNvmFamily; }

}  // namespace tbt::cli
