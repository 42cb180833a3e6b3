#pragma once
// A report as one JSON document, written as the report is read: each piece
// of text that is not a register's line, each printed register (its place,
// raw value and fields by the names its line gives them) and each read that
// failed, in the order printed, then how the report ended. Only the pending
// text is held, so the largest report costs no more memory than a small one.
//
//   {"report": "device", "items": [
//    {"text": "Device configuration space at route 0x1\n"},
//    {"route": "0x1", "space": "device", "adapter": 0, "index": 0, "printedIndex": 0, "raw": 12345,
//     "fields": [{"name": "Device ID", "value": 4660}, {"name": "Lanes", "value": 2, "valueName": "x2"}]},
//    {"route": "0x1", "space": "port", "adapter": 3, "index": 57, "status": "0x...", "error": "..."}],
//   "outcome": "complete"}
#include <ostream>
#include <string>
#include <string_view>

#include "cli/stream_report_sink.h"

namespace tbt::cli {

class JsonReportSink final : public ReportSink {
 public:
  /// Opens the document of report (the command's name) on out; progress:
  /// where the report tells how far it has come, or none.
  JsonReportSink(std::ostream& out, std::string_view report, Progress* progress = nullptr);
  void write(std::string_view text) override;
  bool stopped() const override { return !out_; }
  bool wantsFields() const override { return true; }
  Progress* progress() const override { return progress_; }
  void writeRegister(const ReportRegister& reg) override;
  void readFailed(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t status) override;

  /// Closes the document with the report's outcome: "complete", "empty" or
  /// "error" (with the status of the error line).
  void finish();
  const ReportOutcome& outcome() const { return outcome_; }

 private:
  void item(const std::string& text);
  void flushText();

  std::ostream& out_;
  Progress* progress_;
  ReportOutcome outcome_;
  std::string pending_;  // text not yet written as an item
  bool first_ = true;
};

}  // namespace tbt::cli
