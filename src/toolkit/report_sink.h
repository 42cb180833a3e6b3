#pragma once
// Where the text of a configuration-space report goes. The reports write
// each piece of text as soon as the register behind it has been read, so a
// console shows a line when it is read and a report of a large fabric never
// has to be held in memory; the string-returning operations collect the
// same pieces in a StringReportSink.
#include <string>
#include <string_view>

#include "toolkit/progress.h"

namespace tbt {

class ReportSink {
 public:
  virtual ~ReportSink() = default;
  /// Takes the next piece of the report's text (part of a line, one line or
  /// several; never assumed to end with a newline).
  virtual void write(std::string_view text) = 0;
  /// True once the sink takes no more text (its output has failed): a
  /// report then reads no more registers and returns.
  virtual bool stopped() const { return false; }
  /// Where a long report (every router, a link controller's memory) tells
  /// how far it has come; none by default.
  virtual Progress* progress() const { return nullptr; }
};

/// Collects a report's text in one string.
class StringReportSink final : public ReportSink {
 public:
  void write(std::string_view text) override { text_.append(text); }
  const std::string& text() const { return text_; }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

}  // namespace tbt
