#include "driver/uid_recovery.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "driver/firmware_policy.h"
#include "driver/options.h"
#include "drom/checksums.h"
#include "drom/rom_record.h"
#include "platform/platform.h"
#include "platform/system_log.h"
#include "platform/text.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

// The UID header at the head of the DROM: CRC-8, then the UID, little-endian.
constexpr uint32_t kUIDSize = drom_header::kCrc32 - drom_header::kUid;

constexpr int kRecoveryAttempts = 15;
constexpr int kReadBackTries = 5;
// The EEPROM needs time after a write before it reads the new bytes back.
constexpr uint64_t kSettleMicroseconds = 10'000;
constexpr uint64_t kAttemptPauseMicroseconds = 100'000;

// The link controller's assembly serial number ("CM ASN"): 17 bytes at
// offset 18 of IECS device 1 on bus 36.
constexpr uint32_t kAsnBus = 0x24;
constexpr uint32_t kAsnDevice = 1;
constexpr uint8_t kAsnOffset = 0x12;
constexpr uint32_t kAsnLength = 17;

// The UID's fields made from the ASN: characters (counted from 1), the base
// they are written in, and the bits of the UID they fill.
struct AsnField {
  size_t firstCharacter;
  size_t length;
  int base;
  unsigned lowBit;
  unsigned width;
};
constexpr AsnField kAsnFields[] = {
    {4, 1, 10, 28, 4},
    {5, 2, 10, 22, 6},
    {7, 1, 10, 19, 3},
    {8, 4, 36, 4, 15},
};
constexpr const AsnField& kSerialField = kAsnFields[3];
constexpr unsigned kFirstPartBit = 48;
constexpr unsigned kSecondPartBit = 32;

// Buffer of the switch's registry path in the log line.
constexpr size_t kPathBufferSize = 512;

unsigned long long wide(uint64_t value) { return static_cast<unsigned long long>(value); }

uint64_t fieldMask(unsigned width) { return (uint64_t{1} << width) - 1; }

// What every access to one switch needs: the toolkit instance, the
// switch's handle and, for the EEPROM, where its DROM and DFT capability are.
struct SwitchAccess {
  ThunderboltUserClientUtils* utils = nullptr;
  std::unique_ptr<LocalRouterHandle> handle;
  uint16_t dromOffset = 0;
  uint8_t dftOffset = 0;
};

// Gets the instance and handle; general failure without them.
Status openSwitch(const RegistryEntry& displaySwitch, SwitchAccess& out) {
  out.utils = ThunderboltUserClientUtils::sharedInstanceForEntry(displaySwitch);
  if (out.utils) out.handle = out.utils->routerHandleFromRegistryEntry(displaySwitch);
  return out.utils && out.handle ? status::kSuccess : status::kGeneralFailure;
}

// openSwitch, then the DROM location (its status passed through).
Status openSwitchEeprom(const RegistryEntry& displaySwitch, SwitchAccess& out) {
  Status s = openSwitch(displaySwitch, out);
  uint32_t dromOffset = 0;
  if (s == status::kSuccess) s = out.utils->getDROMOffsetWithRouterHandle(*out.handle, dromOffset, out.dftOffset);
  out.dromOffset = static_cast<uint16_t>(dromOffset);
  return s;
}

// EEPROM address of a header field.
uint16_t headerAddress(const SwitchAccess& eeprom, uint32_t field) {
  return static_cast<uint16_t>(eeprom.dromOffset + field);
}

uint64_t uidFromBytes(const std::array<uint8_t, kUIDSize>& bytes) {
  uint64_t uid = 0;
  for (size_t i = kUIDSize; i-- > 0;) uid = (uid << 8) | bytes[i];
  return uid;
}

std::array<uint8_t, kUIDSize> bytesOfUID(uint64_t uid) {
  std::array<uint8_t, kUIDSize> bytes{};
  for (size_t i = 0; i < kUIDSize; ++i) bytes[i] = static_cast<uint8_t>(uid >> (8 * i));
  return bytes;
}

// One piece of the ASN parsed as the C library does: a piece that does not
// start with a digit of its base gives 0, parsing stops at the first non-digit.
unsigned long asnPiece(const char* asn, const AsnField& field) {
  char scratch[8] = {};
  std::memcpy(scratch, asn + field.firstCharacter - 1, field.length);
  return std::strtoul(scratch, nullptr, field.base);
}

// One read-back after a write: up to five reads, each failure followed by a
// pause. code receives the last read's status; the UID is taken only from a
// read that verified.
uint64_t readBack(const RegistryEntry& displaySwitch, Status& code) {
  for (int i = 0; i < kReadBackTries; ++i) {
    uint64_t read = readSwitchUID(displaySwitch, &code);
    if (code == status::kSuccess) return read;
    host().sleepMicroseconds(kSettleMicroseconds);
  }
  return 0;
}

// One attempt at writing the replacement and reading it back.
Status tryWriteUID(const RegistryEntry& displaySwitch, uint64_t replacement) {
  if (replacement == 0 || writeSwitchUID(displaySwitch, replacement) != status::kSuccess) {
    host().log("Error updating UID\n");
    return status::kNotWritable;
  }
  host().sleepMicroseconds(kSettleMicroseconds);
  Status code = status::kSuccess;
  const uint64_t taken = readBack(displaySwitch, code);
  if (taken == replacement && code != status::kIOError) return status::kSuccess;
  host().log(textf("Written UID (0x%016llx) does not match expected (0x%016llx), error = 0x%x\n", wide(taken),
                   wide(replacement), code));
  return status::kInternalError;
}

}  // namespace

uint64_t readSwitchUID(const RegistryEntry& displaySwitch, Status* code) {
  SwitchAccess eeprom;
  Status s = openSwitchEeprom(displaySwitch, eeprom);
  std::array<uint8_t, kUIDSize> bytes{};
  uint8_t stored = 0;
  // The header is read once: every byte is already read twice until two
  // reads agree, so a header that fails its CRC would only read the same
  // again. A mismatch gets no second chance.
  if (s == status::kSuccess)
    s = eeprom.utils->eeMultiByteRead(bytes.data(), kUIDSize, headerAddress(eeprom, drom_header::kUid),
                                      *eeprom.handle, eeprom.dftOffset);
  if (s == status::kSuccess)
    s = eeprom.utils->eeMultiByteRead(&stored, 1, headerAddress(eeprom, drom_header::kCrc8), *eeprom.handle,
                                      eeprom.dftOffset);
  if (s == status::kSuccess) {
    const uint8_t computed = crc8(bytes.data(), kUIDSize);
    if (computed != stored) {
      host().log(
          textf("CRC8 for UID failed to verify! UID: %016llx CRC8: 0x%02x\n", wide(uidFromBytes(bytes)), computed));
      s = status::kIOError;
    }
  }
  if (code) *code = s;
  return uidFromBytes(bytes);
}

uint64_t makeUIDFromASN(const RegistryEntry& displaySwitch, uint16_t firstPart, uint16_t secondPart) {
  SwitchAccess access;
  if (openSwitch(displaySwitch, access) != status::kSuccess) return 0;
  char asn[kAsnLength + 1] = {};
  const Status s = access.utils->iecsReadWithLocalRouterHandle(*access.handle, kAsnBus, kAsnDevice, kAsnOffset,
                                                                kAsnLength, reinterpret_cast<uint8_t*>(asn));
  asn[kAsnLength] = '\0';
  host().log(textf("CM ASN '%s'\n", escapeControls(asn).c_str()));
  if (s != status::kSuccess) return 0;
  uint64_t uid = (uint64_t{firstPart} << kFirstPartBit) | (uint64_t{secondPart} << kSecondPartBit);
  for (const AsnField& field : kAsnFields) {
    const unsigned long value = asnPiece(asn, field);
    if (&field == &kSerialField && value > fieldMask(field.width))
      host().log(textf("Truncating serial 0x%lx\n", value));
    uid |= (value & fieldMask(field.width)) << field.lowBit;
  }
  return uid;
}

Status writeSwitchUID(const RegistryEntry& displaySwitch, uint64_t uid) {
  SwitchAccess eeprom;
  Status s = openSwitchEeprom(displaySwitch, eeprom);
  if (s != status::kSuccess) return s;
  const std::array<uint8_t, kUIDSize> bytes = bytesOfUID(uid);
  const uint8_t crc = crc8(bytes.data(), kUIDSize);
  if (!driverFlags().uid) {
    host().log("Will not recover UID\n");
    return status::kSuccess;
  }
  // The CRC goes first: a header interrupted between the two writes fails
  // its check and is repaired again on the next run.
  s = eeprom.utils->eeMultiByteWrite(&crc, 1, headerAddress(eeprom, drom_header::kCrc8), *eeprom.handle,
                                     eeprom.dftOffset);
  if (s != status::kSuccess) {
    host().log("Could not write CRC8\n");
    return s;
  }
  return eeprom.utils->eeMultiByteWrite(bytes.data(), kUIDSize, headerAddress(eeprom, drom_header::kUid),
                                        *eeprom.handle, eeprom.dftOffset);
}

Status recoverSwitchUID(const RegistryEntry& displaySwitch, uint64_t* uid) {
  Status code = status::kSuccess;
  const uint64_t current = readSwitchUID(displaySwitch, &code);
  std::string path = displaySwitch ? displaySwitch->path() : std::string();
  path.resize(std::min(path.size(), kPathBufferSize - 1));
  host().log(textf("Q83 at '%s' with UID = 0x%016llx (0x%x)\n", escapeControls(path).c_str(), wide(current), code));
  if (code != status::kSuccess && code != status::kIOError) return code;
  if (code == status::kSuccess && current != kPlaceholderUID) {
    host().log(textf("Switch already has a valid UID (0x%016llx)\n", wide(current)));
    return status::kSuccess;
  }
  if (ResultCode connection = checkConnection(displaySwitch); connection != result::kSuccess) return connection;
  const uint64_t replacement = makeUIDFromASN(displaySwitch, kRecoveredUIDFirstPart, kRecoveredUIDSecondPart);
  host().log(textf("Will set UID to 0x%016llx\n", wide(replacement)));
  Status last = status::kSuccess;
  for (int attempt = 0; attempt < kRecoveryAttempts; ++attempt) {
    last = tryWriteUID(displaySwitch, replacement);
    if (last == status::kSuccess) {
      if (uid) *uid = replacement;
      return status::kRepaired;
    }
    host().sleepMicroseconds(kAttemptPauseMicroseconds);
  }
  return last;
}

}  // namespace tbt
