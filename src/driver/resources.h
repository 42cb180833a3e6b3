#pragma once
// The resource directory: the directory the program was started from, which
// holds the error dictionary and the firmware files of a flash.
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

}  // namespace tbt
