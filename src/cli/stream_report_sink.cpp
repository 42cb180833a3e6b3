#include "cli/stream_report_sink.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace tbt::cli {

void ReportOutcome::Line::add(std::string_view piece) {
  if (start.size() < kKept) start.append(piece.substr(0, kKept - start.size()));
  length += piece.size();
}

void StreamReportSink::write(std::string_view text) {
  if (text.empty()) return;
  out_.write(text.data(), static_cast<std::streamsize>(text.size()));
  outcome_.add(text);
}

void ReportOutcome::add(std::string_view text) {
  if (text.empty()) return;
  written_ = true;
  const size_t end = text.rfind('\n');
  if (end == std::string_view::npos) {
    current_.add(text);
    return;
  }
  // The piece completes the line before its last newline, which began in
  // this piece after an earlier newline or else in an earlier piece.
  const size_t previous = end == 0 ? std::string_view::npos : text.rfind('\n', end - 1);
  size_t begin = 0;
  if (previous != std::string_view::npos) {
    current_ = Line();
    begin = previous + 1;
  }
  current_.add(text.substr(begin, end - begin));
  last_ = std::move(current_);
  current_ = Line();
  current_.add(text.substr(end + 1));
}

bool ReportOutcome::closesWithError(uint32_t& status) const {
  // A report ends with a newline; text after the last one is the last line.
  const Line& line = current_.length > 0 ? current_ : last_;
  constexpr std::string_view kUpper = "ERROR: 0x";
  constexpr std::string_view kLower = "Error: 0x";
  constexpr size_t kDigits = 8;
  if (line.length != kUpper.size() + kDigits) return false;
  const std::string_view text = line.start;
  if (!text.starts_with(kUpper) && !text.starts_with(kLower)) return false;
  const std::string_view digits = text.substr(kUpper.size());
  if (!std::all_of(digits.begin(), digits.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); }))
    return false;
  uint32_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  status = value;
  return true;
}

}  // namespace tbt::cli
