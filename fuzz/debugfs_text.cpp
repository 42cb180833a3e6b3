// Feeds arbitrary text to the Linux backend's parsers of the kernel's files:
// the debugfs register files and the sysfs names and attributes. The first
// byte picks the parser. What a parser accepts must hold its promises
// (bounded listings, names and writes that read back as they were given).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "linux/debugfs_text.h"
#include "linux/sysfs_tree.h"

namespace {

using namespace tbt::linux_host;

// A register file lists 8192 lines of under 64 bytes.
constexpr size_t kMaxInput = 1 << 20;

void check(bool condition) {
  if (!condition) std::abort();
}

void spaceText(std::string_view text) {
  const SpaceSnapshot words = parseSpaceText(text);
  check(words.size() <= kMaxListedLines);
  // Every readable word, written as the kernel is given it and listed back
  // as a path file lists it, parses to the same value.
  std::string listed;
  for (const auto& [index, word] : words) {
    if (word.status != tbt::status::kSuccess) continue;
    std::string line = writeLines(index, &word.value, 1);
    listed += line.substr(0, line.find(' ')) + "    0 0x00" + line.substr(line.find(' '));
  }
  const SpaceSnapshot again = parseSpaceText(listed);
  for (const auto& [index, word] : again) {
    auto first = words.find(index);
    check(first != words.end() && first->second.value == word.value);
  }
}

void chunks(std::string_view text, size_t maxBytes) {
  const auto parts = splitOnLines(text, maxBytes);
  if (parts.empty()) return;
  std::string joined;
  for (const std::string& part : parts) {
    check(!part.empty() && part.size() <= maxBytes);
    joined += part;
  }
  check(joined == text);
}

void name(std::string_view text) {
  const auto parsed = parseRouterName(text);
  if (!parsed) return;
  const auto again = parseRouterName(routerName(parsed->domain, parsed->route));
  check(again && again->domain == parsed->domain && again->route == parsed->route);
  check(depthOfRoute(parsed->route) <= 8);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > kMaxInput) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] % 6) {
    case 0: spaceText(text); break;
    case 1: chunks(text, 1 + data[0] / 6 % 64); break;
    case 2: name(text); break;
    case 3: parseNumberAttribute(text); break;
    case 4: parseUniqueId(text); break;
    case 5: parseNvmVersion(text); break;
  }
  return 0;
}
