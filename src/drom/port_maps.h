#pragma once
// The port maps the system carries for the switches it knows, by name.
#include <span>
#include <string_view>

#include "drom/rom_record.h"

namespace tbt {

/// A constant port map with a name that says what it describes.
struct NamedPortMap {
  const char* name;
  const char* description;
  std::span<const PortMapPair> pairs;  // without the table's end marker
};

/// Every constant port map, in a fixed order.
std::span<const NamedPortMap> namedPortMaps();

/// The constant map of that name, or null.
const NamedPortMap* findNamedPortMap(std::string_view name);

}  // namespace tbt
