#pragma once
// The resource directory: the directory of the program's own file, which
// holds the error dictionary and the firmware files of a flash.
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tbt {

/// Files in the resource directory.
inline constexpr const char* kErrorDictionaryName = "Errors.plist";
inline constexpr const char* kFirmwareUtilityName = "VaneUtil.efi";
inline constexpr const char* kSwitchPayloadName = "Panel-26-02.bin";
inline constexpr const char* kMicroPayloadName = "PortMc-em-00020007.bin";

/// True when text converts to an ASCII C string, as the program's own path
/// and every shell command line must.
bool isAscii(std::string_view text);

/// The directory that holds the resources: the program's path without its
/// last component ("/opt/uc/updatechecker" -> "/opt/uc", "/uc" -> "/",
/// "updatechecker" -> "").
/// toolPath: the program's own path as it was started (argv[0]), may be null.
/// Returns nullopt when there is no path or it is not plain ASCII.
std::optional<std::string> resourceDirectoryOf(const char* toolPath);

/// What locates the program's file on disk; ofProcess() asks the system.
struct ProgramFileProbes {
  /// True when the path names a symbolic link.
  std::function<bool(const std::string& path)> isSymbolicLink;
  /// The running executable's real path, or nullopt when the system does not say.
  std::function<std::optional<std::string>()> runningExecutable;
  /// Where the start path leads without the system's word: the real path of
  /// a link, or of the command a bare name finds through PATH; nullopt when
  /// neither resolves.
  std::function<std::optional<std::string>(const std::string& startPath)> resolve;

  static ProgramFileProbes ofProcess();
};

/// The program's own path, whose directory is the resource directory:
/// startPath (argv[0]) as given when it names the program by a path (it holds
/// a slash) that is not a symbolic link; otherwise, for a bare name started
/// through PATH or a link, the running executable's real path, else where
/// the start path resolves to, else startPath itself.
/// Returns nullopt only for a null startPath.
std::optional<std::string> programPathOf(const char* startPath,
                                         const ProgramFileProbes& probes = ProgramFileProbes::ofProcess());

}  // namespace tbt
