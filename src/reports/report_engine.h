#pragma once
// The one renderer of the configuration-space reports. A register line is a
// printf-style format and the fields that fill it, in a table:
//
//   {2, "  %03x:  %08x   I2C Core Enable=%d  I2C Reset=%d  Target Lock=%d\n", {bit(7), bit(5), bit(4)}}
//
// Every format starts with the printed double-word index and the raw value
// (the two first conversions, filled by the renderer); each further
// conversion takes the next field. A field is a bit range of the double word,
// the name of such a value, the line's argument (an entry number) or the I2C
// clock computed from a prescale. "%d" prints the 32-bit value as a signed
// int, "%@" and "%s" print a name; flags '0' and '-' and a width apply as in
// printf. The renderer formats the fields itself (a report should cost little
// beside the register reads it stands for), so tables are checked when
// compiled instead of by the compiler's printf checking:
// static_assert(formatsMatch(table)) fails when a format's conversions and
// its fields disagree.
//
// A RegisterPrinter reads and prints the double words of one capability (or
// header) of one space of one port through a router handle, each line right
// after its own read, and keeps the status of the last read.
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "kernel/config_space.h"
#include "kernel/router_handle.h"
#include "platform/status.h"
#include "toolkit/report_sink.h"
#include "toolkit/utilities.h"

namespace tbt::reports {

/// The name of a field's value ("x4", "CONNECTED, CL0", ...).
using Namer = std::string_view (*)(uint32_t value);

/// How a field's value reaches its conversion.
enum class FieldKind : uint8_t {
  Value,        // the bit range's value
  Name,         // the name of the bit range's value
  Argument,     // the line's argument, not read from the register
  I2cClockKHz,  // 156250 / ((prescale + 1) * 5) of the bit range, in single precision
};

struct Field {
  constexpr Field(Bits b) : bits(b) {}  // NOLINT: a bit range is the common field
  constexpr Field(int hi, int lo) : bits{static_cast<uint8_t>(hi), static_cast<uint8_t>(lo)} {}
  constexpr Field(Bits b, FieldKind k, Namer n = nullptr) : bits(b), kind(k), namer(n) {}
  Bits bits;
  FieldKind kind = FieldKind::Value;
  Namer namer = nullptr;
};

/// One bit.
constexpr Bits bit(int n) { return {static_cast<uint8_t>(n), static_cast<uint8_t>(n)}; }
/// The whole double word.
inline constexpr Bits kWhole{31, 0};
/// The name of a bit range's value.
constexpr Field named(Bits bits, Namer namer) { return {bits, FieldKind::Name, namer}; }
/// The line's argument.
inline constexpr Field kArgument{Bits{31, 0}, FieldKind::Argument};

struct Line {
  uint32_t dw;          // the double word, counted from the first of what is printed
  const char* format;   // index and raw value first, then one conversion per field
  std::initializer_list<Field> fields;
};

/// The conversions of format, "%%" not counted.
constexpr int conversionCount(const char* format) {
  int n = 0;
  for (const char* p = format; *p; ++p) {
    if (*p != '%') continue;
    if (p[1] == '%') ++p;
    else ++n;
  }
  return n;
}

/// True when every line's format has one conversion per field after the
/// index and the raw value, a string conversion exactly where a name goes,
/// "%f" exactly where the I2C clock goes, and only conversions the renderer
/// knows (d, i, u, x, c, f, s, @).
constexpr bool formatMatches(const Line& line) {
  if (conversionCount(line.format) != static_cast<int>(line.fields.size()) + 2) return false;
  int conversion = 0;
  for (const char* p = line.format; *p; ++p) {
    if (*p != '%') continue;
    if (p[1] == '%') {
      ++p;
      continue;
    }
    const char* c = p + 1;
    while (*c == '0' || *c == '-' || (*c >= '1' && *c <= '9') || *c == 'l') ++c;
    const bool text = *c == 's' || *c == '@';
    const bool number = *c == 'd' || *c == 'i' || *c == 'u' || *c == 'x' || *c == 'c';
    const FieldKind kind = conversion >= 2 ? line.fields.begin()[conversion - 2].kind : FieldKind::Value;
    if (text != (kind == FieldKind::Name) || (*c == 'f') != (kind == FieldKind::I2cClockKHz)) return false;
    if (!text && !number && *c != 'f') return false;
    ++conversion;
  }
  return true;
}
template <size_t N>
constexpr bool formatsMatch(const Line (&lines)[N]) {
  for (const Line& line : lines)
    if (!formatMatches(line)) return false;
  return true;
}

/// A capability without a decoder of its own, in any space.
inline constexpr Line kOtherCapability{0, "\n  %03x:  %08x   Cap ID = 0x%02x   Next Cap Ptr=0x%02x\n", {{15, 8}, {7, 0}}};
static_assert(formatMatches(kOtherCapability));
/// The header of the vendor-specific capabilities without a name of their own.
inline constexpr Line kVsecHeader{
    0, "\n  %03x:  %08x   VSEC length=0x%02x   VSEC ID=0x%02x   Cap ID=0x%02x   Next Cap Ptr=0x%02x\n",
    {{31, 24}, {23, 16}, {15, 8}, {7, 0}}};
static_assert(formatMatches(kVsecHeader));

/// Renders one line: format filled with the printed index, the raw value and
/// the fields taken from raw (argument for an argument field).
void renderLine(std::string& out, const Line& line, uint32_t printedIndex, uint32_t raw, uint32_t argument = 0);

/// The fields of a line as a report prints them, by the names the line
/// gives them: the words before each value's '=' (a name printed in
/// parentheses right after a value is that value's name; a bracket group's
/// label prefixes the names inside it; a line's argument joins the name of
/// the field after it).
std::vector<ReportField> nameFields(const Line& line, uint32_t raw, uint32_t argument = 0);

/// The shared utilities' setting for printed indexes.
bool relativeAddressing();

/// The set-up of every report: the user client of the handle's router ID made
/// active (a router ID without one counts as active). General failure when it
/// cannot be.
Status setUpReport(RouterHandle& handle);
/// The same, then the route the router reports of itself (the route the
/// report prints) into route.
Status setUpReport(RouterHandle& handle, uint64_t& route);

/// Appends "ERROR: 0x%08x\n" when s is not 0.
void closeWithError(ReportSink& sink, Status s);

class RegisterPrinter {
 public:
  /// Prints double words first + dw of (port, space) of the router behind
  /// handle. The printed index is first + dw, or dw alone when relative.
  RegisterPrinter(RouterHandle& handle, uint32_t port, uint32_t space, uint32_t first, bool relative,
                  ReportSink& sink)
      : handle_(handle), port_(port), space_(space), first_(first), relative_(relative), sink_(sink) {}

  /// Reads double word dw into value; false (status kept) when the read
  /// fails, or with aborted and nothing read once the sink has stopped.
  bool read(uint32_t dw, uint32_t& value);
  /// Reads the line's double word and prints the line; false when the read fails.
  bool print(const Line& line, uint32_t argument = 0) { return printAt(line.dw, line, argument); }
  /// The same for a line that repeats: printed for double word dw.
  bool printAt(uint32_t dw, const Line& line, uint32_t argument = 0);
  /// Reads and prints the line, keeping the value read; false when the read fails.
  bool printInto(const Line& line, uint32_t& value);
  /// Prints the lines in order; false at the first failing read.
  bool print(std::span<const Line> lines);
  /// Prints a line of double word dw for a value already read.
  void show(uint32_t dw, const Line& line, uint32_t value, uint32_t argument = 0);
  /// Reads and prints double word dw as "  %03x:  %08x\n".
  bool plain(uint32_t dw);
  /// Plain lines for double words from..to-1; false at the first failing read.
  bool plainRange(uint32_t from, uint32_t to);

  /// The printed index of double word dw.
  uint32_t printedIndex(uint32_t dw) const { return relative_ ? dw : first_ + dw; }
  uint32_t first() const { return first_; }
  Status status() const { return status_; }
  ReportSink& sink() { return sink_; }
  RouterHandle& handle() { return handle_; }

 private:
  RouterHandle& handle_;
  uint32_t port_;
  uint32_t space_;
  uint32_t first_;
  bool relative_;
  ReportSink& sink_;
  Status status_ = status::kSuccess;
  std::string line_;
};

/// The plain line of a double word printed without fields.
inline constexpr Line kPlainLine{0, "  %03x:  %08x\n", {}};

/// A vendor-specific capability without a decoder of its own: the header,
/// the second header double word (extendedHeader) when the header's length
/// is 0, then every double word up to the length, plain but for special when
/// one is given (printed at its own double word).
void printVendorCapability(RegisterPrinter& p, const Line& extendedHeader, const Line* special = nullptr);

/// A capability walk's memory of the capabilities it has printed: a chain
/// that comes back to one of them is treated as one that points to itself,
/// so that hostile device data cannot make a report run on forever.
class VisitedCapabilities {
 public:
  /// True when index was seen before; marks it seen.
  bool seen(uint32_t index);

 private:
  std::unordered_set<uint32_t> indexes_;
};

}  // namespace tbt::reports
