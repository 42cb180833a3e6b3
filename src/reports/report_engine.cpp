#include "reports/report_engine.h"

#include <charconv>
#include <cstring>

#include "platform/text.h"

namespace tbt::reports {
namespace {

// One conversion of a line's format: flags, width and conversion character.
struct Conversion {
  bool zeroPad = false;
  bool leftAlign = false;
  int width = 0;
  char type = 0;
};

// Parses the conversion after the '%' at p; returns the position after it.
const char* parseConversion(const char* p, Conversion& c) {
  for (;; ++p) {
    if (*p == '0') c.zeroPad = true;
    else if (*p == '-') c.leftAlign = true;
    else break;
  }
  while (*p >= '0' && *p <= '9') c.width = c.width * 10 + (*p++ - '0');
  while (*p == 'l') ++p;
  c.type = *p;
  return *p ? p + 1 : p;
}

// Appends text padded to the conversion's width, as printf pads it: zeros
// after a sign for a zero-padded number, blanks before it (after it when
// left-aligned) otherwise.
void appendPadded(std::string& out, const Conversion& c, std::string_view text, bool number) {
  const size_t width = static_cast<size_t>(c.width);
  const size_t fill = width > text.size() ? width - text.size() : 0;
  if (c.leftAlign) {
    out.append(text);
    out.append(fill, ' ');
  } else if (c.zeroPad && number) {
    if (!text.empty() && text.front() == '-') {
      out += '-';
      text.remove_prefix(1);
    }
    out.append(fill, '0');
    out.append(text);
  } else {
    out.append(fill, ' ');
    out.append(text);
  }
}

// One integer conversion of a register value. The register lines are
// formatted here directly, without a printf call per field, so that a
// report costs little beside the register reads it stands for; the tables'
// formats are checked when compiled (formatsMatch) instead of by the
// compiler's printf checking.
void appendNumber(std::string& out, const Conversion& c, uint32_t value) {
  char digits[16];
  std::to_chars_result r{digits, std::errc()};
  switch (c.type) {
    case 'd':
    case 'i':
      // As printf prints a 32-bit register value given to "%d".
      r = std::to_chars(digits, digits + sizeof digits, static_cast<int32_t>(value));
      break;
    case 'u': r = std::to_chars(digits, digits + sizeof digits, value); break;
    case 'x': r = std::to_chars(digits, digits + sizeof digits, value, 16); break;
    case 'c':
      digits[0] = static_cast<char>(value);
      appendPadded(out, c, std::string_view(digits, 1), false);
      return;
    default: return;
  }
  appendPadded(out, c, std::string_view(digits, static_cast<size_t>(r.ptr - digits)), true);
}

// The I2C controller's clock: the 156.25 MHz reference divided by five times
// the prescale plus one, in kHz, as the controller's single-precision
// arithmetic gives it.
float i2cClockKHz(uint32_t prescale) {
  return 156250.0f / (static_cast<float>(prescale + 1) * 5.0f);
}

}  // namespace

void renderLine(std::string& out, const Line& line, uint32_t printedIndex, uint32_t raw, uint32_t argument) {
  int conversion = 0;
  const char* p = line.format;
  while (*p) {
    const char* percent = std::strchr(p, '%');
    if (!percent) {
      out.append(p);
      break;
    }
    out.append(p, static_cast<size_t>(percent - p));
    p = percent;
    if (p[1] == '%') {
      out += '%';
      p += 2;
      continue;
    }
    Conversion c;
    p = parseConversion(p + 1, c);
    const int n = conversion++;
    if (n < 2) {
      appendNumber(out, c, n == 0 ? printedIndex : raw);
      continue;
    }
    if (static_cast<size_t>(n - 2) >= line.fields.size()) continue;
    const Field& field = line.fields.begin()[n - 2];
    const uint32_t value = field.bits.of(raw);
    switch (field.kind) {
      case FieldKind::Value: appendNumber(out, c, value); break;
      case FieldKind::Argument: appendNumber(out, c, argument); break;
      case FieldKind::Name: {
        appendPadded(out, c, field.namer ? field.namer(value) : std::string_view(), false);
        break;
      }
      case FieldKind::I2cClockKHz: appendf(out, "%f", static_cast<double>(i2cClockKHz(value))); break;
    }
  }
}

bool relativeAddressing() { return ThunderboltUserClientUtils::sharedInstance().relativeAddressing(); }

Status setUpReport(RouterHandle& handle) {
  return ThunderboltUserClientUtils::sharedInstance().makeUserClientActiveForRID(handle.routerID())
             ? status::kSuccess
             : status::kGeneralFailure;
}

Status setUpReport(RouterHandle& handle, uint64_t& route) {
  const Status s = setUpReport(handle);
  return s == status::kSuccess ? handle.actualRoute(route) : s;
}

void closeWithError(ReportSink& sink, Status s) {
  if (s != status::kSuccess) sink.write(textf("ERROR: 0x%08x\n", s));
}

bool RegisterPrinter::read(uint32_t dw, uint32_t& value) {
  status_ = sink_.stopped() ? status::kAborted : handle_.configReadWithPort(port_, space_, first_ + dw, value);
  return status_ == status::kSuccess;
}

void RegisterPrinter::show(uint32_t dw, const Line& line, uint32_t value, uint32_t argument) {
  line_.clear();
  renderLine(line_, line, printedIndex(dw), value, argument);
  sink_.write(line_);
}

bool RegisterPrinter::printAt(uint32_t dw, const Line& line, uint32_t argument) {
  uint32_t value = 0;
  if (!read(dw, value)) return false;
  show(dw, line, value, argument);
  return true;
}

bool RegisterPrinter::printInto(const Line& line, uint32_t& value) {
  if (!read(line.dw, value)) return false;
  show(line.dw, line, value);
  return true;
}

bool RegisterPrinter::print(std::span<const Line> lines) {
  for (const Line& line : lines)
    if (!print(line)) return false;
  return true;
}

bool RegisterPrinter::plain(uint32_t dw) {
  return printAt(dw, kPlainLine);
}

bool RegisterPrinter::plainRange(uint32_t from, uint32_t to) {
  for (uint32_t dw = from; dw < to; ++dw)
    if (!plain(dw)) return false;
  return true;
}

bool VisitedCapabilities::seen(uint32_t index) { return !indexes_.insert(index).second; }

void printVendorCapability(RegisterPrinter& p, const Line& extendedHeader, const Line* special) {
  uint32_t header = 0;
  if (!p.printInto(kVsecHeader, header)) return;
  uint32_t length = kVsecLength.of(header);
  uint32_t dw = 1;
  if (length == 0) {
    uint32_t extended = 0;
    if (!p.printInto(extendedHeader, extended)) return;
    length = Bits{31, 16}.of(extended);
    dw = 2;
  }
  for (; dw < length; ++dw)
    if (!p.printAt(dw, special && dw == special->dw ? *special : kPlainLine)) return;
}

}  // namespace tbt::reports
