#pragma once
// Parsing the text of a host file into a JSON document, refusing what the
// loader could not handle safely: a key given twice in one object (a JSON
// library silently keeps one of them) and values nested deeper than any
// host needs (a deep enough nesting would exhaust the stack of every later
// walk over the document).
//
// A large object of plain values (a register map, a byte image, a variable
// store) is kept packed: its members as one contiguous buffer, sorted by key
// as an object's members are, instead of a tree node per member. Readers go
// through forEachMember, which sees both forms alike.
#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace tbt::sim {

/// Containers (objects and arrays) nest at most this deep in a host file.
inline constexpr size_t kMaxJsonNesting = 64;
/// A document holds at most kJsonValuesBase values, and one more for every
/// kJsonBytesPerValue bytes of its text, outside packed objects: what keeps
/// the memory of a document within ten times its text.
inline constexpr size_t kJsonValuesBase = 65536;
inline constexpr size_t kJsonBytesPerValue = 20;
inline constexpr size_t maxJsonValues(size_t textSize) { return kJsonValuesBase + textSize / kJsonBytesPerValue; }
/// An object with at least this many members, all strings or non-negative
/// integers, is packed.
inline constexpr size_t kPackedMembersFrom = 64;

/// Parses text into doc. Returns "" or one line: "not valid JSON: <where and
/// why>", or "<key path>: <reason>" for a duplicate key or a nesting too deep.
/// With pack false, every object is a plain one (for a document to be edited
/// and written again).
std::string parseJsonDocument(std::string_view text, nlohmann::json& doc, bool pack = true);

/// True when v is an object kept packed.
bool isPackedObject(const nlohmann::json& v);

/// One member of a packed object: its key and its value (a string or an
/// unsigned number).
struct PackedMember {
  std::string_view key;
  bool isString = false;
  std::string_view text;
  uint64_t number = 0;
};

/// The members of a packed object, by ascending key, into visit (which
/// returns false to stop); false when visit stopped.
template <typename Visit>
bool forEachPackedMember(const nlohmann::json& v, Visit&& visit);

/// Calls visit(key, value) for each member of an object, plain or packed,
/// by ascending key; false when visit returned false.
template <typename Visit>
bool forEachMember(const nlohmann::json& v, Visit&& visit) {
  if (!isPackedObject(v)) {
    for (const auto& [k, value] : v.items())
      if (!visit(k, value)) return false;
    return true;
  }
  std::string key;
  return forEachPackedMember(v, [&](const PackedMember& m) {
    key.assign(m.key);
    return visit(key, m.isString ? nlohmann::json(std::string(m.text)) : nlohmann::json(m.number));
  });
}

namespace packed {
/// Reads one member at offset of a packed buffer; the offset of the next.
size_t read(const std::vector<uint8_t>& buffer, size_t offset, PackedMember& out);
}  // namespace packed

template <typename Visit>
bool forEachPackedMember(const nlohmann::json& v, Visit&& visit) {
  const std::vector<uint8_t>& buffer = v.get_binary();
  PackedMember member;
  for (size_t offset = 0; offset < buffer.size();) {
    offset = packed::read(buffer, offset, member);
    if (!visit(member)) return false;
  }
  return true;
}

}  // namespace tbt::sim
