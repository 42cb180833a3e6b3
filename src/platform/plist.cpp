#include "platform/plist.h"

#include <charconv>

#include "platform/file_reader.h"
#include "platform/text.h"

namespace tbt {
namespace {

// Containers nested deeper than this are refused, so a hostile file cannot
// exhaust the stack.
constexpr int kMaxDepth = 64;
// Files larger than this are refused rather than read into memory.
constexpr size_t kMaxFileSize = 16u << 20;

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isNameStart(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == ':'; }
bool isNameChar(char c) { return isNameStart(c) || isDigit(c) || c == '-' || c == '.'; }

std::string_view trim(std::string_view s) {
  while (!s.empty() && isSpace(s.front())) s.remove_prefix(1);
  while (!s.empty() && isSpace(s.back())) s.remove_suffix(1);
  return s;
}

void appendUtf8(std::string& out, uint32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// "&...;" without the delimiters: a named entity or a character reference.
bool decodeEntity(std::string_view name, std::string& out) {
  static constexpr std::pair<std::string_view, char> kNamed[] = {
      {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
  for (const auto& [n, c] : kNamed) {
    if (name == n) {
      out += c;
      return true;
    }
  }
  if (name.size() < 2 || name[0] != '#') return false;
  int base = 10;
  std::string_view digits = name.substr(1);
  if (digits[0] == 'x') {
    base = 16;
    digits.remove_prefix(1);
  }
  uint32_t cp = 0;
  auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), cp, base);
  if (digits.empty() || ec != std::errc() || end != digits.data() + digits.size()) return false;
  if (cp == 0 || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
  appendUtf8(out, cp);
  return true;
}

int base64Value(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (isDigit(c)) return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

// Base64 with whitespace anywhere; padding required, and only at the end.
std::optional<std::vector<uint8_t>> decodeBase64(std::string_view text) {
  std::vector<uint8_t> out;
  uint32_t bits = 0;
  size_t symbols = 0, padding = 0;
  for (char c : text) {
    if (isSpace(c)) continue;
    if (c == '=') {
      ++padding;
      ++symbols;
      continue;
    }
    int v = base64Value(c);
    if (v < 0 || padding > 0) return std::nullopt;
    bits = (bits << 6) | static_cast<uint32_t>(v);
    if (++symbols % 4 == 0) {
      out.push_back(static_cast<uint8_t>(bits >> 16));
      out.push_back(static_cast<uint8_t>(bits >> 8));
      out.push_back(static_cast<uint8_t>(bits));
      bits = 0;
    }
  }
  if (symbols % 4 != 0 || padding > 2) return std::nullopt;
  if (padding == 1) {
    out.push_back(static_cast<uint8_t>(bits >> 10));
    out.push_back(static_cast<uint8_t>(bits >> 2));
  } else if (padding == 2) {
    out.push_back(static_cast<uint8_t>(bits >> 4));
  }
  return out;
}

// An integer in decimal or 0x-hexadecimal, optionally signed. Negative values
// keep their two's-complement bits in the 64-bit number.
std::optional<uint64_t> parseInteger(std::string_view text) {
  text = trim(text);
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  uint64_t magnitude = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (!negative) return magnitude;
  if (magnitude > (uint64_t{1} << 63)) return std::nullopt;
  return uint64_t{0} - magnitude;
}

std::optional<double> parseReal(std::string_view text) {
  text = trim(text);
  double v = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return v;
}

// "YYYY-MM-DDTHH:MM:SSZ", the only form property-list dates take.
bool isValidDate(std::string_view d) {
  static constexpr std::string_view kShape = "dddd-dd-ddTdd:dd:ddZ";
  if (d.size() != kShape.size()) return false;
  for (size_t i = 0; i < d.size(); ++i)
    if (kShape[i] == 'd' ? !isDigit(d[i]) : d[i] != kShape[i]) return false;
  auto field = [&](size_t at) { return (d[at] - '0') * 10 + (d[at + 1] - '0'); };
  int month = field(5), day = field(8);
  return month >= 1 && month <= 12 && day >= 1 && day <= 31 && field(11) <= 23 && field(14) <= 59 &&
         field(17) <= 60;
}

// A value quoted in an error: control characters escaped so that the reason
// stays one line, and a long value cut short.
std::string shown(std::string_view value) {
  constexpr size_t kMaxShown = 40;
  return escapeControls(value.substr(0, kMaxShown)) + (value.size() > kMaxShown ? "..." : "");
}

struct Tag {
  std::string_view name;
  bool closing = false;
  bool selfClosing = false;
};

class Parser {
 public:
  explicit Parser(std::string_view in) : in_(in) {}

  std::optional<PropertyDict> document() {
    if (in_.substr(0, 3) == "\xEF\xBB\xBF") pos_ = 3;
    Tag tag;
    if (!skipMisc() || !readTag(tag)) return std::nullopt;
    bool wrapped = !tag.closing && !tag.selfClosing && tag.name == "plist";
    if (wrapped && (!skipMisc() || !readTag(tag))) return std::nullopt;
    if (tag.closing || tag.name != "dict") {
      fail("the top level is not a dictionary");
      return std::nullopt;
    }
    Property top;
    if (!value(tag, top, 0)) return std::nullopt;
    if (wrapped && !closingTag("plist")) return std::nullopt;
    if (!skipMisc()) return std::nullopt;
    if (pos_ != in_.size()) {
      fail("content after the top-level dictionary");
      return std::nullopt;
    }
    return top.asDictionary();
  }

  const std::string& error() const { return error_; }

 private:
  bool fail(const std::string& what) {
    if (error_.empty()) {
      size_t line = 1;
      for (size_t i = 0; i < pos_ && i < in_.size(); ++i) line += in_[i] == '\n';
      error_ = textf("line %zu: %s", line, what.c_str());
    }
    return false;
  }

  bool startsWith(std::string_view s) const { return in_.substr(pos_, s.size()) == s; }

  // Moves past the next occurrence of terminator.
  bool skipPast(std::string_view terminator, const char* what) {
    size_t at = in_.find(terminator, pos_);
    if (at == std::string_view::npos) return fail(textf("unterminated %s", what));
    pos_ = at + terminator.size();
    return true;
  }

  // A document type declaration, whose internal subset may hold '>' inside
  // brackets or quotes.
  bool skipDoctype() {
    int brackets = 0;
    for (; pos_ < in_.size(); ++pos_) {
      char c = in_[pos_];
      if (c == '"' || c == '\'') {
        size_t close = in_.find(c, pos_ + 1);
        if (close == std::string_view::npos) break;
        pos_ = close;
      } else if (c == '[') {
        ++brackets;
      } else if (c == ']') {
        --brackets;
      } else if (c == '>' && brackets <= 0) {
        ++pos_;
        return true;
      }
    }
    return fail("unterminated document type declaration");
  }

  // Whitespace, comments, processing instructions and the document type.
  bool skipMisc() {
    for (;;) {
      while (pos_ < in_.size() && isSpace(in_[pos_])) ++pos_;
      if (startsWith("<!--")) {
        if (!skipPast("-->", "comment")) return false;
      } else if (startsWith("<?")) {
        if (!skipPast("?>", "processing instruction")) return false;
      } else if (startsWith("<!DOCTYPE")) {
        if (!skipDoctype()) return false;
      } else {
        return true;
      }
    }
  }

  std::string_view name() {
    size_t start = pos_;
    if (pos_ < in_.size() && isNameStart(in_[pos_]))
      while (pos_ < in_.size() && isNameChar(in_[pos_])) ++pos_;
    return in_.substr(start, pos_ - start);
  }

  void skipSpace() {
    while (pos_ < in_.size() && isSpace(in_[pos_])) ++pos_;
  }

  // An element tag at the current position; attributes are checked for form
  // and otherwise ignored.
  bool readTag(Tag& tag) {
    if (!startsWith("<")) return fail("expected an element");
    ++pos_;
    tag = Tag{};
    tag.closing = startsWith("/");
    if (tag.closing) ++pos_;
    tag.name = name();
    if (tag.name.empty()) return fail("malformed element name");
    for (;;) {
      skipSpace();
      if (startsWith(">")) break;
      if (!tag.closing && startsWith("/>")) {
        tag.selfClosing = true;
        ++pos_;
        break;
      }
      if (tag.closing || name().empty())
        return fail(textf("malformed tag <%.*s>", int(tag.name.size()), tag.name.data()));
      skipSpace();
      if (!startsWith("=")) return fail("attribute without a value");
      ++pos_;
      skipSpace();
      if (pos_ >= in_.size() || (in_[pos_] != '"' && in_[pos_] != '\'')) return fail("unquoted attribute value");
      size_t close = in_.find(in_[pos_], pos_ + 1);
      if (close == std::string_view::npos) return fail("unterminated attribute value");
      pos_ = close + 1;
    }
    ++pos_;
    return true;
  }

  bool closingTag(std::string_view expected) {
    Tag tag;
    if (!skipMisc() || !readTag(tag)) return false;
    if (!tag.closing || tag.name != expected)
      return fail(textf("expected </%.*s>", int(expected.size()), expected.data()));
    return true;
  }

  // Character data up to the next element: entities decoded, comments
  // dropped, CDATA sections taken as they stand.
  bool text(std::string& out) {
    while (pos_ < in_.size()) {
      char c = in_[pos_];
      if (c == '<') {
        if (startsWith("<!--")) {
          if (!skipPast("-->", "comment")) return false;
        } else if (startsWith("<![CDATA[")) {
          size_t start = pos_ + 9;
          if (!skipPast("]]>", "CDATA section")) return false;
          out.append(in_.substr(start, pos_ - 3 - start));
        } else {
          return true;
        }
      } else if (c == '&') {
        size_t semi = in_.find(';', pos_);
        if (semi == std::string_view::npos || semi - pos_ > 12 ||
            !decodeEntity(in_.substr(pos_ + 1, semi - pos_ - 1), out))
          return fail("malformed entity reference");
        pos_ = semi + 1;
      } else {
        out += c;
        ++pos_;
      }
    }
    return fail("unexpected end of document");
  }

  // The text content of a scalar element whose opening tag has been read.
  bool content(const Tag& open, std::string& out) {
    if (open.selfClosing) return true;
    return text(out) && closingTag(open.name);
  }

  bool value(const Tag& open, Property& out, int depth) {
    if (open.closing) return fail(textf("unexpected </%.*s>", int(open.name.size()), open.name.data()));
    if (open.name == "dict" || open.name == "array") {
      if (depth >= kMaxDepth) return fail("containers nested too deeply");
      return open.name == "dict" ? dict(open, out, depth) : array(open, out, depth);
    }
    std::string s;
    if (!content(open, s)) return false;
    if (open.name == "string") {
      out = Property::string(std::move(s));
    } else if (open.name == "integer") {
      auto v = parseInteger(s);
      if (!v) return fail(textf("malformed integer '%s'", shown(s).c_str()));
      out = Property::number(*v);
    } else if (open.name == "real") {
      auto v = parseReal(s);
      if (!v) return fail(textf("malformed real '%s'", shown(s).c_str()));
      out = Property::real(*v);
    } else if (open.name == "true" || open.name == "false") {
      if (!trim(s).empty()) return fail("a boolean has no content");
      out = Property::boolean(open.name == "true");
    } else if (open.name == "data") {
      auto bytes = decodeBase64(s);
      if (!bytes) return fail("malformed base64 data");
      out = Property::data(std::move(*bytes));
    } else if (open.name == "date") {
      if (!isValidDate(s)) return fail(textf("malformed date '%s'", shown(s).c_str()));
      out = Property::date(std::move(s));
    } else {
      return fail(textf("unknown element <%.*s>", int(open.name.size()), open.name.data()));
    }
    return true;
  }

  bool dict(const Tag& open, Property& out, int depth) {
    PropertyDict d;
    Tag tag;
    while (!open.selfClosing) {
      if (!skipMisc() || !readTag(tag)) return false;
      if (tag.closing && tag.name == "dict") break;
      if (tag.closing || tag.name != "key") return fail("expected <key> in a dictionary");
      std::string key;
      if (!content(tag, key)) return false;
      if (d.find(key)) return fail(textf("duplicate key '%s'", shown(key).c_str()));
      Property v;
      if (!skipMisc() || !readTag(tag)) return false;
      if (tag.closing) return fail(textf("key '%s' has no value", shown(key).c_str()));
      if (!value(tag, v, depth + 1)) return false;
      d.set(std::move(key), std::move(v));
    }
    out = Property::dictionary(std::move(d));
    return true;
  }

  bool array(const Tag& open, Property& out, int depth) {
    std::vector<Property> items;
    Tag tag;
    while (!open.selfClosing) {
      if (!skipMisc() || !readTag(tag)) return false;
      if (tag.closing && tag.name == "array") break;
      Property v;
      if (!value(tag, v, depth + 1)) return false;
      items.push_back(std::move(v));
    }
    out = Property::array(std::move(items));
    return true;
  }

  std::string_view in_;
  size_t pos_ = 0;
  std::string error_;
};

}  // namespace

std::optional<PropertyDict> parsePropertyList(std::string_view xml, std::string* error) {
  Parser parser(xml);
  auto result = parser.document();
  if (!result && error) *error = parser.error();
  return result;
}

std::optional<PropertyDict> readPropertyListFile(const std::string& path, std::string* error) {
  auto failWith = [&](const std::string& reason) -> std::optional<PropertyDict> {
    if (error) *error = textf("%s: %s", path.c_str(), reason.c_str());
    return std::nullopt;
  };
  std::string content;
  std::string reason = readRegularFile(path, kMaxFileSize, content);
  if (!reason.empty()) return failWith(reason);
  auto dict = parsePropertyList(content, &reason);
  if (!dict) return failWith(reason);
  return dict;
}

}  // namespace tbt
