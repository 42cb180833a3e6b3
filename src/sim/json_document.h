#pragma once
// Parsing the text of a host file into a JSON document, refusing what the
// loader could not handle safely: a key given twice in one object (a JSON
// library silently keeps one of them) and values nested deeper than any
// host needs (a deep enough nesting would exhaust the stack of every later
// walk over the document).
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace tbt::sim {

/// Containers (objects and arrays) nest at most this deep in a host file.
inline constexpr size_t kMaxJsonNesting = 64;

/// Parses text into doc. Returns "" or one line: "not valid JSON: <where and
/// why>", or "<key path>: <reason>" for a duplicate key or a nesting too deep.
std::string parseJsonDocument(std::string_view text, nlohmann::json& doc);

}  // namespace tbt::sim
