#pragma once
// The progress line of tbkit's long commands: one line on a terminal's
// standard error, "37/128 bytes, 0:02 elapsed, 0:05 left", redrawn in place
// ("\r", the text, then clear to the end of the line) at most ten times a
// second and erased when the work ends, so that nothing of it stays on the
// screen and nothing of it ever reaches standard output.
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "cli/tbkit_main.h"
#include "toolkit/progress.h"

namespace tbt::cli {

/// The -q/--quiet option every command takes.
inline constexpr OptionSpec kQuietOption = {
    .name = "quiet", .shortName = 'q', .help = "show no progress line on a terminal's standard error"};

/// The time now on a clock that never goes back (tests give their own).
using ProgressClock = std::function<std::chrono::nanoseconds()>;

/// A time in whole seconds as "M:SS", from an hour on "H:MM:SS";
/// ">99:59:59" from 100 hours on.
std::string clockText(uint64_t seconds);

/// "done/total UNIT, E elapsed, L left": the elapsed time in whole seconds,
/// the time left estimated from the rate so far and rounded up ("-:--"
/// while nothing is done).
std::string progressText(uint64_t done, uint64_t total, const char* unit, std::chrono::nanoseconds elapsed);

class ProgressLine final : public Progress {
 public:
  /// The line counts in unit ("bytes"); the time starts now.
  ProgressLine(std::ostream& err, const char* unit, ProgressClock clock);
  /// Erases the line.
  ~ProgressLine() override;
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// Draws the line the first time, then again once a tenth of a second has
  /// passed since it was last drawn (an erased line too).
  void advance(uint64_t done, uint64_t total) override;
  /// Erases the line when it is drawn; the next advance draws it again.
  void erase();

  static constexpr std::chrono::milliseconds kRedrawInterval{100};

 private:
  std::ostream& err_;
  const char* unit_;
  ProgressClock clock_;
  std::chrono::nanoseconds start_;
  std::chrono::nanoseconds drawnAt_{};
  bool drawn_ = false;
  bool everDrawn_ = false;
};

/// The clock of the real program: std::chrono::steady_clock.
ProgressClock steadyProgressClock();

/// The progress line of a command counting in unit: only when the command's
/// error stream is the process's standard error and that is a terminal,
/// and without --quiet. outputStreams: the command writes its output while
/// it works, so no line is drawn when standard output is a terminal too
/// (its own lines show the progress there). Null otherwise.
std::unique_ptr<ProgressLine> progressLineFor(CommandContext& context, const char* unit, bool outputStreams = false);

}  // namespace tbt::cli
