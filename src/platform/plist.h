#pragma once
// A strict reader for XML property-list files whose top level is a
// dictionary. Anything it does not understand makes the whole file
// unreadable: a property list is configuration, and half of one is worse
// than none.
#include <optional>
#include <string>
#include <string_view>

#include "platform/property.h"

namespace tbt {

/// Parses the text of an XML property list.
/// xml: the whole document; error: when given, receives a one-line reason
/// (with the line number) for a malformed document.
/// Returns the top-level dictionary, or nullopt when the text is malformed
/// or its top level is not a dictionary.
std::optional<PropertyDict> parsePropertyList(std::string_view xml, std::string* error = nullptr);

/// Reads and parses a property-list file.
/// path: the file; error: when given, receives a one-line reason naming the
/// file when it cannot be read or parsed.
/// Returns the top-level dictionary, or nullopt when the file is missing,
/// unreadable, too large or malformed.
std::optional<PropertyDict> readPropertyListFile(const std::string& path, std::string* error = nullptr);

}  // namespace tbt
