#include "cli/host_commands.h"

#include <cstdlib>
#include <string_view>

#include "cli/host_choice.h"
#include "platform/file_reader.h"
#include "platform/text.h"
#include "sim/boot_firmware.h"
#include "sim/sim_platform.h"

namespace tbt::cli {
namespace {

constexpr std::string_view kSaveValue = "1";
constexpr std::string_view kNoSaveValue = "0";

int runRestart(CommandContext& context) {
  sim::SimHost* machine = context.simHost();
  if (!machine) return context.failure("only a simulated host can be restarted here");
  machine->requestRestart();  // made when the command ends, before the host is saved
  return kExitSuccess;
}

constexpr const char* kRestartDetails =
    "Restarts the simulated host described by FILE and writes it back, as a run with\n"
    "--save-host does after 'shutdown -r now'. When a boot selection is registered and\n"
    "tbt-options is set, the boot firmware first runs the registered utility: it\n"
    "flashes each display the options name by UID with the versions the payload\n"
    "names carry, clears the selection and tbt-options, and sets VaneUpdateResult\n"
    "(0 every display flashed, 1 the options did not parse, 2 a payload is missing\n"
    "or unusable, 3 a UID matched no display, 4 a display's NVM cannot hold the\n"
    "switch payload). Otherwise only the restart count changes.\n";

const Command kHostCommands[] = {{.name = "restart",
                                  .summary = "restart a simulated host, running the scheduled flash",
                                  .details = kRestartDetails,
                                  .needsHost = true,
                                  .savesHost = true,
                                  .run = runRestart}};

const CommandFamily kHostFamily = {"host", "the simulated host itself", kHostCommands};

}  // namespace

std::optional<bool> takeSaveHostRequest(std::vector<char*>& args, const char* environment, std::string* error) {
  bool asked = false;
  std::vector<char*> kept;
  size_t i = 0;
  if (!args.empty()) kept.push_back(args[i++]);
  for (; i < args.size(); ++i) {
    std::string_view arg = args[i];
    if (arg == "--") break;
    if (arg == kSaveHostOption) asked = true;
    else kept.push_back(args[i]);
  }
  kept.insert(kept.end(), args.begin() + static_cast<std::ptrdiff_t>(i), args.end());
  args = std::move(kept);
  if (asked) return true;
  std::string_view value = environment ? environment : "";
  if (value.empty() || value == kNoSaveValue) return false;
  if (value == kSaveValue) return true;
  if (error)
    *error = textf("%s: expected 1 or 0, got '%s'", kSaveHostEnvironmentVariable, escapeControls(value).c_str());
  return std::nullopt;
}

std::string hostFileToSave(const std::vector<char*>& args, const char* source, std::string* file) {
  std::vector<char*> copy = args;
  std::string error;
  std::optional<HostRequest> request = takeHostRequest(copy, std::getenv(kHostEnvironmentVariable), &error);
  if (!request) return error;
  if (request->kind != HostRequest::Kind::SimFile)
    return textf("%s needs a simulated host file to write back to (--host=sim:FILE)", source);
  *file = request->file;
  return std::string();
}

std::string HostFileKeeper::remember(const std::string& path) {
  path_ = path;
  std::string reason = readRegularFile(path, sim::kMaxHostFileSize, text_);
  return reason.empty() ? reason
                        : textf("%s: cannot read the file: %s", escapeControls(path).c_str(), reason.c_str());
}

std::string HostFileKeeper::save(sim::SimHost& host, std::string& report) const {
  std::string now;
  if (!readRegularFile(path_, sim::kMaxHostFileSize, now).empty() || now != text_)
    return textf("%s: changed by someone else during the run; not saved", escapeControls(path_).c_str());
  if (host.restartRequested()) report += sim::restartHost(host);
  std::string error;
  if (!sim::saveHostFile(host, path_, &error)) return error;
  appendf(report, "saved the simulated host to %s\n", escapeControls(path_).c_str());
  return std::string();
}

const CommandFamily& hostFamily() { return kHostFamily; }

}  // namespace tbt::cli
