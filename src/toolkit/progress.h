#pragma once
// How a long operation tells its caller how far it has come: the toolkit's
// long loops (an EEPROM or NVM read, a link controller's memory, the report
// of every router) take a Progress, or none, and tell it after each unit of
// work. What the caller does with it (a line on a terminal) is its own
// business; the operation neither waits for it nor learns anything back.
#include <cstdint>

namespace tbt {

class Progress {
 public:
  virtual ~Progress() = default;
  /// done of total units are finished (done <= total; total may grow when
  /// the work turns out larger than counted at first).
  virtual void advance(uint64_t done, uint64_t total) = 0;
};

/// Tells progress, when there is one.
inline void advance(Progress* progress, uint64_t done, uint64_t total) {
  if (progress) progress->advance(done, total);
}

}  // namespace tbt
