#pragma once
// A host, whatever backend serves it, written as a simulated-host file: the
// host probes, every controller with its routers, their registry properties,
// every double word of every space of the router and its adapters as it
// answered (read values, and where some reads fail the status they fail
// with as ranges, so that the replay fails them too), the DROM bytes where
// the host publishes them (as the router's EEPROM image at the DROM offset),
// and the routers behind link-controller bridges (under "bridges", read
// through remote handles). Loaded with --host=sim:FILE it answers every read
// the captured host answered with the same value. Only the indexes the
// backend lists are read one by one (DeviceInterface::listedIndexes), so a
// capture costs time in proportion to what the host lists. Everything is
// learnt through the installed platform's interfaces.
#include <cstdint>
#include <string>

#include "platform/device_interface.h"

namespace tbt::cli {

/// Double words 0 to this limit (exclusive) of each space are read: the
/// double-word index of a configuration access is 13 bits wide.
inline constexpr uint32_t kCaptureIndexLimit = kConfigIndexCount;

/// The installed host as host-file JSON text (ends with a newline).
std::string captureHost();

}  // namespace tbt::cli
