#pragma once
// Reading and validating pieces of a host file. Every reader takes the key
// path of the value it reads ("controllers[0].routers[2].route") and, on bad
// input, records one line "<path>: <reason>" and returns false; the first
// error is kept. Nothing here throws.
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/property.h"
#include "sim/json_document.h"
#include "sim/memory.h"

namespace tbt::sim {

/// path + "." + key, or key alone at the top.
std::string keyPath(const std::string& path, std::string_view key);
/// path + "[i]".
std::string indexPath(const std::string& path, size_t i);
/// "<path>: <reason>" (the path "host file" when empty) as one line: control
/// characters that keys and values carry are written as \xNN.
std::string errorLine(const std::string& path, const std::string& reason);

class JsonReader {
 public:
  /// Records "<path>: <reason>" unless an error is already recorded; returns false.
  bool fail(const std::string& path, const std::string& reason);
  bool failed() const { return !error_.empty(); }
  const std::string& error() const { return error_; }

  /// Runs read(v[key], path of the key) when v has the key; true when it has
  /// not or read succeeded.
  template <typename Read>
  bool optional(const nlohmann::json& v, const char* key, const std::string& path, Read&& read) {
    auto it = v.find(key);
    return it == v.end() || read(*it, keyPath(path, key));
  }
  /// v[key], or null with an error when v lacks the required key.
  const nlohmann::json* required(const nlohmann::json& v, const char* key, const std::string& path);
  /// True when v is an object whose keys are all in allowed (else an error
  /// naming the first unknown key).
  bool object(const nlohmann::json& v, const std::string& path, std::initializer_list<std::string_view> allowed);
  /// True when v is an object (any keys).
  bool anyObject(const nlohmann::json& v, const std::string& path);
  bool array(const nlohmann::json& v, const std::string& path);
  bool string(const nlohmann::json& v, const std::string& path, std::string& out);
  bool boolean(const nlohmann::json& v, const std::string& path, bool& out);
  /// A number: a non-negative JSON integer or a "0x..." string, at most max
  /// (by default the most that out holds).
  template <typename T>
  bool number(const nlohmann::json& v, const std::string& path, T& out, uint64_t max = limit<T>()) {
    return stored(readNumber(v, path, max), out);
  }
  /// Like number, and also a negative JSON integer down to min.
  bool signedNumber(const nlohmann::json& v, const std::string& path, int64_t min, int64_t& out);
  /// A map key that is a number in decimal ("16") or 0x-hex ("0x10"), at most
  /// max (by default the most that out holds).
  template <typename T>
  bool key(const std::string& text, const std::string& path, T& out, uint64_t max = limit<T>()) {
    return stored(readKey(text, path, max), out);
  }
  /// A byte string: hex digit pairs (spaces allowed, an optional 0x prefix) or
  /// "ASCII:" followed by the characters to store.
  bool bytes(const nlohmann::json& v, const std::string& path, std::vector<uint8_t>& out);
  /// A map of double-word index -> value into store; a value of hex words
  /// separated by blanks ("00000001 0000a5a5") stands for consecutive double
  /// words from its index.
  bool dwordMap(const nlohmann::json& v, const std::string& path, DwordStore& store);
  /// The words of a run from index into words.
  bool wordRun(std::string_view text, const std::string& path, uint32_t index, std::vector<DwordStore::Word>& words);
  /// A map of address -> byte string, each written from its address upward.
  bool byteMap(const nlohmann::json& v, const std::string& path, ByteMemory& memory);
  /// Registry properties: JSON values as properties into set; keys given as
  /// null into removed.
  bool properties(const nlohmann::json& v, const std::string& path, PropertyDict& set,
                  std::vector<std::string>& removed);
  /// One registry property value (null is not allowed here).
  bool property(const nlohmann::json& v, const std::string& path, Property& out);

  /// How many router objects are being read one inside another (a far
  /// router is read inside the router whose bridge reaches it).
  unsigned routerNesting = 0;
  /// How many routers and adapters were read so far.
  size_t routersRead = 0;
  size_t adaptersRead = 0;

 private:
  template <typename T>
  static constexpr uint64_t limit() {
    if constexpr (requires { typename T::value_type; }) return std::numeric_limits<typename T::value_type>::max();
    else return std::numeric_limits<T>::max();
  }
  /// Stores a number read (nullopt: an error was recorded) into out, an
  /// integer or an optional integer.
  template <typename T>
  static bool stored(std::optional<uint64_t> n, T& out) {
    if (!n) return false;
    if constexpr (requires { typename T::value_type; }) out = static_cast<typename T::value_type>(*n);
    else out = static_cast<T>(*n);
    return true;
  }
  std::optional<uint64_t> readNumber(const nlohmann::json& v, const std::string& path, uint64_t max);
  std::optional<uint64_t> readKey(const std::string& text, const std::string& path, uint64_t max);

  std::string error_;
};

}  // namespace tbt::sim
