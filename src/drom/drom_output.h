#pragma once
// Where a DROM object's diagnostic text goes. The parser, builder and dumps
// print progress lines (standard output) and a few log lines (system log);
// the object is given a sink for each, so it works with or without a host.
#include <functional>
#include <string_view>

namespace tbt {

/// Two text sinks: print for standard-output lines, log for system-log lines.
/// An empty function drops the text.
struct DromOutput {
  std::function<void(std::string_view)> print;
  std::function<void(std::string_view)> log;

  /// The default sinks: the installed platform's host print and log when a
  /// platform is installed (decided at each call), otherwise the process's
  /// standard output and standard error.
  static DromOutput standard();
  /// Sinks that drop everything.
  static DromOutput silent();
};

}  // namespace tbt
