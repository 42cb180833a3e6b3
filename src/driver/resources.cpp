#include "driver/resources.h"

#include <algorithm>

namespace tbt {

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::optional<std::string> resourceDirectoryOf(const char* toolPath) {
  if (!toolPath || !isAscii(toolPath)) return std::nullopt;
  std::string_view path = toolPath;
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  const size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return std::string();
  if (slash == 0) return std::string("/");
  path = path.substr(0, slash);
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return std::string(path);
}

}  // namespace tbt
