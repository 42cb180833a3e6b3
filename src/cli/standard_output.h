#pragma once
// The programs' standard output: a stream over the C library's stdout (text
// written through either keeps its order) that remembers why its first
// write failed, and the check every program makes of it before it exits.
// Text that cannot be written is lost, so a program whose output fails
// stops its work and exits 1.
#include <cstdio>
#include <ios>
#include <streambuf>

namespace tbt::cli {

/// A stream buffer that writes through stdout. Once a write fails, every
/// later one fails too (the stream using it goes bad).
class StandardOutputBuffer final : public std::streambuf {
 public:
  /// The errno of the first failed write or flush; 0 while none failed.
  int error() const { return error_; }

 protected:
  std::streamsize xsputn(const char* text, std::streamsize count) override;
  int_type overflow(int_type c) override;
  int sync() override;

 private:
  bool failed(int error);
  int error_ = 0;
};

/// Flushes stdout (and closes it with close) at the end of a program that
/// would exit with status. When a write failed (firstError, else what the
/// flush or close reports) returns 1 after printing "PROGRAM: write error:
/// REASON" on standard error, or quietly when the reader has gone away (a
/// broken pipe); otherwise returns status.
int finishStandardOutput(const char* program, int status, int firstError, bool close);

}  // namespace tbt::cli
