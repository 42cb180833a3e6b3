#include "platform/property.h"

namespace tbt {

const Property* PropertyDict::find(std::string_view key) const {
  auto it = index_.find(key);
  return it == index_.end() ? nullptr : &items_[it->second].second;
}

void PropertyDict::set(std::string key, Property value) {
  auto [it, added] = index_.try_emplace(key, items_.size());
  if (added) items_.emplace_back(std::move(key), std::move(value));
  else items_[it->second].second = std::move(value);
}

bool PropertyDict::erase(std::string_view key) {
  auto it = index_.find(key);
  if (it == index_.end()) return false;
  const size_t at = it->second;
  index_.erase(it);
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(at));
  for (auto& [k, position] : index_)
    if (position > at) --position;
  return true;
}

bool PropertyDict::operator==(const PropertyDict& other) const { return items_ == other.items_; }

Property Property::number(uint64_t v) {
  Property p;
  p.kind_ = Kind::Number;
  p.number_ = v;
  return p;
}

Property Property::boolean(bool v) {
  Property p;
  p.kind_ = Kind::Boolean;
  p.boolean_ = v;
  return p;
}

Property Property::data(std::vector<uint8_t> bytes) {
  Property p;
  p.kind_ = Kind::Data;
  p.data_ = std::move(bytes);
  return p;
}

Property Property::string(std::string s) {
  Property p;
  p.kind_ = Kind::String;
  p.string_ = std::move(s);
  return p;
}

Property Property::array(std::vector<Property> items) {
  Property p;
  p.kind_ = Kind::Array;
  p.array_ = std::move(items);
  return p;
}

Property Property::dictionary(PropertyDict dict) {
  Property p;
  p.kind_ = Kind::Dictionary;
  p.dict_ = std::move(dict);
  return p;
}

Property Property::date(std::string iso8601) {
  Property p;
  p.kind_ = Kind::Date;
  p.string_ = std::move(iso8601);
  return p;
}

Property Property::real(double v) {
  Property p;
  p.kind_ = Kind::Real;
  p.real_ = v;
  return p;
}

bool Property::operator==(const Property& o) const {
  if (kind_ != o.kind_) return false;
  switch (kind_) {
    case Kind::Number: return number_ == o.number_;
    case Kind::Boolean: return boolean_ == o.boolean_;
    case Kind::Real: return real_ == o.real_;
    case Kind::Data: return data_ == o.data_;
    case Kind::String:
    case Kind::Date: return string_ == o.string_;
    case Kind::Array: return array_ == o.array_;
    case Kind::Dictionary: return dict_ == o.dict_;
  }
  return false;
}

}  // namespace tbt
