#pragma once
// A report sink that hands each piece of text on to a stream as it comes, so
// a console shows a line as soon as its register has been read, and that
// keeps only what a program's exit status needs (ReportOutcome): whether any
// text came, and the last line.
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "toolkit/report_sink.h"

namespace tbt::cli {

/// What a report's text says of how it went, from the text as it passes.
class ReportOutcome {
 public:
  void add(std::string_view text);
  /// True until the first text comes.
  bool empty() const { return !written_; }
  /// True when the report's last line is "ERROR: 0x%08x" or "Error: 0x%08x"
  /// (the close of a failed report); status then receives the number.
  bool closesWithError(uint32_t& status) const;

 private:
  // Lines are kept up to this many characters: enough for the error line.
  static constexpr size_t kKept = 24;

  struct Line {
    std::string start;  // the first kKept characters
    size_t length = 0;  // the whole length, without the newline
    void add(std::string_view piece);
  };

  bool written_ = false;
  Line current_;  // the line being written
  Line last_;     // the last complete line
};

class StreamReportSink final : public ReportSink {
 public:
  /// progress: where the report tells how far it has come, or none.
  explicit StreamReportSink(std::ostream& out, Progress* progress = nullptr) : out_(out), progress_(progress) {}
  void write(std::string_view text) override;
  /// True once the stream has failed.
  bool stopped() const override { return !out_; }
  Progress* progress() const override { return progress_; }
  const ReportOutcome& outcome() const { return outcome_; }

 private:
  std::ostream& out_;
  Progress* progress_;
  ReportOutcome outcome_;
};

}  // namespace tbt::cli
