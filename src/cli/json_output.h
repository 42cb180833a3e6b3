#pragma once
// tbkit's JSON outputs: one document on the command's output stream instead
// of the text, for tools that collect the state of many hosts. 64-bit
// identifiers (route strings, UIDs) are "0x..." strings so that no reader
// loses bits; every other number is a JSON number.
#include <cstdint>
#include <span>
#include <string>

#include "cli/tbkit_main.h"
#include "drom/rom_record.h"
#include "platform/status.h"

namespace tbt::cli {

/// The --json option of the commands that can write JSON.
inline constexpr OptionSpec kJsonOption = {.name = "json",
                                           .help = "write one JSON document instead of the text"};

/// tbkit list --json: every controller with its router ID and the tree of
/// routers below its host router (route, depth, vendor and device IDs, UID,
/// adapters with number, type and what is attached). Returns the exit status.
int runListJson(CommandContext& context);

/// One double word that tbkit read read.
struct ReadValue {
  uint32_t index;
  uint32_t value;
};

/// tbkit read --json: the space and adapter read and each double word by index.
std::string readJson(const char* spaceName, uint32_t port, std::span<const ReadValue> values);

/// tbkit drom parse --json: the header fields, both checksums with their
/// status and every entry of the image (adapter entries decoded with the
/// port map pairs), and the outcome of the parse (parseStatus).
std::string dromParseJson(std::span<const uint8_t> image, std::span<const PortMapPair> pairs, Status parseStatus);

}  // namespace tbt::cli
