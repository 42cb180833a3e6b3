#pragma once
// Host services other than the registry and the controller driver.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/property.h"

namespace tbt {

class HostServices {
 public:
  virtual ~HostServices() = default;
  /// Runs a command line through the shell; the raw wait status as system() gives it.
  virtual int shell(const std::string& command) = 0;
  /// Sleeps for the given number of microseconds.
  virtual void sleepMicroseconds(uint64_t microseconds) = 0;
  /// Microseconds on the host's monotonic clock (simulated time in the simulation).
  virtual uint64_t nowMicroseconds() = 0;
  /// Writes one line to the system log (text without the trailing newline is fine).
  virtual void log(std::string_view text) = 0;
  /// Writes progress text to standard output.
  virtual void print(std::string_view text) = 0;
  /// Reads a property-list file whose top level is a dictionary; nullopt when
  /// the file is missing or malformed.
  virtual std::optional<PropertyDict> readPropertyList(const std::string& path) = 0;
  /// The BSD device name of the boot volume ("disk0s2"), or nullopt.
  virtual std::optional<std::string> bootDiskName() = 0;
};

}  // namespace tbt
