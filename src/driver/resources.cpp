#include "driver/resources.h"

#include <algorithm>
#include <cstdlib>

#include "platform/program_file.h"

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

ProgramFileProbes ProgramFileProbes::ofProcess() {
  return ProgramFileProbes{
      .isSymbolicLink = tbt::isSymbolicLink,
      .runningExecutable = tbt::runningExecutablePath,
      .resolve =
          [](const std::string& startPath) -> std::optional<std::string> {
        if (startPath.find('/') != std::string::npos) return realPathOf(startPath);
        std::optional<std::string> found = searchCommandPath(startPath, std::getenv("PATH"));
        return found ? realPathOf(*found) : std::nullopt;
      },
  };
}

std::optional<std::string> programPathOf(const char* startPath, const ProgramFileProbes& probes) {
  if (!startPath) return std::nullopt;
  const std::string given = startPath;
  if (given.find('/') != std::string::npos && !probes.isSymbolicLink(given)) return given;
  if (std::optional<std::string> running = probes.runningExecutable()) return running;
  if (std::optional<std::string> resolved = probes.resolve(given)) return resolved;
  return given;
}

}  // namespace tbt
