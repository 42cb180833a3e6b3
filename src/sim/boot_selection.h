#pragma once
// The simulated host's boot-selection command ("/usr/sbin/bless"): what the
// shell hands it, word by word, and the firmware utility, payloads and
// options it registered for the next start of the host.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tbt::sim {

class SimHost;

/// The words a POSIX shell makes of a command line that uses plain words,
/// single and double quotes and backslashes. Expansions are not performed:
/// their text stays in the word as written.
struct ShellWords {
  std::vector<std::string> words;
  /// Text that a real shell would have expanded or run ("$(...)", "`...`",
  /// "$NAME"), as written, in order; empty for a command line that is safe.
  std::vector<std::string> expansions;
  /// False when a quote is left open.
  bool complete = true;
};

/// Splits a command line into words as the shell does.
ShellWords splitShellWords(std::string_view line);

/// What one boot-selection command registered.
struct BootSelection {
  std::string mount;                  // "-mount" volume
  std::string firmware;               // "-firmware": the firmware utility
  std::vector<std::string> payloads;  // "-payload", in order
  std::string options;                // "-options": the utility's command line
};

/// Parses a boot-selection command line ("/usr/sbin/bless -mount / -firmware
/// ... -payload ... -options ..."). error: receives the usage problem.
/// Returns the selection, or nullopt when the line is not a valid one.
std::optional<BootSelection> parseBootSelection(std::string_view commandLine, std::string* error = nullptr);

/// The boot-selection command's path.
inline constexpr std::string_view kBootSelectionPath = "/usr/sbin/bless";

/// The shell's handler of the boot-selection command: a valid command line
/// becomes the host's scheduled boot entry (0); any other prints the usage
/// problem and returns exit status 1 (as a wait status).
int bootSelectionCommand(SimHost& host, const std::string& command);

/// The selection that the host's last accepted boot-selection command
/// registered, or nullopt when none ran.
std::optional<BootSelection> bootSelection(const SimHost& host);

}  // namespace tbt::sim
