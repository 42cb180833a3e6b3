// The simulated boot firmware and the firmware utility it runs. The utility
// flashes as the display's own update would: the switch payload is written
// to the display's NVM, and the versions the payloads carry become what the
// switch and its port micro-controllers report, so the driver publishes them
// in the registry when the system comes up.
#include "sim/boot_firmware.h"

#include <charconv>
#include <span>

#include "platform/file_reader.h"
#include "platform/text.h"
#include "sim/boot_selection.h"
#include "sim/capability_chain.h"

namespace tbt::sim {
namespace {

constexpr const char* kSwitchPayloadPattern = "Panel-RR-VV.bin";
constexpr const char* kMicroPayloadPattern = "PortMc-em-MMMMMMMM.bin";
constexpr std::string_view kPayloadSuffix = ".bin";

// Registry keys of what a display reports of its firmware.
constexpr const char* kRomVersionKey = "ROM Version";
constexpr const char* kEepromRevisionKey = "EEPROM Revision";
constexpr const char* kNvmRevisionKey = "NVM Revision";
constexpr const char* kMicroVersionKey = "Micro Version";
constexpr const char* kUidKey = "UID";
constexpr const char* kVendorKey = "Device Vendor ID";
constexpr const char* kModelKey = "Device Model ID";
constexpr uint64_t kDisplayVendor = 1;
constexpr uint64_t kDisplayModel = 0x8002;

// The DFT capability's double word that holds the DROM's byte address in
// the EEPROM, and the UID's place in the DROM header (after its CRC-8).
constexpr uint32_t kDromOffsetDword = 12;
constexpr uint32_t kUidOffset = 1;
constexpr uint32_t kUidBytes = 8;

// The options' words: one "-u UID -ee[ -f] VAR0 -sm[ -f] VAR1" group per display.
constexpr std::string_view kOptionsStart = "-o";
constexpr std::string_view kUidFlag = "-u";
constexpr std::string_view kSwitchFlag = "-ee";
constexpr std::string_view kMicroFlag = "-sm";
constexpr std::string_view kForceFlag = "-f";
constexpr std::string_view kSwitchVariable = "efi-kelvo-payload0-data";
constexpr std::string_view kMicroVariable = "efi-kelvo-payload1-data";

const char* outcomeText(FlashOutcome outcome) {
  switch (outcome) {
    case FlashOutcome::Flashed: return "every display flashed";
    case FlashOutcome::OptionsUnparsed: return "the options did not parse";
    case FlashOutcome::PayloadUnusable: return "a payload is missing or unusable";
    case FlashOutcome::DisplayNotFound: return "a UID matched no display";
    case FlashOutcome::NvmTooSmall: return "a display's NVM cannot hold the payload";
  }
  return "";
}

unsigned long long wide(uint64_t value) { return static_cast<unsigned long long>(value); }

// Hex digits, the whole text and at most digits of them; nullopt otherwise.
std::optional<uint64_t> hexNumber(std::string_view text, size_t maxDigits) {
  uint64_t value = 0;
  if (text.empty() || text.size() > maxDigits) return std::nullopt;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::string_view baseName(std::string_view path) {
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

// The fields of name between prefix and ".bin", split at '-'.
std::optional<std::vector<std::string_view>> nameFields(std::string_view name, std::string_view prefix) {
  if (name.substr(0, prefix.size()) != prefix || name.size() < prefix.size() + kPayloadSuffix.size() ||
      name.substr(name.size() - kPayloadSuffix.size()) != kPayloadSuffix)
    return std::nullopt;
  std::string_view rest = name.substr(prefix.size(), name.size() - prefix.size() - kPayloadSuffix.size());
  std::vector<std::string_view> fields;
  for (size_t dash; (dash = rest.find('-')) != std::string_view::npos; rest.remove_prefix(dash + 1))
    fields.push_back(rest.substr(0, dash));
  fields.push_back(rest);
  return fields;
}

std::optional<uint64_t> overrideNumber(const RegistryOverrides* overrides, const char* key) {
  const Property* p = overrides ? overrides->set.find(key) : nullptr;
  return p && p->isNumber() ? std::optional<uint64_t>(p->asNumber()) : std::nullopt;
}

bool isDisplay(const Router& r) {
  return overrideNumber(&r.registry(), kVendorKey) == kDisplayVendor &&
         overrideNumber(&r.registry(), kModelKey) == kDisplayModel;
}

Router* displayWithUid(const SimHost& host, uint64_t uid) {
  for (Router* r : host.routers())
    if (isDisplay(*r) && displayUid(*r) == uid) return r;
  return nullptr;
}

// The revision key a switch publishes: its EEPROM revision, else its NVM one.
const char* revisionKey(const Router& r) {
  return !r.registry().set.find(kEepromRevisionKey) && r.registry().set.find(kNvmRevisionKey) ? kNvmRevisionKey
                                                                                             : kEepromRevisionKey;
}

struct Payloads {
  std::string utility;
  std::string switchImage;
  SwitchPayloadVersion switchVersion;
  uint32_t microVersion = 0;
};

// Reads and names the two payloads of the selection; "" or why not.
std::string readPayloads(const BootSelection& selection, Payloads& out) {
  if (selection.payloads.size() != 2)
    return textf("%zu payloads registered, the utility takes 2", selection.payloads.size());
  std::string micro;
  for (size_t i = 0; i < 2; ++i) {
    const std::string& path = selection.payloads[i];
    std::string reason = readRegularFile(path, kMaxPayloadBytes, i == 0 ? out.switchImage : micro);
    if (reason.empty()) {
      const std::string_view name = baseName(path);
      if (i == 0) {
        auto version = switchPayloadVersion(name);
        if (version) out.switchVersion = *version;
        else reason = textf("the name does not carry a version (%s)", kSwitchPayloadPattern);
      } else {
        auto version = microPayloadVersion(name);
        if (version) out.microVersion = *version;
        else reason = textf("the name does not carry a version (%s)", kMicroPayloadPattern);
      }
    }
    if (!reason.empty()) return textf("payload %s: %s", escapeControls(path).c_str(), reason.c_str());
  }
  out.utility = selection.firmware;
  return std::string();
}

// Flashes one display; appends what it did to report.
FlashOutcome flashDisplay(Router& r, const FlashTarget& target, const Payloads& payloads, std::string& report) {
  appendf(report, "boot firmware: display 0x%016llx at route 0x%llx:", wide(target.uid), wide(r.route()));
  if (r.nvm() && r.nvm()->size() != 0 && payloads.switchImage.size() > r.nvm()->size()) {
    appendf(report, " its NVM (%llu bytes) cannot hold the switch payload (%zu bytes)\n", wide(r.nvm()->size()),
            payloads.switchImage.size());
    return FlashOutcome::NvmTooSmall;
  }
  const char* revKey = revisionKey(r);
  const uint64_t rom = overrideNumber(&r.registry(), kRomVersionKey).value_or(0);
  const uint64_t rev = overrideNumber(&r.registry(), revKey).value_or(0);
  const SwitchPayloadVersion& to = payloads.switchVersion;
  if (target.forceSwitch || rom < to.rom || (rom == to.rom && rev < to.revision)) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(payloads.switchImage.data());
    if (r.nvm()) r.nvm()->write(0, std::span<const uint8_t>(bytes, payloads.switchImage.size()));
    r.registry().set.set(kRomVersionKey, Property::number(to.rom));
    r.registry().set.set(revKey, Property::number(to.revision));
    appendf(report, " ROM %llx.%llu -> %x.%u", wide(rom), wide(rev), to.rom, to.revision);
  } else {
    appendf(report, " ROM %llx.%llu kept", wide(rom), wide(rev));
  }
  for (uint32_t port : r.ports()) {
    RegistryOverrides* overrides = &r.portRegistry(port);
    const std::optional<uint64_t> micro = overrideNumber(overrides, kMicroVersionKey);
    if (!micro) continue;  // no micro-controller behind this adapter
    if (target.forceMicro || *micro < payloads.microVersion) {
      overrides->set.set(kMicroVersionKey, Property::number(payloads.microVersion));
      appendf(report, ", port %u micro-controller 0x%llx -> 0x%x", port, wide(*micro), payloads.microVersion);
    } else {
      appendf(report, ", port %u micro-controller 0x%llx kept", port, wide(*micro));
    }
  }
  report += "\n";
  return FlashOutcome::Flashed;
}

// The utility's run; its outcome and its report.
FlashOutcome runUtility(SimHost& host, const BootSelection& selection, std::string& report) {
  auto targets = parseFlashOptions(selection.options);
  if (!targets) {
    appendf(report, "boot firmware: cannot parse the options '%s'\n", escapeControls(selection.options).c_str());
    return FlashOutcome::OptionsUnparsed;
  }
  Payloads payloads;
  if (std::string why = readPayloads(selection, payloads); !why.empty()) {
    appendf(report, "boot firmware: %s\n", why.c_str());
    return FlashOutcome::PayloadUnusable;
  }
  appendf(report, "boot firmware: running %s: switch ROM %x.%u, port micro-controllers 0x%x\n",
          escapeControls(payloads.utility).c_str(), payloads.switchVersion.rom, payloads.switchVersion.revision,
          payloads.microVersion);
  FlashOutcome outcome = FlashOutcome::Flashed;
  for (const FlashTarget& target : *targets) {
    FlashOutcome one = FlashOutcome::DisplayNotFound;
    if (Router* display = displayWithUid(host, target.uid)) one = flashDisplay(*display, target, payloads, report);
    else appendf(report, "boot firmware: no display with UID 0x%016llx\n", wide(target.uid));
    if (outcome == FlashOutcome::Flashed) outcome = one;
  }
  return outcome;
}

}  // namespace

std::optional<SwitchPayloadVersion> switchPayloadVersion(std::string_view fileName) {
  auto fields = nameFields(fileName, "Panel-");
  if (!fields || fields->size() != 2 || (*fields)[0].size() != 2 || (*fields)[1].size() != 2) return std::nullopt;
  auto rom = hexNumber((*fields)[0], 2), revision = hexNumber((*fields)[1], 2);
  if (!rom || !revision) return std::nullopt;
  return SwitchPayloadVersion{static_cast<uint32_t>(*rom), static_cast<uint32_t>(*revision)};
}

std::optional<uint32_t> microPayloadVersion(std::string_view fileName) {
  auto fields = nameFields(fileName, "PortMc-em-");
  if (!fields || fields->size() != 1 || (*fields)[0].size() != 8) return std::nullopt;
  auto version = hexNumber((*fields)[0], 8);
  return version ? std::optional<uint32_t>(static_cast<uint32_t>(*version)) : std::nullopt;
}

std::optional<std::vector<FlashTarget>> parseFlashOptions(std::string_view options) {
  const std::vector<std::string> words = splitShellWords(options).words;
  size_t i = 0;
  auto next = [&](std::string_view word) { return i < words.size() && words[i] == word && (++i, true); };
  if (!next(kOptionsStart)) return std::nullopt;
  std::vector<FlashTarget> targets;
  while (i < words.size()) {
    FlashTarget target;
    if (!next(kUidFlag) || i == words.size()) return std::nullopt;
    const std::string& uid = words[i++];
    auto value = uid.size() > 2 && uid.compare(0, 2, "0x") == 0 ? hexNumber(std::string_view(uid).substr(2), 16)
                                                                 : std::nullopt;
    if (!value) return std::nullopt;
    target.uid = *value;
    if (!next(kSwitchFlag)) return std::nullopt;
    target.forceSwitch = next(kForceFlag);
    if (!next(kSwitchVariable) || !next(kMicroFlag)) return std::nullopt;
    target.forceMicro = next(kForceFlag);
    if (!next(kMicroVariable)) return std::nullopt;
    targets.push_back(target);
  }
  if (targets.empty()) return std::nullopt;
  return targets;
}

std::optional<uint64_t> displayUid(const Router& router) {
  const std::optional<ByteMemory>& eeprom = router.eeprom();
  const std::optional<uint32_t> dft = findDeviceCapability(router, kDftCapability, kVendorCapabilityMask);
  if (eeprom && dft) {
    const uint64_t drom = router.peek(0, kDeviceSpace, *dft + kDromOffsetDword);
    if (drom != 0 && eeprom->contains(drom + kUidOffset + kUidBytes - 1)) {
      uint64_t uid = 0;
      for (uint32_t i = kUidBytes; i-- > 0;) uid = uid << 8 | eeprom->read(drom + kUidOffset + i);
      return uid;
    }
  }
  return overrideNumber(&router.registry(), kUidKey);
}

std::string restartHost(SimHost& host) {
  host.clearRestartRequest();
  host.setRestartCount(host.restartCount() + 1);
  std::string report = textf("simulated host restarted (restart %llu)\n", wide(host.restartCount()));
  const std::optional<BootSelection> selection = bootSelection(host);
  if (!selection || !host.nvram().count(kUpdateOptionsVariable)) {
    report += "boot firmware: nothing scheduled\n";
    return report;
  }
  const FlashOutcome outcome = runUtility(host, *selection, report);
  host.clearScheduledBootEntry();
  host.nvram().erase(kUpdateOptionsVariable);
  host.nvram()[kUpdateResultVariable] = std::string(1, static_cast<char>(outcome));
  appendf(report, "boot firmware: %s = %u (%s)\n", kUpdateResultVariable, static_cast<unsigned>(outcome),
          outcomeText(outcome));
  return report;
}

}  // namespace tbt::sim
