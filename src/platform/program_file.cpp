#include "platform/program_file.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string_view>

namespace tbt {

bool isSymbolicLink(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

std::optional<std::string> runningExecutablePath() {
  char buffer[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof buffer) return std::nullopt;
  return std::string(buffer, static_cast<size_t>(length));
}

std::optional<std::string> searchCommandPath(const std::string& name, const char* path) {
  if (name.empty() || path == nullptr) return std::nullopt;
  std::string_view rest = path;
  while (true) {
    const size_t colon = rest.find(':');
    std::string_view directory = rest.substr(0, colon);
    // An empty entry means the current directory.
    std::string candidate = directory.empty() ? name : std::string(directory) + "/" + name;
    struct stat info {};
    if (::stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) && ::access(candidate.c_str(), X_OK) == 0)
      return candidate;
    if (colon == std::string_view::npos) return std::nullopt;
    rest.remove_prefix(colon + 1);
  }
}

std::optional<std::string> realPathOf(const std::string& path) {
  std::unique_ptr<char, decltype(&::free)> resolved(::realpath(path.c_str(), nullptr), &::free);
  if (!resolved) return std::nullopt;
  return std::string(resolved.get());
}

}  // namespace tbt
