#include "driver/entry.h"

#include <cinttypes>
#include <optional>
#include <string>

#include "driver/options.h"
#include "driver/resources.h"
#include "platform/platform.h"
#include "platform/system_log.h"
#include "platform/text.h"

namespace tbt {
namespace {

// The variables an earlier scheduling may have left in the host's
// non-volatile store, cleared by clean mode.
constexpr const char* kCleanCommands[] = {
    "nvram -d efi-kelvo-payload0",      "nvram -d efi-kelvo-payload1", "nvram -d efi-kelvo-payload0-data",
    "nvram -d efi-kelvo-payload1-data", "nvram -d tbt-options",        "nvram -d VaneUpdateResult",
};

// A process's exit status keeps only the low eight bits of what it returns.
constexpr ResultCode kExitStatusMask = 0xff;

// A dictionary value as the log's formatter shows an object.
std::string describe(const Property* value) {
  if (!value) return "(null)";
  switch (value->kind()) {
    case Property::Kind::String:
    case Property::Kind::Date: return value->asString();
    case Property::Kind::Number: return textf("%" PRId64, static_cast<int64_t>(value->asNumber()));
    case Property::Kind::Boolean: return value->asBoolean() ? "1" : "0";
    case Property::Kind::Real: return textf("%g", value->asReal());
    default: return "(not a message)";
  }
}

// Logs the message of a failed run, looked up in the error dictionary beside
// the program; a dictionary that cannot be loaded silences the report.
void reportFailure(const char* toolPath, ResultCode result) {
  std::optional<std::string> directory = resourceDirectoryOf(toolPath);
  if (!directory) return;
  std::string path = textf("%s/%s", directory->c_str(), kErrorDictionaryName);
  auto messages = host().readPropertyList(path);
  if (!messages) return;
  std::string key = textf("uc_error_0x%08x", result);
  host().log(textf("Error: '%s'\n", escapeControls(describe(messages->find(key))).c_str()));
}

// Backflash needs the utility and payload 0; with exactly two operands the
// third is passed on as null.
ResultCode backflash(int argc, char** argv, int firstOperand, const EntryCalls& calls) {
  if (firstOperand + 2 > argc) return result::kMissingOperands;
  const char* payload1 = firstOperand + 2 < argc ? argv[firstOperand + 2] : nullptr;
  return calls.runBackflash(argv[firstOperand], argv[firstOperand + 1], payload1);
}

// The command line run with argv[0] the program's own path.
int runWithProgramPath(int argc, char** argv, const EntryCalls& calls) {
  EntryOptions options = parseEntryOptions(argc, argv);
  if (options.clean)
    for (const char* command : kCleanCommands) host().shell(command);
  ResultCode result = options.backflash ? backflash(argc, argv, options.firstOperand, calls)
                                        : calls.checkForUpdates(argc, argv, options.arm);
  if (result != result::kSuccess) {
    reportFailure(argc > 0 ? argv[0] : nullptr, result);
  } else {
    host().log("Success\n");
    if (options.restart) host().shell("shutdown -r now");
  }
  return static_cast<int>(result & kExitStatusMask);
}

}  // namespace

int runUpdateChecker(int argc, char** argv, const EntryCalls& calls) {
  // Both flows find their resources beside the program's own file, which a
  // start through PATH or through a link does not name in argv[0].
  std::optional<std::string> programPath = programPathOf(argc > 0 ? argv[0] : nullptr);
  char* const startPath = argc > 0 ? argv[0] : nullptr;
  if (programPath) argv[0] = programPath->data();
  const int status = runWithProgramPath(argc, argv, calls);
  if (argc > 0) argv[0] = startPath;
  return status;
}

}  // namespace tbt
