#include "platform/registry_helpers.h"

#include <algorithm>
#include <functional>

namespace tbt {
namespace {

RegistryEntry firstAncestor(const RegistryEntry& entry, const std::function<bool(const RegistryEntry&)>& accept) {
  for (const RegistryEntry& candidate : ancestors(entry))
    if (accept(candidate)) return candidate;
  return RegistryEntry();
}

bool isSwitch(const RegistryEntry& entry) { return entry.conformsTo(kSwitchClass); }

}  // namespace

bool readRegistryData(const RegistryEntry& entry, std::string_view key, uint32_t options, uint8_t* buffer,
                      uint32_t bufferLength) {
  std::optional<Property> found = searchProperty(entry, key, options);
  if (!found) return false;
  if (found->isData()) {
    const auto& bytes = found->asData();
    std::copy_n(bytes.begin(), std::min<size_t>(bytes.size(), bufferLength), buffer);
  } else if (found->isString()) {
    const auto& text = found->asString();
    std::copy_n(text.begin(), std::min<size_t>(text.size(), bufferLength), buffer);
  }
  return true;
}

bool readRegistryNumber64(const RegistryEntry& entry, std::string_view key, uint64_t& value) {
  std::optional<Property> found = entry.property(key);
  if (!found || !found->isNumber()) return false;
  value = found->asNumber();
  return true;
}

bool readRegistryNumber(const RegistryEntry& entry, std::string_view key, uint32_t& value) {
  uint64_t wide = 0;
  if (!readRegistryNumber64(entry, key, wide)) return false;
  value = static_cast<uint32_t>(wide);
  return true;
}

RegistryEntry firstChildOfClass(const RegistryEntry& entry, std::string_view className) {
  for (const RegistryEntry& child : entry.children())
    if (child.conformsTo(className)) return child;
  return RegistryEntry();
}

RegistryEntry parentSwitchOfEntry(const RegistryEntry& entry) { return firstAncestor(entry, isSwitch); }

RegistryEntry rootSwitchOfEntry(const RegistryEntry& entry) {
  return firstAncestor(entry, [](const RegistryEntry& e) { return isSwitch(e) && routeOfEntry(e) == 0; });
}

uint64_t routeOfEntry(const RegistryEntry& entry) {
  uint64_t route = kNoRoute;
  readRegistryNumber64(entry, kRouteStringKey, route);
  return route;
}

uint8_t routerIDOfEntry(const RegistryEntry& entry) {
  uint64_t uid = ~uint64_t{0};
  readRegistryNumber64(entry, kUIDKey, uid);
  return routerIDOfUID(uid);
}

}  // namespace tbt
