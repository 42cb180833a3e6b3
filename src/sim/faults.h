#pragma once
// Injected faults: an access that matches a fault is failed with the fault's
// status and does not reach the hardware.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/status.h"

namespace tbt::sim {

/// Core fault operations; models may register more (registerFaultOp).
inline constexpr std::string_view kFaultConfigRead = "config-read";
inline constexpr std::string_view kFaultConfigWrite = "config-write";
inline constexpr std::string_view kFaultI2c = "i2c";
inline constexpr std::string_view kFaultIecsRead = "iecs-read";
inline constexpr std::string_view kFaultIecsWrite = "iecs-write";

/// One fault. Every address field that is set must equal the access's for the
/// fault to match; an unset field matches anything. Of the matching accesses
/// the first `skip` pass untouched, then `times` fail (times < 0: every later
/// one fails; this is also what a host file means when it leaves "times" out).
struct Fault {
  // Every field has a default, so that a designated initializer may name
  // only the fields it sets.
  std::string op = {};
  std::optional<size_t> controller = {};
  std::optional<uint64_t> route = {};
  std::optional<uint32_t> port = {}, space = {}, index = {};  // configuration accesses (IECS: index = offset)
  std::optional<uint32_t> bus = {}, device = {};              // IECS accesses
  std::optional<uint32_t> address = {};                       // I2C address, or a model's own address
  Status status = status::kTimeout;
  uint64_t skip = 0;
  int64_t times = -1;
  /// Progress: matching accesses seen, and how many of them were failed.
  uint64_t matched = 0;
  uint64_t fired = 0;
};

/// One access as a fault sees it.
struct FaultQuery {
  std::string_view op = {};
  size_t controller = 0;
  uint64_t route = 0;
  std::optional<uint32_t> port = {}, space = {}, index = {}, bus = {}, device = {}, address = {};
};

/// True when fault's address fields all agree with the query (op included).
bool faultMatches(const Fault& fault, const FaultQuery& query);

}  // namespace tbt::sim
