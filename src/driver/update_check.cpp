#include "driver/update_check.h"

#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "driver/firmware_policy.h"
#include "driver/flash_scheduling.h"
#include "driver/resources.h"
#include "driver/uid_recovery.h"
#include "platform/host_probes.h"
#include "platform/platform.h"
#include "platform/registry_helpers.h"
#include "platform/system_log.h"
#include "platform/text.h"
#include "toolkit/topology_keys.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

// The host's board identifier, as the platform publishes it: at most 32
// bytes, NUL-terminated when shorter.
using BoardId = std::array<char, 32>;

// Boards whose host controller needs ROM 0x25 revision 1 or later. They are
// compared over 21 bytes, the terminating NUL included, so a longer id with
// the same beginning does not match.
constexpr const char* kBoardsNeedingRom25[] = {"Brd-6A1C0D33E9B21F47", "Brd-3E8F0A5B7C2D9146"};
// The board whose boot firmware must be 0116.B07 or later.
constexpr const char* kBoardCheckingBootFirmware = "Brd-9D4B2E7A1F0C8365";
constexpr size_t kBoardIdCompareLength = 21;

constexpr uint32_t kRom25 = 0x25;
// Host controllers of the first generations (device IDs) and what their
// host port micro-controller or ROM must at least be.
constexpr uint32_t kEarlyHostControllers[] = {0, 0x1513, 0x151a};
constexpr uint32_t kMinimumHostMicroVersion = 0x20103;
constexpr uint32_t kLaterHostControllers[] = {0x1547, 0x1548};
constexpr uint32_t kMinimumLaterHostRom = 0x23;
constexpr uint32_t kMinimumLaterHostRevision = 4;

// The boot firmware: its registry entry, the maker it must name, the
// minimum build, and the engineering builds that always pass.
constexpr const char* kBootRomPath = "IODeviceTree:/rom";
constexpr const char* kBootRomMaker = "Kelvo";
constexpr const char* kMinimumBootRomRelease = "0116";
constexpr const char* kMinimumBootRomBuild = "B07";
constexpr const char* kEngineeringRelease = "ENGR";

// The display's two port micro-controllers, over IECS: the mode byte of the
// first must say host-connect (1), the second's must not.
struct MicroController {
  uint32_t bus;
  const char* modeMismatch;
  bool hostConnectExpected;
};
constexpr uint32_t kMicroDevice = 0;
constexpr uint8_t kMicroModeOffset = 36;
constexpr uint8_t kHostConnectMode = 1;
constexpr MicroController kDisplayMicros[] = {
    {36, "EM1 not in host-connect mode\n", true},
    {42, "EM3 in host-connect mode\n", false},
};

// Routes directly behind host adapters 1 and 3.
constexpr uint64_t kDirectRoutes[] = {1, 3};
constexpr uint32_t kMaxDisplayDepth = 2;

// Working state of one run.
struct UpdateRun {
  ResultCode result = result::kSuccess;
  bool uidRecovered = false;
  uint32_t foundCount = 0;
  uint32_t updateCount = 0;
  uint64_t routes[kMaxScheduledDisplays] = {kNoRoute, kNoRoute};
  uint64_t uids[kMaxScheduledDisplays] = {kNoRoute, kNoRoute};
};

unsigned long long wide(uint64_t value) { return static_cast<unsigned long long>(value); }

template <size_t N>
bool contains(const uint32_t (&values)[N], uint32_t value) {
  for (uint32_t v : values)
    if (v == value) return true;
  return false;
}

bool boardIs(const BoardId& board, const char* id) { return std::memcmp(board.data(), id, kBoardIdCompareLength) == 0; }

BoardId readBoardId() {
  BoardId board{};
  readRegistryData(registry().root(), "board-id", kSearchRecursively, reinterpret_cast<uint8_t*>(board.data()),
                   static_cast<uint32_t>(board.size()));
  // The property's bytes up to the first NUL, as the format would print them.
  const std::string_view text(board.data(), strnlen(board.data(), board.size()));
  host().log(textf("Host board-id = '%s'\n", escapeControls(text).c_str()));
  return board;
}

// Verifies (and if need be repairs) the switch's UID; every switch gets
// this, even after an earlier one failed. A failure replaces the result.
void verifyUid(UpdateRun& run, const RegistryEntry& display, uint64_t& uid) {
  readRegistryNumber64(display, kUIDKey, uid);
  const Status s = recoverSwitchUID(display, &uid);
  if (s == status::kSuccess) {
    host().log("UID did not need recovery\n");
  } else if (s == status::kRepaired) {
    host().log("UID was recovered\n");
    run.uidRecovered = true;
  } else {
    host().log(textf("Could not recover UID (0x%x)\n", s));
    run.result = result::kUidNotRecovered;
  }
}

void accept(UpdateRun& run, uint64_t route, uint64_t uid, bool chained) {
  run.routes[run.updateCount] = route;
  run.uids[run.updateCount] = uid;
  host().log(chained ? textf("Will update route %llx (depth 2) with UID %016llx\n", wide(route), wide(uid))
                     : textf("Will update route %llx with UID %016llx\n", wide(route), wide(uid)));
  ++run.updateCount;
}

// Accepts a display directly behind the host, or chained at depth 2 behind
// another display, while fewer than two are accepted.
ResultCode placeDisplay(UpdateRun& run, const RegistryEntry& display, uint64_t route, uint64_t uid) {
  if (route == kDirectRoutes[0] || route == kDirectRoutes[1]) {
    if (run.updateCount >= kMaxScheduledDisplays) {
      host().log("Directly connected, but too many found.\n");
      return result::kTooManyFound;
    }
    accept(run, route, uid, false);
    return result::kSuccess;
  }
  uint32_t depth = ~0u;
  readRegistryNumber(display, kDepthKey, depth);
  if (depth > kMaxDisplayDepth) return result::kUnsupportedTopology;
  RegistryEntry parent = parentSwitchOfEntry(display);
  if (!parent) return result::kParentSwitchNotFound;
  if (!isDisplaySwitch(parent)) {
    host().log("Not directly connected and parent not EXDP\n");
    return result::kUnsupportedTopology;
  }
  if (run.updateCount >= kMaxScheduledDisplays) {
    host().log("Not directly connected. Parent *is* EXDP, but too many found.\n");
    return result::kTooManyFound;
  }
  if (route == 0) return result::kNoRoute;
  accept(run, route, uid, true);
  return result::kSuccess;
}

// Reads the mode bytes of the display's two port micro-controllers.
ResultCode checkDisplayMicros(const RegistryEntry& display) {
  ThunderboltUserClientUtils* utils = ThunderboltUserClientUtils::sharedInstanceForEntry(display);
  if (!utils) return result::kNoRouterHandle;
  std::unique_ptr<LocalRouterHandle> handle = utils->routerHandleFromRegistryEntry(display);
  if (!handle) return result::kNoRouterHandle;
  for (const MicroController& micro : kDisplayMicros) {
    uint8_t mode = 0;
    if (utils->iecsReadWithLocalRouterHandle(*handle, micro.bus, kMicroDevice, kMicroModeOffset, 1, &mode) !=
        status::kSuccess) {
      host().log(textf("Could not read micro at 0x%x.\n", micro.bus));
      return result::kMicroControllerUnreadable;
    }
    if ((mode == kHostConnectMode) != micro.hostConnectExpected) {
      host().log(micro.modeMismatch);
      return result::kSecondaryLink;
    }
  }
  return result::kSuccess;
}

// One display switch: its UID, its firmware, its attachment and its
// micro-controllers.
void examineDisplay(UpdateRun& run, const RegistryEntry& display) {
  ++run.foundCount;
  uint64_t uid = 0;
  verifyUid(run, display, uid);
  if (run.result != result::kSuccess) return;
  const uint64_t route = routeOfEntry(display);
  host().log(textf("Found EXDP at route 0x%llx\n", wide(route)));
  if (checkFirmwareVersion(display)) {
    host().log(textf("Route %llx is up to date\n", wide(route)));
    return;
  }
  host().log("Firmware not up to date.\n");
  run.result = checkConnection(display);
  if (run.result == result::kSuccess) run.result = placeDisplay(run, display, route, uid);
  if (run.result == result::kSuccess) run.result = checkDisplayMicros(display);
  if (run.result != result::kSuccess)
    host().log(textf("Error 0x%x occurred with route %llx\n", run.result, wide(route)));
}

// The conditions of the host itself, in order.
ResultCode checkHostConditions(const UpdateRun& run) {
  if (run.foundCount == 0) return result::kNoDisplayFound;
  if (run.updateCount == 0) return result::kNothingToUpdate;
  if (isLidClosed()) return result::kLidClosed;
  if (!isOnExternalPower()) return result::kNotOnExternalPower;
  return result::kSuccess;
}

std::optional<std::string> textProperty(const RegistryEntry& entry, std::string_view key) {
  std::optional<Property> value = entry.property(key);
  if (!value) return std::nullopt;
  if (value->isString()) return value->asString();
  if (!value->isData()) return std::nullopt;
  const auto& bytes = value->asData();
  std::string text(bytes.begin(), bytes.end());
  return text.substr(0, text.find('\0'));
}

std::vector<std::string> splitAtDots(const std::string& text) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (size_t dot; (dot = text.find('.', start)) != std::string::npos; start = dot + 1)
    parts.push_back(text.substr(start, dot - start));
  parts.push_back(text.substr(start));
  return parts;
}

// The boot firmware's version ("A.B.0116.B07": release 0116, build B07).
ResultCode checkBootFirmware() {
  RegistryEntry rom = registry().fromPath(kBootRomPath);
  std::optional<std::string> version = textProperty(rom, "version");
  std::optional<std::string> vendor = textProperty(rom, "vendor");
  if (!version || !vendor) return result::kBootFirmwareUnreadable;
  std::vector<std::string> parts = splitAtDots(*version);
  if (parts.size() < 4 || vendor->rfind(kBootRomMaker, 0) != 0) return result::kBootFirmwareUnreadable;
  const std::string& release = parts[2];
  const std::string& build = parts[3];
  host().log(textf("Host EFI: %s.%s\n", escapeControls(release).c_str(), escapeControls(build).c_str()));
  if (release == kEngineeringRelease) return result::kSuccess;
  if (release < kMinimumBootRomRelease || (release == kMinimumBootRomRelease && build < kMinimumBootRomBuild))
    return result::kBootFirmwareTooOld;
  return result::kSuccess;
}

// The micro-controller of the first lane port of an early host controller.
ResultCode checkHostPortMicro(const RegistryEntry& rootSwitch) {
  for (const RegistryEntry& child : rootSwitch.children()) {
    if (!child.conformsTo(kPortClass) || adapterTypeOfPort(child) != kLaneAdapterType) continue;
    uint32_t micro = 0;
    readRegistryNumber(child, kMicroVersionKey, micro);
    if (micro == 0) return result::kNoHostMicroVersion;
    return micro < kMinimumHostMicroVersion ? result::kHostControllerTooOld : result::kSuccess;
  }
  return result::kHostPortsUnavailable;
}

// One host controller's firmware, judged by its board and generation.
ResultCode checkHostController(const RegistryEntry& rootSwitch, const BoardId& board, uint32_t deviceId,
                               uint32_t rom, uint32_t revision) {
  ResultCode result = result::kSuccess;
  for (const char* id : kBoardsNeedingRom25)
    if (boardIs(board, id) && (rom < kRom25 || (rom == kRom25 && revision == 0)))
      result = result::kHostControllerTooOld;
  if (result == result::kSuccess && boardIs(board, kBoardCheckingBootFirmware)) result = checkBootFirmware();
  if (result != result::kSuccess) return result;
  if (contains(kEarlyHostControllers, deviceId)) return checkHostPortMicro(rootSwitch);
  if (contains(kLaterHostControllers, deviceId) &&
      (rom < kMinimumLaterHostRom || (rom == kMinimumLaterHostRom && revision < kMinimumLaterHostRevision)))
    return result::kHostControllerTooOld;
  return result::kSuccess;
}

// Every host root switch is logged; the first failing one decides.
ResultCode checkHostControllers(const BoardId& board) {
  PropertyDict match;
  match.set(std::string(kRouteStringKey), Property::number(0));
  ResultCode result = result::kSuccess;
  for (const RegistryEntry& rootSwitch : registry().matching(kSwitchClass, &match)) {
    uint32_t rom = 0, deviceId = 0;
    readRegistryNumber(rootSwitch, kRomVersionKey, rom);
    const uint32_t revision = romRevisionOfEntry(rootSwitch);
    readRegistryNumber(rootSwitch, "Device ID", deviceId);
    host().log(textf("0x%x Host ROM Version = %x.%d\n", deviceId, rom, revision));
    if (result == result::kSuccess) result = checkHostController(rootSwitch, board, deviceId, rom, revision);
  }
  return result;
}

// Schedules the flash when armed; any failure of the scheduling is 16.
ResultCode scheduleIfArmed(const UpdateRun& run, const char* toolPath, bool arm) {
  std::optional<std::string> directory = resourceDirectoryOf(toolPath);
  if (!directory) {
    host().log("Could not get resources path\n");
    return result::kSchedulingFailed;
  }
  if (arm && scheduleFlash(run.routes, run.uids, run.updateCount, directory->c_str()) != result::kSuccess)
    return result::kSchedulingFailed;
  return result::kSuccess;
}

}  // namespace

ResultCode checkForUpdates(int argc, const char* const* argv, bool arm) {
  UpdateRun run;
  const BoardId board = readBoardId();
  const PropertyDict match = displaySwitchMatch();
  for (const RegistryEntry& display : registry().matching(kSwitchClass, &match)) examineDisplay(run, display);
  if (run.result == result::kSuccess) run.result = checkHostConditions(run);
  if (run.result == result::kSuccess) run.result = checkHostControllers(board);
  // Already covered by the host conditions; kept as a second guard.
  if (run.result == result::kSuccess && run.updateCount == 0) {
    host().log("All devices are up-to-date\n");
    run.result = result::kNothingToUpdate;
  }
  if (run.result == result::kSuccess) {
    run.result = scheduleIfArmed(run, argc > 0 ? argv[0] : nullptr, arm);
  } else {
    host().log(textf("Cannot update because of error 0x%x\n", run.result));
  }
  if (run.uidRecovered && run.result == result::kNothingToUpdate) run.result = result::kOnlyUidRepaired;
  return run.result;
}

}  // namespace tbt
