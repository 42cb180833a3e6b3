#include "cli/progress_line.h"

#include <unistd.h>

#include <cmath>
#include <iostream>

#include "platform/text.h"

namespace tbt::cli {
namespace {

using std::chrono::nanoseconds;

constexpr uint64_t kClockLimit = 100 * 3600;  // seconds: 100 hours
constexpr const char* kClearToEnd = "\033[K";

}  // namespace

std::string clockText(uint64_t seconds) {
  if (seconds >= kClockLimit) return ">99:59:59";
  const auto s = static_cast<unsigned long long>(seconds);
  if (s >= 3600) return textf("%llu:%02llu:%02llu", s / 3600, s / 60 % 60, s % 60);
  return textf("%llu:%02llu", s / 60, s % 60);
}

std::string progressText(uint64_t done, uint64_t total, const char* unit, nanoseconds elapsed) {
  const double seconds = elapsed.count() > 0 ? static_cast<double>(elapsed.count()) / 1e9 : 0.0;
  std::string left = "-:--";
  if (done > 0) {
    const double estimate = done >= total ? 0.0 : std::ceil(seconds * static_cast<double>(total - done) /
                                                            static_cast<double>(done));
    left = clockText(estimate >= static_cast<double>(kClockLimit) ? kClockLimit : static_cast<uint64_t>(estimate));
  }
  return textf("%llu/%llu %s, %s elapsed, %s left", static_cast<unsigned long long>(done),
               static_cast<unsigned long long>(total), unit, clockText(static_cast<uint64_t>(seconds)).c_str(),
               left.c_str());
}

ProgressLine::ProgressLine(std::ostream& err, const char* unit, ProgressClock clock)
    : err_(err), unit_(unit), clock_(std::move(clock)), start_(clock_()) {}

ProgressLine::~ProgressLine() { erase(); }

void ProgressLine::advance(uint64_t done, uint64_t total) {
  const nanoseconds now = clock_();
  if (everDrawn_ && now - drawnAt_ < kRedrawInterval) return;
  err_ << "\r" << progressText(done, total, unit_, now - start_) << kClearToEnd << std::flush;
  drawnAt_ = now;
  drawn_ = everDrawn_ = true;
}

void ProgressLine::erase() {
  if (!drawn_) return;
  err_ << "\r" << kClearToEnd << std::flush;
  drawn_ = false;
}

ProgressClock steadyProgressClock() {
  return [] { return std::chrono::duration_cast<nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()); };
}

std::unique_ptr<ProgressLine> progressLineFor(CommandContext& context, const char* unit, bool outputStreams) {
  if (context.args().has(kQuietOption.name) || &context.err() != &std::cerr || ::isatty(STDERR_FILENO) != 1)
    return nullptr;
  if (outputStreams && ::isatty(STDOUT_FILENO) == 1) return nullptr;
  return std::make_unique<ProgressLine>(context.err(), unit, steadyProgressClock());
}

}  // namespace tbt::cli
