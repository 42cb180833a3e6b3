#pragma once
// Keeping a simulated host across runs: --save-host (or TBT_SAVE_HOST=1)
// writes the host's state back to its file at the end of a run, after the
// restart that the run asked for; and `tbkit host restart`.
//
//   HostFileKeeper keeper;
//   if (auto why = keeper.remember(file); !why.empty()) ...   // before loading
//   ... run ...
//   std::string report;
//   if (auto why = keeper.save(machine, report); !why.empty()) ...  // exit 1
#include <optional>
#include <string>
#include <vector>

#include "cli/tbkit_main.h"

namespace tbt::sim {
class SimHost;
}

namespace tbt::cli {

inline constexpr const char* kSaveHostOption = "--save-host";
inline constexpr const char* kSaveHostEnvironmentVariable = "TBT_SAVE_HOST";

/// Takes every "--save-host" out of args (up to a "--"). Without one, the
/// environment's value decides: "1" saves, unset, "" or "0" does not.
/// args: the program's arguments (args[0] the program), edited in place;
/// environment: TBT_SAVE_HOST's value or null; error: one line for any other
/// value. Returns whether to save, or nullopt on a bad value.
std::optional<bool> takeSaveHostRequest(std::vector<char*>& args, const char* environment, std::string* error);

/// Whether a run that saves (asked through source, "--save-host" or
/// TBT_SAVE_HOST) can: args, as the program got them (its --host options
/// not yet taken), must choose a simulated host file. Returns "" with *file
/// set, or one line naming why not.
std::string hostFileToSave(const std::vector<char*>& args, const char* source, std::string* file);

/// The host file of a run that saves: its text as it was before the run, so
/// that a file that someone else changed meanwhile is not overwritten.
class HostFileKeeper {
 public:
  /// Reads the file's present text; "" or a one-line error.
  std::string remember(const std::string& path);
  /// Ends the run: a restart the run asked for (or one pending in the file)
  /// is made first, its report appended to report; then the host's state is
  /// written to the file with the safe writer, and "saved the simulated host
  /// to FILE" appended. Returns "" or one line: the file changed during the
  /// run (nothing written), or the writer's error.
  std::string save(sim::SimHost& host, std::string& report) const;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::string text_;
};

/// `tbkit host`: the commands of the simulated host itself.
const CommandFamily& hostFamily();

}  // namespace tbt::cli
