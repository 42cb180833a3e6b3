#include "sim/json_reader.h"


#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>

#include "platform/text.h"

namespace tbt::sim {

namespace {

constexpr const char* kNumberForm = "expected a number (a JSON integer or a \"0x...\" string)";

/// Parses the whole of digits in base 10 or 16 into out; false on an empty
/// text, a bad digit or an overflow.
template <typename T>
bool parseDigits(std::string_view digits, int base, T& out) {
  const char* end = digits.data() + digits.size();
  auto [stop, error] = std::from_chars(digits.data(), end, out, base);
  return !digits.empty() && error == std::errc() && stop == end;
}

bool isHexText(std::string_view s) { return s.size() > 2 && s.substr(0, 2) == "0x"; }

}  // namespace

std::string keyPath(const std::string& path, std::string_view key) {
  return path.empty() ? std::string(key) : path + "." + std::string(key);
}

std::string indexPath(const std::string& path, size_t i) { return textf("%s[%zu]", path.c_str(), i); }

std::string errorLine(const std::string& path, const std::string& reason) {
  return escapeControls((path.empty() ? std::string("host file") : path) + ": " + reason);
}

bool JsonReader::fail(const std::string& path, const std::string& reason) {
  if (error_.empty()) error_ = errorLine(path, reason);
  return false;
}

const nlohmann::json* JsonReader::required(const nlohmann::json& v, const char* key, const std::string& path) {
  auto it = v.find(key);
  if (it != v.end()) return &*it;
  fail(keyPath(path, key), "required key is missing");
  return nullptr;
}

bool JsonReader::anyObject(const nlohmann::json& v, const std::string& path) {
  return v.is_object() || isPackedObject(v) || fail(path, "expected an object");
}

bool JsonReader::object(const nlohmann::json& v, const std::string& path,
                        std::initializer_list<std::string_view> allowed) {
  return anyObject(v, path) && forEachMember(v, [&](const std::string& k, const nlohmann::json&) {
           return std::find(allowed.begin(), allowed.end(), k) != allowed.end() || fail(keyPath(path, k), "unknown key");
         });
}

bool JsonReader::array(const nlohmann::json& v, const std::string& path) {
  return v.is_array() || fail(path, "expected an array");
}

bool JsonReader::string(const nlohmann::json& v, const std::string& path, std::string& out) {
  if (!v.is_string()) return fail(path, "expected a string");
  out = v.get<std::string>();
  return true;
}

bool JsonReader::boolean(const nlohmann::json& v, const std::string& path, bool& out) {
  if (!v.is_boolean()) return fail(path, "expected true or false");
  out = v.get<bool>();
  return true;
}

std::optional<uint64_t> JsonReader::readNumber(const nlohmann::json& v, const std::string& path, uint64_t max) {
  uint64_t n = 0;
  if (v.is_number_unsigned()) {
    n = v.get<uint64_t>();
  } else if (v.is_number_integer()) {
    return fail(path, "expected a number that is not negative"), std::nullopt;
  } else if (!v.is_string() || !isHexText(v.get_ref<const std::string&>()) ||
             !parseDigits(std::string_view(v.get_ref<const std::string&>()).substr(2), 16, n)) {
    return fail(path, kNumberForm), std::nullopt;
  }
  if (n > max) {
    fail(path, textf("0x%llx is above the largest value 0x%llx", static_cast<unsigned long long>(n),
                     static_cast<unsigned long long>(max)));
    return std::nullopt;
  }
  return n;
}

bool JsonReader::signedNumber(const nlohmann::json& v, const std::string& path, int64_t min, int64_t& out) {
  if (v.is_number_integer() && !v.is_number_unsigned()) {
    int64_t n = v.get<int64_t>();
    if (n < min) return fail(path, textf("%lld is below the smallest value %lld", static_cast<long long>(n),
                                         static_cast<long long>(min)));
    out = n;
    return true;
  }
  return number(v, path, out);
}

std::optional<uint64_t> JsonReader::readKey(const std::string& text, const std::string& path, uint64_t max) {
  uint64_t n = 0;
  bool ok = isHexText(text) ? parseDigits(std::string_view(text).substr(2), 16, n) : parseDigits(text, 10, n);
  if (!ok) return fail(path, "expected a decimal or 0x-hex number as the key"), std::nullopt;
  if (n > max) {
    fail(path, textf("key %s is above the largest value 0x%llx", text.c_str(), static_cast<unsigned long long>(max)));
    return std::nullopt;
  }
  return n;
}

bool JsonReader::bytes(const nlohmann::json& v, const std::string& path, std::vector<uint8_t>& out) {
  constexpr const char* form = "expected hex bytes (\"c0ffee\") or \"ASCII:text\"";
  if (!v.is_string()) return fail(path, form);
  std::string_view s = v.get_ref<const std::string&>();
  out.clear();
  if (s.substr(0, 6) == "ASCII:") {
    out.assign(s.begin() + 6, s.end());
    return true;
  }
  if (s.substr(0, 2) == "0x") s.remove_prefix(2);
  // Digit pairs, with white space allowed between two pairs.
  while (!s.empty()) {
    if (std::isspace(static_cast<unsigned char>(s[0]))) {
      s.remove_prefix(1);
      continue;
    }
    uint8_t byte = 0;
    if (s.size() == 1 && std::isxdigit(static_cast<unsigned char>(s[0]))) return fail(path, "odd number of hex digits");
    if (!parseDigits(s.substr(0, 2), 16, byte)) return fail(path, form);
    out.push_back(byte);
    s.remove_prefix(2);
  }
  return true;
}

bool JsonReader::wordRun(std::string_view text, const std::string& path, uint32_t index,
                         std::vector<DwordStore::Word>& words) {
  uint32_t next = index;
  bool last = false;  // the run reached index 0xffffffff
  while (!text.empty()) {
    if (text[0] == ' ') {
      text.remove_prefix(1);
      continue;
    }
    const std::string_view token = text.substr(0, text.find(' '));
    text.remove_prefix(token.size());
    uint32_t word = 0;
    if (token.size() > 8 || !parseDigits(token, 16, word))
      return fail(path, textf("expected up to 8 hex digits per double word, not '%.*s'",
                              static_cast<int>(std::min<size_t>(token.size(), 16)), token.data()));
    if (last) return fail(path, textf("the run from double word %u passes the last index", index));
    words.emplace_back(next, word);
    last = next == UINT32_MAX;
    ++next;
  }
  return true;
}

bool JsonReader::dwordMap(const nlohmann::json& v, const std::string& path, DwordStore& store) {
  if (!anyObject(v, path)) return false;
  // The words of the members, up to the member that holds word number stop
  // (that member's path into *at).
  auto parse = [&](std::vector<DwordStore::Word>& words, size_t stop, std::string* at) {
    bool reached = false;
    return forEachMember(v, [&](const std::string& k, const nlohmann::json& value) {
      const std::string member = keyPath(path, k);
      uint32_t index = 0, word = 0;
      if (!key(k, member, index)) return false;
      // "index": "w0 w1 ...": consecutive double words from index, in hex.
      if (value.is_string() && value.get_ref<const std::string&>().find(' ') != std::string::npos) {
        if (!wordRun(value.get_ref<const std::string&>(), member, index, words)) return false;
      } else {
        if (!number(value, member, word)) return false;
        words.emplace_back(index, word);
      }
      if (words.size() > stop) {
        *at = member;
        reached = true;
        return false;
      }
      return true;
    }) || reached;
  };
  std::vector<DwordStore::Word> words;
  words.reserve(isPackedObject(v) ? kPackedMembersFrom : v.size());
  if (!parse(words, SIZE_MAX, nullptr)) return false;
  if (std::optional<size_t> twice = store.writeAll(std::move(words))) {
    // Rare: parse again as far as the word given twice, to name its member.
    std::vector<DwordStore::Word> again;
    std::string at;
    parse(again, *twice, &at);
    return fail(at, textf("double word %u given twice", again[*twice].first));
  }
  return true;
}

bool JsonReader::byteMap(const nlohmann::json& v, const std::string& path, ByteMemory& memory) {
  if (!anyObject(v, path)) return false;
  std::vector<uint8_t> data;
  return forEachMember(v, [&](const std::string& k, const nlohmann::json& value) {
    std::string at = keyPath(path, k);
    uint32_t address = 0;
    if (!key(k, at, address) || !bytes(value, at, data)) return false;
    return memory.write(address, data) ||
           fail(at, textf("%zu bytes at 0x%llx run past the end (size 0x%llx)", data.size(),
                          static_cast<unsigned long long>(address), static_cast<unsigned long long>(memory.size())));
  });
}

bool JsonReader::properties(const nlohmann::json& v, const std::string& path, PropertyDict& set,
                            std::vector<std::string>& removed) {
  return anyObject(v, path) && forEachMember(v, [&](const std::string& k, const nlohmann::json& value) {
           if (value.is_null()) {
             removed.push_back(k);
             return true;
           }
           Property p;
           if (!property(value, keyPath(path, k), p)) return false;
           set.set(k, std::move(p));
           return true;
         });
}

bool JsonReader::property(const nlohmann::json& v, const std::string& path, Property& out) {
  uint64_t n = 0;
  if (v.is_boolean()) {
    out = Property::boolean(v.get<bool>());
  } else if (v.is_number_integer()) {
    out = Property::number(v.is_number_unsigned() ? v.get<uint64_t>() : static_cast<uint64_t>(v.get<int64_t>()));
  } else if (v.is_number_float()) {
    out = Property::real(v.get<double>());
  } else if (v.is_string()) {
    const auto& s = v.get_ref<const std::string&>();
    // "0x..." strings are numbers, as everywhere in a host file.
    if (isHexText(s) && parseDigits(std::string_view(s).substr(2), 16, n)) out = Property::number(n);
    else out = Property::string(s);
  } else if (v.is_object() && v.size() == 1 && v.contains("data")) {
    std::vector<uint8_t> data;
    if (!bytes(*v.find("data"), keyPath(path, "data"), data)) return false;
    out = Property::data(std::move(data));
  } else if (v.is_object() || isPackedObject(v)) {
    PropertyDict dict;
    if (!forEachMember(v, [&](const std::string& k, const nlohmann::json& value) {
          Property p;
          if (!property(value, keyPath(path, k), p)) return false;
          dict.set(k, std::move(p));
          return true;
        }))
      return false;
    out = Property::dictionary(std::move(dict));
  } else if (v.is_array()) {
    std::vector<Property> items(v.size());
    for (size_t i = 0; i < v.size(); ++i)
      if (!property(v[i], indexPath(path, i), items[i])) return false;
    out = Property::array(std::move(items));
  } else {
    return fail(path, "null is allowed only as a property's whole value (to leave the property out)");
  }
  return true;
}

}  // namespace tbt::sim
