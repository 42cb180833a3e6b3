#pragma once
// Where the running program's file lies: the process-level facts that locate
// the program on disk when its start path alone does not.
#include <optional>
#include <string>

namespace tbt {

/// True when path names a symbolic link (the link itself, not its target).
bool isSymbolicLink(const std::string& path);

/// The real path of the running executable as the system knows it
/// (/proc/self/exe), or nullopt where the system does not say.
std::optional<std::string> runningExecutablePath();

/// The first executable file called name in the directories of PATH
/// (path: the variable's value, null when unset), or nullopt.
std::optional<std::string> searchCommandPath(const std::string& name, const char* path);

/// path with every symbolic link and "."/".." resolved, or nullopt when it
/// does not exist.
std::optional<std::string> realPathOf(const std::string& path);

}  // namespace tbt
