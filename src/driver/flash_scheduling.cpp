#include "driver/flash_scheduling.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "driver/backflash.h"
#include "driver/firmware_policy.h"
#include "driver/options.h"
#include "driver/resources.h"
#include "platform/host_probes.h"
#include "platform/platform.h"
#include "platform/registry_helpers.h"
#include "platform/system_log.h"
#include "platform/text.h"

namespace tbt {
namespace {

// Run before every boot-selection command: the boot firmware's utility reads
// the options variable (the single byte 4 in the variable tool's percent
// notation) and leaves its outcome in the result variable.
constexpr const char* kClearUpdateResult = "nvram -d VaneUpdateResult";
constexpr const char* kSetUpdateOptions = "nvram tbt-options=%04";

// The boot-selection command: the utility and the two payloads, then the
// utility's options with one "-u UID -ee... -sm..." group per display.
constexpr const char* kBlessFiles =
    "/usr/sbin/bless -mount / -firmware \"%s/%s\" -payload \"%s/%s\" -payload \"%s/%s\" -options \"-o";
constexpr const char* kBlessBackflashFiles =
    "/usr/sbin/bless -mount / -firmware \"%s\" -payload \"%s\" -payload \"%s\" -options \"-o";
constexpr const char* kBlessDisplay = " -u 0x%016llx -ee%s efi-kelvo-payload0-data -sm%s efi-kelvo-payload1-data";
constexpr const char* kBlessEnd = "\"";
// Forces the utility to flash whatever version the display reports.
constexpr const char* kForceFlag = " -f";

// What the formatter prints for a missing string.
constexpr const char* kNullText = "(null)";

// Characters that keep their meaning for the shell inside double quotes.
bool isShellActive(char c) {
  const auto u = static_cast<unsigned char>(c);
  return c == '"' || c == '`' || c == '$' || c == '\\' || u < 0x20 || u == 0x7f;
}

unsigned long long asArgument(uint64_t uid) { return static_cast<unsigned long long>(uid); }

// True when path can stand inside double quotes on a shell command line
// without the shell interpreting any of it; a path that fails is logged.
bool acceptPathForShell(std::string_view path) {
  if (std::none_of(path.begin(), path.end(), isShellActive)) return true;
  host().log(textf("Refusing path with shell metacharacters: '%s'\n", escapeControls(path).c_str()));
  return false;
}

// Runs the three commands of a scheduling in order, stopping at the first
// non-zero status, which is returned.
int runScheduling(const std::string& blessCommand) {
  int status = executeShellCommand(kClearUpdateResult);
  if (status == 0) status = executeShellCommand(kSetUpdateOptions);
  if (status == 0) status = executeShellCommand(blessCommand);
  return status;
}

// The UIDs of the chosen displays in the order the command names them.
std::vector<uint64_t> scheduledUids(const uint64_t* routes, const uint64_t* uids, uint32_t count) {
  if (count == 1) return {uids[0]};
  const size_t nearIndex = routes[1] < routes[0] ? 1 : 0;
  const size_t farIndex = 1 - nearIndex;
  if (!driverFlags().multi) return {uids[nearIndex]};
  return {uids[farIndex], uids[nearIndex]};
}

// The display switches' UIDs ordered by ascending route. A UID seen twice
// keeps the route of its last switch. Any failure is the result code.
ResultCode displayUidsByRoute(std::vector<uint64_t>& sorted) {
  const PropertyDict match = displaySwitchMatch();
  ResultCode result = result::kSuccess;
  std::map<uint64_t, uint64_t> routeOfUid;
  size_t found = 0;
  for (const RegistryEntry& display : registry().matching(kSwitchClass, &match)) {
    ++found;
    const uint64_t route = routeOfEntry(display);
    if (route == 0 || route == kNoRoute) {
      result = result::kNoRoute;
      continue;
    }
    uint64_t uid = 0;
    readRegistryNumber64(display, kUIDKey, uid);
    routeOfUid[uid] = route;
  }
  if (result != result::kSuccess) return result;
  if (found == 0) return result::kNoDisplayFound;
  std::vector<std::pair<uint64_t, uint64_t>> byRoute(routeOfUid.begin(), routeOfUid.end());
  std::stable_sort(byRoute.begin(), byRoute.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
  for (const auto& [uid, route] : byRoute) sorted.push_back(uid);
  return result::kSuccess;
}

// A list of numbers as the log shows an array: one per line, in parentheses.
std::string describeList(const std::vector<uint64_t>& values) {
  std::string out = "(";
  for (size_t i = 0; i < values.size(); ++i)
    appendf(out, "\n    %llu%s", asArgument(values[i]), i + 1 < values.size() ? "," : "");
  out += "\n)";
  return out;
}

}  // namespace

int executeShellCommand(const std::string& command) {
  if (!isAscii(command)) {
    host().log(textf("Could not get command string for '%s'\n", escapeControls(command).c_str()));
    return 1;
  }
  if (driverFlags().verbose) host().log(textf("Execute Shell Command: '%s'\n", escapeControls(command).c_str()));
  return host().shell(command);
}

ResultCode scheduleFlash(const uint64_t* routes, const uint64_t* uids, uint32_t count,
                         const char* resourceDirectory) {
  host().log(textf("Set bless to flash using '%s'\n",
                   resourceDirectory ? escapeControls(resourceDirectory).c_str() : kNullText));
  const char* force = driverFlags().ignore ? kForceFlag : "";
  if (count == 0 || !routes || !uids || !resourceDirectory) return result::kNothingToUpdate;
  if (!acceptPathForShell(resourceDirectory)) return kCommandNotFormed;
  const char* dir = resourceDirectory;
  std::string command = textf(kBlessFiles, dir, kFirmwareUtilityName, dir, kSwitchPayloadName, dir, kMicroPayloadName);
  for (uint64_t uid : scheduledUids(routes, uids, std::min(count, kMaxScheduledDisplays)))
    appendf(command, kBlessDisplay, asArgument(uid), force, force);
  command += kBlessEnd;
  if (driverFlags().verbose) host().log(textf("Flash: bless with '%s'\n", escapeControls(command).c_str()));
  return static_cast<ResultCode>(runScheduling(command));
}

ResultCode runBackflash(const char* utilityPath, const char* payload0Path, const char* payload1Path) {
  ResultCode result = isOnExternalPower() ? result::kSuccess : result::kNotOnExternalPower;
  std::vector<uint64_t> uids;
  if (result == result::kSuccess) result = displayUidsByRoute(uids);
  std::string command;
  if (result == result::kSuccess) {
    host().log(textf("UIDs: %s\n", describeList(uids).c_str()));
    const char* paths[] = {utilityPath ? utilityPath : kNullText, payload0Path ? payload0Path : kNullText,
                           payload1Path ? payload1Path : kNullText};
    if (std::all_of(std::begin(paths), std::end(paths), acceptPathForShell)) {
      command = textf(kBlessBackflashFiles, paths[0], paths[1], paths[2]);
      // The farthest display first; backflash always forces the flash.
      for (auto uid = uids.rbegin(); uid != uids.rend(); ++uid)
        appendf(command, kBlessDisplay, asArgument(*uid), kForceFlag, kForceFlag);
      command += kBlessEnd;
    } else {
      result = result::kSchedulingFailed;
    }
  }
  if (result != result::kSuccess) {
    host().log(textf("Cannot update because of error 0x%x\n", result));
    return result;
  }
  if (driverFlags().verbose) host().log(textf("Backflash: bless with '%s'\n", escapeControls(command).c_str()));
  return static_cast<ResultCode>(runScheduling(command));
}

}  // namespace tbt
