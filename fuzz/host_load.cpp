// Feeds arbitrary text to the host-file loader, which builds the whole
// simulated machine and its registry. A host it accepts is saved, and the
// saved text must load again and save to the same text; whatever it refuses
// must come with a one-line reason.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "sim/sim_platform.h"

namespace {

// Hand-written host files are a few kilobytes; larger inputs only slow the
// search down (the loader's own limits are tested separately).
constexpr size_t kMaxInput = 16 * 1024;

void check(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > kMaxInput) return 0;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string error;
  auto host = tbt::sim::loadHost(text, &error);
  if (!host) {
    check(!error.empty() && error.find('\n') == std::string::npos);
    return 0;
  }
  const std::string saved = tbt::sim::hostJson(host->sim());
  auto again = tbt::sim::loadHost(saved, &error);
  check(again != nullptr);
  check(tbt::sim::hostJson(again->sim()) == saved);
  return 0;
}
