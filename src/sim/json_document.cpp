#include "sim/json_document.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/text.h"
#include "sim/json_reader.h"

namespace tbt::sim {

namespace {

using nlohmann::json;

constexpr uint8_t kPackedSubtype = 0x70;
enum : uint8_t { kPackedString = 0, kPackedNumber = 1 };

void put32(std::vector<uint8_t>& out, uint32_t v) {
  const auto* b = reinterpret_cast<const uint8_t*>(&v);
  out.insert(out.end(), b, b + sizeof v);
}

template <typename T>
T take(const std::vector<uint8_t>& in, size_t& offset) {
  T v;
  std::memcpy(&v, in.data() + offset, sizeof v);
  offset += sizeof v;
  return v;
}

/// Builds the document from the parser's events, one container per level on
/// an explicit stack, so nothing here recurses. An object whose members are
/// all plain values (strings, non-negative integers) moves them into a
/// buffer of its own once they are many, and becomes the packed form when it
/// closes; a member of another kind makes it a plain object again.
class DocumentBuilder : public nlohmann::json_sax<json> {
 public:
  DocumentBuilder(json& root, bool pack, size_t maxValues) : root_(root), pack_(pack), maxValues_(maxValues) {}

  bool null() override { return add(json(nullptr)); }
  bool boolean(bool v) override { return add(json(v)); }
  bool number_integer(number_integer_t v) override { return add(json(v)); }
  bool number_unsigned(number_unsigned_t v) override {
    if (!packing()) return addPlain(json(v));
    Frame& f = startEntry(kPackedNumber);
    const auto* bytes = reinterpret_cast<const uint8_t*>(&v);
    f.scalars.insert(f.scalars.end(), bytes, bytes + sizeof(uint64_t));
    return true;
  }
  bool number_float(number_float_t v, const string_t&) override { return add(json(v)); }
  bool string(string_t& v) override {
    if (!packing()) return addPlain(json(std::move(v)));
    Frame& f = startEntry(kPackedString);
    put32(f.scalars, static_cast<uint32_t>(v.size()));
    f.scalars.insert(f.scalars.end(), v.begin(), v.end());
    return true;
  }
  bool binary(binary_t& v) override { return add(json::binary(std::move(v))); }
  bool start_object(std::size_t) override { return open(json::object()); }
  bool start_array(std::size_t) override { return open(json::array()); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key(string_t& k) override {
    // A packed object's keys are checked for doubles when it closes.
    if (!packing() && stack_.back().node->contains(k))
      return fail(keyPath(pathOf(stack_.size()), k), "key given twice in one object");
    key_ = std::move(k);
    return true;
  }

  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& e) override {
    // The library's text starts with its own "[json.exception...] " tag.
    std::string what = e.what();
    auto tag = what.find("] ");
    error_ = "not valid JSON: " + (tag == std::string::npos ? what : what.substr(tag + 2));
    return false;
  }

  const std::string& error() const { return error_; }

 private:
  struct Frame {
    json* node = nullptr;
    bool plainOnly = true;          // no member of another kind so far
    bool packing = false;           // the members are in scalars, not in node
    std::vector<uint8_t> scalars;   // key length, key, kind, value: one entry a member
    std::vector<uint32_t> entries;  // where each entry starts
  };

  bool packing() const { return !stack_.empty() && stack_.back().packing; }

  Frame& startEntry(uint8_t kind) {
    Frame& f = stack_.back();
    f.entries.push_back(static_cast<uint32_t>(f.scalars.size()));
    put32(f.scalars, static_cast<uint32_t>(key_.size()));
    f.scalars.insert(f.scalars.end(), key_.begin(), key_.end());
    f.scalars.push_back(kind);
    return f;
  }

  /// A plain value, where the parser stands; an object that now holds
  /// enough of them, and nothing else, starts packing.
  bool addPlain(json&& v) {
    if (!place(std::move(v))) return false;
    if (stack_.empty() || !pack_) return true;
    Frame& f = stack_.back();
    json& object = *f.node;
    if (!object.is_object() || !f.plainOnly || object.size() < kPackedMembersFrom) return true;
    f.packing = true;
    for (auto& [k, value] : object.items()) {
      key_ = k;
      if (value.is_string()) {
        const std::string& text = value.get_ref<const std::string&>();
        startEntry(kPackedString);
        put32(f.scalars, static_cast<uint32_t>(text.size()));
        f.scalars.insert(f.scalars.end(), text.begin(), text.end());
      } else {
        const uint64_t n = value.get<uint64_t>();
        const auto* bytes = reinterpret_cast<const uint8_t*>(&n);
        startEntry(kPackedNumber);
        f.scalars.insert(f.scalars.end(), bytes, bytes + sizeof n);
      }
    }
    values_ -= object.size();
    object = json::object();
    return true;
  }

  /// Places v where the parser stands: the root, the next item of an array
  /// or the value of the key just read; returns where it went.
  json* place(json&& v) {
    if (++values_ > maxValues_) {
      fail(nextPath(), textf("more than %zu values: a host file holds %zu and one more for every %zu bytes of its text",
                             maxValues_, kJsonValuesBase, kJsonBytesPerValue));
      return nullptr;
    }
    if (stack_.empty()) {
      root_ = std::move(v);
      return &root_;
    }
    Frame& f = stack_.back();
    json& parent = *f.node;
    if (parent.is_array()) {
      parent.push_back(std::move(v));
      return &parent.back();
    }
    if (!v.is_string() && !v.is_number_unsigned()) f.plainOnly = false;
    if (f.packing && !unpack(f)) return nullptr;
    json& slot = parent[key_];
    slot = std::move(v);
    return &slot;
  }

  /// Makes a packing object a plain one again: its members from the buffer.
  bool unpack(Frame& f) {
    f.packing = false;
    const std::string kept = key_;
    for (uint32_t entry : f.entries) {
      PackedMember m;
      packed::read(f.scalars, entry, m);
      std::string k(m.key);
      if (f.node->contains(k)) return fail(keyPath(pathOf(stack_.size()), k), "key given twice in one object");
      (*f.node)[k] = m.isString ? json(std::string(m.text)) : json(m.number);
    }
    key_ = kept;
    if (f.node->contains(key_)) return fail(keyPath(pathOf(stack_.size()), key_), "key given twice in one object");
    f.scalars = {};
    f.entries = {};
    return true;
  }

  bool add(json&& v) { return place(std::move(v)) != nullptr; }

  bool open(json&& container) {
    if (stack_.size() >= kMaxJsonNesting) return fail(nextPath(), textf("nested deeper than %zu levels", kMaxJsonNesting));
    // An array's items stay where they are while the container is open: no
    // sibling is added until it is closed.
    json* node = place(std::move(container));
    if (!node) return false;
    stack_.push_back(Frame{node, true, false, {}, {}});
    return true;
  }

  bool close() {
    Frame& f = stack_.back();
    if (f.packing) {
      const auto keyAt = [&](uint32_t entry) {
        PackedMember m;
        packed::read(f.scalars, entry, m);
        return m.key;
      };
      std::stable_sort(f.entries.begin(), f.entries.end(),
                       [&](uint32_t a, uint32_t b) { return keyAt(a) < keyAt(b); });
      std::vector<uint8_t> sorted;
      sorted.reserve(f.scalars.size());
      for (size_t i = 0; i < f.entries.size(); ++i) {
        if (i > 0 && keyAt(f.entries[i]) == keyAt(f.entries[i - 1]))
          return fail(keyPath(pathOf(stack_.size()), keyAt(f.entries[i])), "key given twice in one object");
        PackedMember m;
        const size_t end = packed::read(f.scalars, f.entries[i], m);
        sorted.insert(sorted.end(), f.scalars.begin() + f.entries[i], f.scalars.begin() + end);
      }
      *f.node = json::binary(std::move(sorted), kPackedSubtype);
    }
    stack_.pop_back();
    return true;
  }

  /// The key path of the value the parser stands at.
  std::string nextPath() const {
    std::string at = pathOf(stack_.size());
    if (stack_.empty()) return at;
    const json& parent = *stack_.back().node;
    return parent.is_array() ? indexPath(at, parent.size()) : keyPath(at, key_);
  }

  /// The key path of the container open at depth levels (1: the root).
  std::string pathOf(size_t levels) const {
    std::string path;
    for (size_t i = 1; i < levels; ++i) {
      const json& parent = *stack_[i - 1].node;
      if (parent.is_array()) {
        path = indexPath(path, parent.size() - 1);
      } else {
        for (const auto& [k, v] : parent.items())
          if (&v == stack_[i].node) path = keyPath(path, k);
      }
    }
    return path;
  }

  bool fail(const std::string& path, const std::string& reason) {
    error_ = errorLine(path, reason);
    return false;
  }

  json& root_;
  bool pack_;
  size_t maxValues_;
  size_t values_ = 0;
  std::vector<Frame> stack_;
  std::string key_;
  std::string error_;
};

}  // namespace

size_t packed::read(const std::vector<uint8_t>& buffer, size_t offset, PackedMember& out) {
  const uint32_t keyLength = take<uint32_t>(buffer, offset);
  out.key = std::string_view(reinterpret_cast<const char*>(buffer.data()) + offset, keyLength);
  offset += keyLength;
  out.isString = buffer[offset++] == kPackedString;
  if (out.isString) {
    const uint32_t length = take<uint32_t>(buffer, offset);
    out.text = std::string_view(reinterpret_cast<const char*>(buffer.data()) + offset, length);
    return offset + length;
  }
  out.number = take<uint64_t>(buffer, offset);
  return offset;
}

bool isPackedObject(const json& v) {
  return v.is_binary() && v.get_binary().has_subtype() && v.get_binary().subtype() == kPackedSubtype;
}

std::string parseJsonDocument(std::string_view text, json& doc, bool pack) {
  json parsed;
  DocumentBuilder builder(parsed, pack, pack ? maxJsonValues(text.size()) : SIZE_MAX);
  if (!json::sax_parse(text.begin(), text.end(), &builder))
    return builder.error().empty() ? std::string("not valid JSON") : builder.error();
  doc = std::move(parsed);
  return std::string();
}

}  // namespace tbt::sim
