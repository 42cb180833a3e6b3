#include "platform/platform.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace tbt {
namespace {
std::unique_ptr<Platform>& slot() {
  static std::unique_ptr<Platform> installed;
  return installed;
}
std::vector<void (*)()>& droppers() {
  static std::vector<void (*)()> list;
  return list;
}
}  // namespace

void onPlatformChange(void (*dropSingleton)()) {
  for (auto f : droppers())
    if (f == dropSingleton) return;
  droppers().push_back(dropSingleton);
}

std::unique_ptr<Platform> installPlatform(std::unique_ptr<Platform> p) {
  // Singletons hold handles into the old platform: drop them (in reverse order
  // of registration, so a later singleton that uses an earlier one goes first)
  // while the old platform still exists.
  auto list = std::move(droppers());
  droppers().clear();
  for (auto it = list.rbegin(); it != list.rend(); ++it) (*it)();
  std::swap(slot(), p);
  return p;
}

Platform& platform() {
  if (!slot()) {
    std::fputs("internal error: no platform installed\n", stderr);
    std::abort();
  }
  return *slot();
}

bool hasPlatform() { return slot() != nullptr; }

}  // namespace tbt
