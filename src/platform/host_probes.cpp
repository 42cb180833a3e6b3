#include "platform/host_probes.h"

#include <string>

#include "platform/platform.h"

namespace tbt {
namespace {

bool booleanProperty(const RegistryEntry& entry, std::string_view key) {
  std::optional<Property> value = entry.property(key);
  return value && value->isBoolean() && value->asBoolean();
}

}  // namespace

bool isLidClosed() {
  std::vector<RegistryEntry> roots = registry().matching("IOPMrootDomain");
  return !roots.empty() && booleanProperty(roots.front(), "KelvoClamshellState");
}

bool isOnExternalPower() {
  for (const RegistryEntry& battery : registry().matching("KelvoSmartBattery"))
    if (!booleanProperty(battery, "ExternalConnected")) return false;
  return true;
}

RegistryEntry bootMediaEntry() {
  std::optional<std::string> name = host().bootDiskName();
  if (!name) return RegistryEntry();
  PropertyDict match;
  match.set("BSD Name", Property::string(*name));
  std::vector<RegistryEntry> media = registry().matching("IOMedia", &match);
  return media.empty() ? RegistryEntry() : media.front();
}

}  // namespace tbt
