#pragma once
// Where the text of a configuration-space report goes. The reports write
// each piece of text as soon as the register behind it has been read, so a
// console shows a line when it is read and a report of a large fabric never
// has to be held in memory; the string-returning operations collect the
// same pieces in a StringReportSink.
//
// A register's line comes with what it was made of (the register's place,
// its raw value and its fields by name), so that a sink can keep the data
// instead of the text; a text sink takes the line's text as any other piece.
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "toolkit/progress.h"

namespace tbt {

/// One field of a printed register line: the name the line gives it, its
/// value and, where the line prints one, the name of that value.
struct ReportField {
  std::string name;
  uint32_t value = 0;
  std::string valueName;
};

/// A printed register: the double word of a space of an adapter (port 0 for
/// the device space), its raw value, its fields and the line's text.
struct ReportRegister {
  uint64_t route = 0;
  uint32_t port = 0;
  uint32_t space = 0;
  uint32_t index = 0;         // the double word's own index in its space
  uint32_t printedIndex = 0;  // the index the line prints (relative or absolute)
  uint32_t raw = 0;
  std::span<const ReportField> fields;
  std::string_view text;
};

/// The "space" of a word of a link controller's memory, which a report
/// prints as a register with its address as index: above every
/// configuration space number.
inline constexpr uint32_t kLinkControllerMemorySpace = 0x100;

class ReportSink {
 public:
  virtual ~ReportSink() = default;
  /// Takes the next piece of the report's text (part of a line, one line or
  /// several; never assumed to end with a newline).
  virtual void write(std::string_view text) = 0;
  /// True once the sink takes no more text (its output has failed): a
  /// report then reads no more registers and returns.
  virtual bool stopped() const { return false; }

  /// True when the sink keeps registers' fields: the reports name them only then.
  virtual bool wantsFields() const { return false; }
  /// A register's line; fields are given only when wantsFields().
  virtual void writeRegister(const ReportRegister& reg) { write(reg.text); }
  /// A read of a report that failed with status (the text that says so
  /// comes as text).
  virtual void readFailed(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t status) {
    (void)route, (void)port, (void)space, (void)index, (void)status;
  }
  /// Where a long report (every router, a link controller's memory) tells
  /// how far it has come; none by default.
  virtual Progress* progress() const { return nullptr; }
  /// The report of every router has finished one router (all its spaces).
  virtual void routerDone() {}
};

/// Hands everything on to another sink; a sink that only watches a report
/// (counts what passes, say) derives from it and overrides what it watches.
class ForwardingReportSink : public ReportSink {
 public:
  explicit ForwardingReportSink(ReportSink& next) : next_(next) {}
  void write(std::string_view text) override { next_.write(text); }
  bool stopped() const override { return next_.stopped(); }
  bool wantsFields() const override { return next_.wantsFields(); }
  void writeRegister(const ReportRegister& reg) override { next_.writeRegister(reg); }
  void readFailed(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t status) override {
    next_.readFailed(route, port, space, index, status);
  }
  Progress* progress() const override { return next_.progress(); }
  void routerDone() override { next_.routerDone(); }

 private:
  ReportSink& next_;
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
