#include "sim/json_document.h"

#include <vector>

#include "platform/text.h"
#include "sim/json_reader.h"

namespace tbt::sim {

namespace {

using nlohmann::json;

/// Builds the document from the parser's events, one container per level on
/// an explicit stack, so nothing here recurses.
class DocumentBuilder : public nlohmann::json_sax<json> {
 public:
  explicit DocumentBuilder(json& root) : root_(root) {}

  bool null() override { return add(json(nullptr)); }
  bool boolean(bool v) override { return add(json(v)); }
  bool number_integer(number_integer_t v) override { return add(json(v)); }
  bool number_unsigned(number_unsigned_t v) override { return add(json(v)); }
  bool number_float(number_float_t v, const string_t&) override { return add(json(v)); }
  bool string(string_t& v) override { return add(json(std::move(v))); }
  bool binary(binary_t& v) override { return add(json::binary(std::move(v))); }
  bool start_object(std::size_t) override { return open(json::object()); }
  bool start_array(std::size_t) override { return open(json::array()); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key(string_t& k) override {
    json& object = *stack_.back();
    if (object.contains(k)) return fail(keyPath(pathOf(stack_.size()), k), "key given twice in one object");
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
  /// Places v where the parser stands: the root, the next item of an array
  /// or the value of the key just read; returns where it went.
  json* place(json&& v) {
    if (stack_.empty()) {
      root_ = std::move(v);
      return &root_;
    }
    json& parent = *stack_.back();
    if (parent.is_array()) {
      parent.push_back(std::move(v));
      return &parent.back();
    }
    json& slot = parent[key_];
    slot = std::move(v);
    return &slot;
  }

  bool add(json&& v) {
    place(std::move(v));
    return true;
  }

  bool open(json&& container) {
    if (stack_.size() >= kMaxJsonNesting) {
      std::string at = pathOf(stack_.size());
      if (!stack_.empty()) at = stack_.back()->is_array() ? indexPath(at, stack_.back()->size()) : keyPath(at, key_);
      return fail(at, textf("nested deeper than %zu levels", kMaxJsonNesting));
    }
    // An array's items stay where they are while the container is open: no
    // sibling is added until it is closed.
    stack_.push_back(place(std::move(container)));
    return true;
  }

  bool close() {
    stack_.pop_back();
    return true;
  }

  /// The key path of the container open at depth levels (1: the root).
  std::string pathOf(size_t levels) const {
    std::string path;
    for (size_t i = 1; i < levels; ++i) {
      const json& parent = *stack_[i - 1];
      if (parent.is_array()) {
        path = indexPath(path, parent.size() - 1);
      } else {
        for (const auto& [k, v] : parent.items())
          if (&v == stack_[i]) path = keyPath(path, k);
      }
    }
    return path;
  }

  bool fail(const std::string& path, const std::string& reason) {
    error_ = errorLine(path, reason);
    return false;
  }

  json& root_;
  std::vector<json*> stack_;
  std::string key_;
  std::string error_;
};

}  // namespace

std::string parseJsonDocument(std::string_view text, json& doc) {
  json parsed;
  DocumentBuilder builder(parsed);
  if (!json::sax_parse(text.begin(), text.end(), &builder))
    return builder.error().empty() ? std::string("not valid JSON") : builder.error();
  doc = std::move(parsed);
  return std::string();
}

}  // namespace tbt::sim
