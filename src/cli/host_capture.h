#pragma once
// A host, whatever backend serves it, written as a simulated-host file: the
// host probes, every controller with its routers, their registry properties,
// every double word of every space of the router and its adapters as it
// answered (read values, and where some reads fail the status they fail
// with, so that the replay fails them too), and the DROM bytes where the host publishes them (as the
// router's EEPROM image at the DROM offset). Loaded with --host=sim:FILE it
// answers every read the captured host answered with the same value.
// Everything is learnt through the installed platform's interfaces.
#include <string>

namespace tbt::cli {

/// Double words 0 to this limit (exclusive) of each space are read: the
/// double-word index of a configuration access is 13 bits wide.
inline constexpr uint32_t kCaptureIndexLimit = 0x2000;

/// The installed host as host-file JSON text (ends with a newline).
std::string captureHost();

}  // namespace tbt::cli
