#pragma once
// The choice of host shared by every program: the built-in simulated host,
// a simulated host described by a file, or the Linux backend.
//
//   --host=sim         the embedded default host
//   --host=sim:FILE    the host described by the JSON file FILE
//   --host=linux       this Linux machine (/sys/bus/thunderbolt, debugfs)
//   --host=linux:ROOT  a copy of such a tree: ROOT/sys/...
//   TBT_HOST           the same values, used when no --host option is given;
//                      with neither, this machine when it has a Thunderbolt bus
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace tbt::sim {
class SimHost;
}

namespace tbt::cli {

/// The name of the environment variable that chooses the host.
inline constexpr const char* kHostEnvironmentVariable = "TBT_HOST";

/// What the command line or the environment asked for.
struct HostRequest {
  enum class Kind { Native, SimDefault, SimFile, Linux };
  Kind kind = Kind::Native;
  std::string file;  // the host file, for SimFile; the root ("" for /), for Linux
};

/// Takes every "--host=VALUE" and "--host VALUE" out of args (up to a "--"),
/// so that a program's own option parser never sees them; the last one wins.
/// Without one, the value of TBT_HOST (environment: its value, null or empty
/// when unset) is used; without either, Native (this machine's own backend).
/// args: the program's arguments without the terminating null, edited in
/// place; error: receives a one-line reason for a malformed value.
/// Returns the request, or nullopt when a value is malformed or missing.
std::optional<HostRequest> takeHostRequest(std::vector<char*>& args, const char* environment, std::string* error);

/// A loaded host: the platform to install and, when simulated, its machine.
struct ChosenHost {
  std::unique_ptr<Platform> platform;
  sim::SimHost* sim = nullptr;  // owned by platform; null for a native host
};

/// Chooses and loads the host of a program: takeHostRequest with the
/// process's TBT_HOST, then the platform it names.
/// args: as for takeHostRequest; error: one line on failure (a bad host file
/// names the key path and the reason; Native fails without /sys/bus/thunderbolt).
/// Returns the host, or nullopt (the program then exits with kHostChoiceFailed).
std::optional<ChosenHost> chooseHost(std::vector<char*>& args, std::string* error);

/// Loads the host one value names, as --host takes it ("sim", "sim:FILE",
/// "linux", "linux:ROOT"), or the path of a host file such as a capture.
/// error: one line when it cannot. The host is not installed.
std::optional<ChosenHost> loadHostValue(std::string_view value, std::string* error);

/// The hardware time a run would have taken on the simulated machine and the
/// configuration accesses it made, as one line: "simulated hardware time:
/// 0.012345 s, 678 configuration accesses\n".
std::string hardwareTimeText(const sim::SimHost& machine);

/// The exit status of a program whose host could not be chosen or loaded.
inline constexpr int kHostChoiceFailed = 2;

}  // namespace tbt::cli
