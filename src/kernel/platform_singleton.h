#pragma once
// The process-wide objects the system requires (the user client manager, the
// toolkit utilities) are created on first use from the installed platform and
// dropped when another platform is installed, so each platform gets its own.
#include <memory>

#include "platform/platform.h"

namespace tbt {

template <typename T>
class PlatformSingleton {
 public:
  /// The instance, created (with T's default constructor) on first use.
  static T& instance() {
    if (!slot()) {
      slot() = std::make_unique<T>();
      onPlatformChange(drop);
    }
    return *slot();
  }
  /// The instance when it exists already, else null.
  static T* existing() { return slot().get(); }

 private:
  static std::unique_ptr<T>& slot() {
    static std::unique_ptr<T> object;
    return object;
  }
  static void drop() { slot().reset(); }
};

}  // namespace tbt
