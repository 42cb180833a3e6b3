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

// Walks a line's format: each run of text between conversions ("%%" as
// "%") to text(piece), each conversion to convert(n, conversion), counted
// from 0, until convert returns false.
template <typename Text, typename Convert>
void walkFormat(const char* format, Text&& text, Convert&& convert) {
  int conversion = 0;
  const char* p = format;
  while (*p) {
    const char* percent = std::strchr(p, '%');
    if (!percent) {
      text(std::string_view(p));
      return;
    }
    text(std::string_view(p, static_cast<size_t>(percent - p)));
    p = percent;
    if (p[1] == '%') {
      text(std::string_view("%"));
      p += 2;
      continue;
    }
    Conversion c;
    p = parseConversion(p + 1, c);
    if (!convert(conversion++, c)) return;
  }
}

}  // namespace

void renderLine(std::string& out, const Line& line, uint32_t printedIndex, uint32_t raw, uint32_t argument) {
  walkFormat(line.format, [&](std::string_view text) { out.append(text); }, [&](int n, const Conversion& c) {
    if (n < 2) {
      appendNumber(out, c, n == 0 ? printedIndex : raw);
      return true;
    }
    if (static_cast<size_t>(n - 2) >= line.fields.size()) return true;
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
    return true;
  });
}

namespace {

// A field's name from the text that leads to its conversion: the words
// before its '=' (or before "0x" where the line has no '='), after the
// previous field's text; inside a bracket group ("Local [EF=%d  Lanes=%d]")
// prefixed with the group's label, and with a "P4:" subgroup inside it
// ("Errs[P4:FC=%d HEC=%d" gives "Errs P4 FC", "Errs P4 HEC").
class FieldNamer {
 public:
  std::string name(std::string_view lead) {
    // A group closes at ']' and opens at '['; the text after both leads to the field.
    const size_t close = lead.rfind(']');
    const size_t open = lead.rfind('[');
    if (close != std::string_view::npos && (open == std::string_view::npos || open < close)) {
      group_.clear();
      sub_.clear();
    }
    std::string_view key = lead;
    if (open != std::string_view::npos && (close == std::string_view::npos || close < open)) {
      group_ = std::string(lastWords(lead.substr(0, open)));
      sub_.clear();
      key = lead.substr(open + 1);
    }
    key = lastWords(key);
    if (!group_.empty()) {
      const size_t colon = key.find(':');
      if (colon != std::string_view::npos) {
        sub_ = std::string(trim(key.substr(0, colon)));
        key = trim(key.substr(colon + 1));
      }
    }
    std::string name = group_;
    for (std::string_view part : {std::string_view(sub_), key}) {
      if (part.empty()) continue;
      if (!name.empty()) name += ' ';
      name.append(part);
    }
    return name;
  }

 private:
  static std::string_view trim(std::string_view s) {
    while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
    while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
    return s;
  }
  // The words of text that lead to a value: after the last double blank or
  // closing parenthesis, without the "=" or "0x" before the value.
  static std::string_view lastWords(std::string_view text) {
    text = trim(text);
    // "= 0x", "=", ":", "(": whatever stands between the words and the value, in any order.
    for (bool stripped = true; stripped;) {
      stripped = false;
      for (std::string_view tail : {"0x", "=", ":", "("})
        if (text.ends_with(tail)) {
          text = trim(text.substr(0, text.size() - tail.size()));
          stripped = true;
        }
    }
    size_t start = 0;
    const size_t blanks = text.rfind("  ");
    if (blanks != std::string_view::npos) start = blanks + 2;
    const size_t paren = text.rfind(')');
    if (paren != std::string_view::npos && paren + 1 > start) start = paren + 1;
    const size_t bracket = text.rfind(']');
    if (bracket != std::string_view::npos && bracket + 1 > start) start = bracket + 1;
    return trim(text.substr(start));
  }

  std::string group_;
  std::string sub_;
};

}  // namespace

std::vector<ReportField> nameFields(const Line& line, uint32_t raw, uint32_t argument) {
  std::vector<ReportField> fields;
  FieldNamer namer;
  std::string lead;
  const Field* previous = nullptr;  // the field of the last entry
  walkFormat(line.format, [&](std::string_view text) { lead.append(text); }, [&](int n, const Conversion& c) {
    if (n < 2) {
      lead.clear();
      return true;
    }
    if (static_cast<size_t>(n - 2) >= line.fields.size()) return false;
    const Field& field = line.fields.begin()[n - 2];
    const uint32_t value = field.bits.of(raw);
    // An argument numbers the field after it ("wdata03=..."): it joins that field's name.
    if (field.kind == FieldKind::Argument) {
      appendNumber(lead, c, argument);
      return true;
    }
    const bool attached = previous && (lead == " (" || lead == "(") && previous->bits.hi == field.bits.hi &&
                          previous->bits.lo == field.bits.lo;
    if (c.type == 'c' && previous) {
      // Characters spell the previous field's value ("iecs_cmd=0x724f4943 ('CIOr')").
      fields.back().valueName += static_cast<char>(value);
    } else if (field.kind == FieldKind::I2cClockKHz && attached) {
      fields.back().valueName = textf("%fKHz", static_cast<double>(i2cClockKHz(value)));
    } else if (field.kind == FieldKind::Name && attached) {
      fields.back().valueName = std::string(field.namer ? field.namer(value) : std::string_view());
    } else {
      ReportField f{namer.name(lead), value, {}};
      // A line that names two fields alike tells them apart by their bits.
      for (const ReportField& other : fields)
        if (other.name == f.name) appendf(f.name, " [%d:%d]", field.bits.hi, field.bits.lo);
      if (field.kind == FieldKind::Name && field.namer) f.valueName = std::string(field.namer(value));
      fields.push_back(std::move(f));
      previous = &field;
    }
    lead.clear();
    return true;
  });
  return fields;
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
  if (status_ == status::kSuccess) return true;
  if (status_ != status::kAborted) sink_.readFailed(handle_.route(), port_, space_, first_ + dw, status_);
  return false;
}

void RegisterPrinter::show(uint32_t dw, const Line& line, uint32_t value, uint32_t argument) {
  line_.clear();
  renderLine(line_, line, printedIndex(dw), value, argument);
  std::vector<ReportField> fields;
  if (sink_.wantsFields()) fields = nameFields(line, value, argument);
  sink_.writeRegister({handle_.route(), port_, space_, first_ + dw, printedIndex(dw), value, fields, line_});
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
