#include "driver/firmware_policy.h"

#include "driver/options.h"
#include "platform/platform.h"
#include "platform/registry_helpers.h"
#include "platform/registry_keys.h"
#include "platform/text.h"

namespace tbt {
namespace {

// The upstream port a display's tether plugs into, and its second link.
constexpr uint32_t kTetheredUpstreamPort = 1;
constexpr uint32_t kSecondaryUpstreamPort = 2;

// The entry's direct parent in the service plane: for a switch, the
// upstream port it hangs from.
RegistryEntry upstreamPortOf(const RegistryEntry& displaySwitch) {
  std::vector<RegistryEntry> parents = displaySwitch.parents();
  return parents.empty() ? RegistryEntry() : parents.front();
}

// The ROM verdict, starting from up to date. Only the switch's own ROM
// decides here; a ROM that is too old needs no look at the micro-controllers.
bool romIsCurrent(uint32_t base, uint32_t revision) {
  if (base == kCurrentRomBase && revision >= kCurrentRomRevision) {
    host().log(textf("ROM Version base = %x; revision >= %d\n", kCurrentRomBase, kCurrentRomRevision));
    return true;
  }
  if (base <= kCurrentRomBase) return false;
  // The threshold printed in decimal, unlike the neighbouring lines.
  host().log(textf("ROM Version base > %d\n", kCurrentRomBase));
  return true;
}

// The upstream port's micro-controller; a port without a version keeps the verdict.
bool upstreamMicroIsCurrent(const RegistryEntry& displaySwitch) {
  RegistryEntry upstream = upstreamPortOf(displaySwitch);
  if (!upstream) {
    host().log("Found no upstream port of EXDP\n");
    return true;
  }
  uint32_t micro = 0;
  if (!readRegistryNumber(upstream, kMicroVersionKey, micro)) return true;
  host().log(textf("EXDP Up Micro Version = 0x%x\n", micro));
  if (micro < kCurrentMicroVersion) return false;
  host().log(textf("Up Micro Version >= 0x%x\n", kCurrentMicroVersion));
  return true;
}

// Every own port's micro-controller; all are visited even after an old one.
bool downstreamMicrosAreCurrent(const RegistryEntry& displaySwitch) {
  bool current = true;
  for (const RegistryEntry& child : displaySwitch.children()) {
    uint32_t micro = 0;
    if (!child.conformsTo(kPortClass) || !readRegistryNumber(child, kMicroVersionKey, micro)) continue;
    host().log(textf("EXDP Down Micro Version = 0x%x\n", micro));
    if (micro < kCurrentMicroVersion) {
      current = false;
    } else {
      host().log(textf("Down Micro Version >= 0x%x\n", kCurrentMicroVersion));
    }
  }
  return current;
}

}  // namespace

PropertyDict displaySwitchMatch() {
  PropertyDict match;
  match.set(std::string(kDeviceVendorIDKey), Property::number(kDisplayVendorID));
  match.set(std::string(kDeviceModelIDKey), Property::number(kDisplayModelID));
  return match;
}

bool isDisplaySwitch(const RegistryEntry& entry) {
  uint32_t vendor = 0, model = 0;
  readRegistryNumber(entry, kDeviceVendorIDKey, vendor);
  readRegistryNumber(entry, kDeviceModelIDKey, model);
  return vendor == kDisplayVendorID && model == kDisplayModelID;
}

uint32_t romRevisionOfEntry(const RegistryEntry& entry) {
  uint32_t revision = 0;
  if (!readRegistryNumber(entry, kEepromRevisionKey, revision)) readRegistryNumber(entry, kNvmRevisionKey, revision);
  return revision;
}

bool checkFirmwareVersion(const RegistryEntry& displaySwitch) {
  const DriverFlags& flags = driverFlags();
  host().log("Checking firmware version\n");
  if (flags.ignore) {
    if (flags.verbose) host().log("Skipping firmware version check.\n");
    return false;
  }
  if (!displaySwitch) {
    if (flags.verbose) host().log("Service is null.\n");
    return false;
  }
  uint32_t base = 0;
  readRegistryNumber(displaySwitch, kRomVersionKey, base);
  const uint32_t revision = romRevisionOfEntry(displaySwitch);
  host().log(textf("EXDP ROM Version = %x.%d\n", base, revision));
  return romIsCurrent(base, revision) && upstreamMicroIsCurrent(displaySwitch) &&
         downstreamMicrosAreCurrent(displaySwitch);
}

ResultCode checkConnection(const RegistryEntry& displaySwitch) {
  RegistryEntry upstream = upstreamPortOf(displaySwitch);
  if (!upstream) return result::kUpstreamPortNotFound;
  uint32_t port = 0;
  readRegistryNumber(upstream, kPortNumberKey, port);
  if (port == kSecondaryUpstreamPort) {
    host().log(textf("EXDP connected via secondary link (Upstream Port # = %d)\n", port));
    return result::kSecondaryLink;
  }
  if (port != kTetheredUpstreamPort) {
    host().log(textf("EXDP connected via non-tethered (Upstream Port # = %d)\n", port));
    return result::kNonTethered;
  }
  return result::kSuccess;
}

}  // namespace tbt
