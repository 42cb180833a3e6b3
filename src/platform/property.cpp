#include "platform/property.h"

namespace tbt {

size_t PropertyDict::position(std::string_view key) const {
  if (index_) {
    auto it = index_->find(key);
    return it == index_->end() ? items_.size() : it->second;
  }
  for (size_t i = 0; i < items_.size(); ++i)
    if (items_[i].first == key) return i;
  return items_.size();
}

const Property* PropertyDict::find(std::string_view key) const {
  const size_t at = position(key);
  return at == items_.size() ? nullptr : &items_[at].second;
}

void PropertyDict::set(std::string key, Property value) {
  const size_t at = position(key);
  if (at != items_.size()) {
    items_[at].second = std::move(value);
    return;
  }
  if (index_) index_->emplace(key, items_.size());
  items_.emplace_back(std::move(key), std::move(value));
  if (!index_ && items_.size() >= kIndexedFrom) {
    index_.emplace();
    for (size_t i = 0; i < items_.size(); ++i) index_->emplace(items_[i].first, i);
  }
}

bool PropertyDict::erase(std::string_view key) {
  const size_t at = position(key);
  if (at == items_.size()) return false;
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(at));
  if (index_) {
    index_->erase(index_->find(key));
    for (auto& [k, p] : *index_)
      if (p > at) --p;
  }
  return true;
}

bool PropertyDict::operator==(const PropertyDict& other) const { return items_ == other.items_; }

struct Property::Nested {
  std::vector<uint8_t> data;
  std::vector<Property> array;
  PropertyDict dict;
};

namespace {
const std::vector<uint8_t> kNoData;
const std::vector<Property> kNoItems;
const PropertyDict kNoDict;
}  // namespace

const std::vector<uint8_t>& Property::asData() const { return kind_ == Kind::Data ? nested_->data : kNoData; }
const std::vector<Property>& Property::asArray() const { return kind_ == Kind::Array ? nested_->array : kNoItems; }
const PropertyDict& Property::asDictionary() const { return kind_ == Kind::Dictionary ? nested_->dict : kNoDict; }

Property Property::number(uint64_t v) {
  Property p;
  p.kind_ = Kind::Number;
  p.scalar_.number = v;
  return p;
}

Property Property::boolean(bool v) {
  Property p;
  p.kind_ = Kind::Boolean;
  p.scalar_.boolean = v;
  return p;
}

Property Property::real(double v) {
  Property p;
  p.kind_ = Kind::Real;
  p.scalar_.real = v;
  return p;
}

Property Property::string(std::string s) {
  Property p;
  p.kind_ = Kind::String;
  p.string_ = std::move(s);
  return p;
}

Property Property::date(std::string iso8601) {
  Property p;
  p.kind_ = Kind::Date;
  p.string_ = std::move(iso8601);
  return p;
}

Property Property::data(std::vector<uint8_t> bytes) {
  Property p;
  p.kind_ = Kind::Data;
  p.nested_ = std::make_shared<const Nested>(Nested{std::move(bytes), {}, {}});
  return p;
}

Property Property::array(std::vector<Property> items) {
  Property p;
  p.kind_ = Kind::Array;
  p.nested_ = std::make_shared<const Nested>(Nested{{}, std::move(items), {}});
  return p;
}

Property Property::dictionary(PropertyDict dict) {
  Property p;
  p.kind_ = Kind::Dictionary;
  p.nested_ = std::make_shared<const Nested>(Nested{{}, {}, std::move(dict)});
  return p;
}

bool Property::operator==(const Property& o) const {
  if (kind_ != o.kind_) return false;
  switch (kind_) {
    case Kind::Number: return scalar_.number == o.scalar_.number;
    case Kind::Boolean: return scalar_.boolean == o.scalar_.boolean;
    case Kind::Real: return scalar_.real == o.scalar_.real;
    case Kind::Data: return asData() == o.asData();
    case Kind::String:
    case Kind::Date: return string_ == o.string_;
    case Kind::Array: return asArray() == o.asArray();
    case Kind::Dictionary: return asDictionary() == o.asDictionary();
  }
  return false;
}

}  // namespace tbt
