#pragma once
// Typed property values as the host registry and property-list files hold them.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tbt {

class Property;

/// An ordered dictionary of properties (keys unique, insertion order kept).
/// Lookups go through an index of the keys, so filling a dictionary with n
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

 private:
  std::vector<std::pair<std::string, Property>> items_;
  std::map<std::string, size_t, std::less<>> index_;  // key -> position in items_
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

  uint64_t asNumber() const { return number_; }
  bool asBoolean() const { return boolean_; }
  double asReal() const { return real_; }
  const std::vector<uint8_t>& asData() const { return data_; }
  /// The text of a string or a date.
  const std::string& asString() const { return string_; }
  const std::vector<Property>& asArray() const { return array_; }
  const PropertyDict& asDictionary() const { return dict_; }

  bool operator==(const Property& other) const;

 private:
  Kind kind_ = Kind::Number;
  uint64_t number_ = 0;
  bool boolean_ = false;
  double real_ = 0;
  std::vector<uint8_t> data_;
  std::string string_;
  std::vector<Property> array_;
  PropertyDict dict_;
};

// Defined here, once Property is complete.
inline const std::vector<std::pair<std::string, Property>>& PropertyDict::items() const { return items_; }
inline bool PropertyDict::empty() const { return items_.empty(); }
inline size_t PropertyDict::size() const { return items_.size(); }

}  // namespace tbt
