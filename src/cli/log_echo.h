#pragma once
// A platform that passes everything to another one and also shows each
// system-log line on a stream: what --verbose does for commands that reach
// a host.
#include <memory>
#include <ostream>

#include "platform/platform.h"

namespace tbt::cli {

/// Wraps inner so that every line logged through it is also written, with a
/// newline, to echo (which must outlive the platform).
std::unique_ptr<Platform> echoingLog(std::unique_ptr<Platform> inner, std::ostream& echo);

}  // namespace tbt::cli
