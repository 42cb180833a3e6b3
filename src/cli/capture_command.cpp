#include "cli/capture_command.h"

#include <ostream>

#include "cli/host_capture.h"
#include "platform/text.h"

namespace tbt::cli {
namespace {

int runCapture(CommandContext& context) {
  const std::string text = captureHost();
  const std::string* path = context.args().value("output");
  // "-" as no file: through the checked output (quiet on a broken pipe).
  if (!path || *path == "-") {
    context.out() << text;
    return kExitSuccess;
  }
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  std::string error = writeFileAtomically(*path, std::span<const uint8_t>(bytes, text.size()));
  if (!error.empty()) return context.failure(error);
  context.out() << textf("wrote %zu bytes to %s\n", text.size(), escapeControls(*path).c_str());
  return kExitSuccess;
}

const OptionSpec kCaptureOptions[] = {
    {.name = "output",
     .shortName = 'o',
     .valueName = "FILE",
     .help = "write the host file to FILE (default: print it)"},
};

constexpr const char* kCaptureDetails =
    "Writes the host as a simulated-host file: the host probes, every controller and\n"
    "router with its registry properties, every readable non-zero double word of the\n"
    "device, port, path and counter spaces (indexes below 0x2000; failing reads as\n"
    "ranges), the DROM where the host publishes it, and the routers behind bridges. 'tbkit ... --host=sim:FILE' then answers every read the\n"
    "captured host answered with the same value. Attach the file to a bug report.\n";

const Command kCaptureCommands[] = {{.name = "capture",
                                     .summary = "write the host as a simulated-host file",
                                     .details = kCaptureDetails,
                                     .options = kCaptureOptions,
                                     .needsHost = true,
                                     .run = runCapture}};

const CommandFamily kCaptureFamily = {"capture", "the host as a simulated-host file", kCaptureCommands};

}  // namespace

const CommandFamily& captureFamily() { return kCaptureFamily; }

}  // namespace tbt::cli
