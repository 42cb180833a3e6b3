#pragma once
// Typed property values as the host registry and property-list files hold them.
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tbt {

class Property;

/// An ordered dictionary of properties (keys unique, insertion order kept).
/// A small dictionary is searched in order; from kIndexedFrom keys on,
/// lookups go through an index of the keys, so filling a dictionary with n
/// keys takes n log n, however large the file that describes it.
class PropertyDict {
 public:
  /// The value under key, or null.
  const Property* find(std::string_view key) const;
  /// Sets (or replaces) the value under key.
  void set(std::string key, Property value);
  /// Removes key; true when it was present.
  bool erase(std::string_view key);
  const std::vector<std::pair<std::string, Property>>& items() const;
  bool empty() const;
  size_t size() const;
  bool operator==(const PropertyDict& other) const;

  static constexpr size_t kIndexedFrom = 16;

 private:
  /// The position of key in items_, or items_.size().
  size_t position(std::string_view key) const;

  std::vector<std::pair<std::string, Property>> items_;
  std::optional<std::map<std::string, size_t, std::less<>>> index_;  // key -> position, once large
};

/// One property value. Numbers keep all 64 bits; a reader decides the width.
class Property {
 public:
  enum class Kind { Number, Boolean, Data, String, Array, Dictionary, Date, Real };

  static Property number(uint64_t v);
  static Property boolean(bool v);
  static Property data(std::vector<uint8_t> bytes);
  static Property string(std::string s);
  static Property array(std::vector<Property> items);
  static Property dictionary(PropertyDict dict);
  /// A date, kept as its text form.
  static Property date(std::string iso8601);
  static Property real(double v);

  Kind kind() const { return kind_; }
  bool isNumber() const { return kind_ == Kind::Number; }
  bool isBoolean() const { return kind_ == Kind::Boolean; }
  bool isData() const { return kind_ == Kind::Data; }
  bool isString() const { return kind_ == Kind::String; }
  bool isArray() const { return kind_ == Kind::Array; }
  bool isDictionary() const { return kind_ == Kind::Dictionary; }

  uint64_t asNumber() const { return kind_ == Kind::Number ? scalar_.number : 0; }
  bool asBoolean() const { return kind_ == Kind::Boolean && scalar_.boolean; }
  double asReal() const { return kind_ == Kind::Real ? scalar_.real : 0; }
  const std::vector<uint8_t>& asData() const;
  /// The text of a string or a date.
  const std::string& asString() const { return string_; }
  const std::vector<Property>& asArray() const;
  const PropertyDict& asDictionary() const;

  bool operator==(const Property& other) const;

 private:
  // A value never changes once made: data, arrays and dictionaries are
  // shared between copies, so that a registry of many entries stays small.
  struct Nested;
  Kind kind_ = Kind::Number;
  union Scalar {
    uint64_t number;
    double real;
    bool boolean;
  } scalar_{0};
  std::string string_;                    // a string's or a date's text
  std::shared_ptr<const Nested> nested_;  // data, an array's items, a dictionary
};

// Defined here, once Property is complete.
inline const std::vector<std::pair<std::string, Property>>& PropertyDict::items() const { return items_; }
inline bool PropertyDict::empty() const { return items_.empty(); }
inline size_t PropertyDict::size() const { return items_.size(); }

}  // namespace tbt
