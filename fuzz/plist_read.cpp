// Feeds arbitrary text to the property-list reader. A document it accepts
// must hold a dictionary whose keys are unique and found again by lookup;
// whatever it refuses must come with a one-line reason.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/plist.h"

namespace {

// Error dictionaries are small; larger inputs only slow the search down.
constexpr size_t kMaxInput = 64 * 1024;

void check(bool condition) {
  if (!condition) std::abort();
}

void walk(const tbt::Property& value);

void walkDictionary(const tbt::PropertyDict& dict) {
  for (const auto& [key, value] : dict.items()) {
    check(dict.find(key) == &value);
    walk(value);
  }
}

void walk(const tbt::Property& value) {
  if (value.isDictionary()) walkDictionary(value.asDictionary());
  if (value.isArray())
    for (const tbt::Property& item : value.asArray()) walk(item);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > kMaxInput) return 0;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string error;
  auto dict = tbt::parsePropertyList(text, &error);
  if (dict) walkDictionary(*dict);
  else check(!error.empty() && error.find('\n') == std::string::npos);
  return 0;
}
