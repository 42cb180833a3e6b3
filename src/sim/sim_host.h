#pragma once
// The simulated machine: controllers with their routers, the host facts that
// the registry publishes, the virtual clock, the shell with its variable
// store, the system log and standard output, faults and access accounting.
// The registry and the device interfaces (sim_platform.h) are views of it.
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "platform/status.h"
#include "sim/faults.h"
#include "sim/router.h"

namespace tbt::sim {

/// Facts about the host that its registry publishes.
struct HostFacts {
  std::optional<std::string> boardId;     // "board-id" data on the platform entry
  std::optional<std::string> romVersion;  // "IODeviceTree:/rom" "version"
  std::optional<std::string> romVendor;   // "IODeviceTree:/rom" "vendor"
  bool hasRom = false;                    // the rom entry exists
  bool lidClosed = false;                 // "KelvoClamshellState"
  std::vector<std::optional<bool>> batteries;  // "ExternalConnected" per battery (nullopt: left out)
  std::optional<std::string> bootDisk;    // BSD name of the boot volume
};

/// One host controller and the routers behind it.
struct Controller {
  uint32_t interfaceVersion = 2;
  std::map<uint64_t, std::unique_ptr<Router>> routers;  // by route
};

/// Simulated time one configuration, I2C or IECS access costs unless the host
/// file says otherwise: what hosts measure with a software connection manager
/// (110 to 130 us; up to 2.5 ms behind a firmware one).
inline constexpr uint64_t kDefaultAccessLatencyMicroseconds = 130;

/// Kinds of recorded hardware accesses.
enum class AccessKind { ConfigRead, ConfigWrite, I2c, IecsRead, IecsWrite };

/// One recorded access (see SimHost::setAccessLogEnabled).
struct AccessRecord {
  AccessKind kind;
  size_t controller = 0;
  uint64_t route = 0;
  uint32_t port = 0, space = 0, index = 0;  // configuration accesses
  uint32_t bus = 0, device = 0, offset = 0; // IECS accesses (offset also for I2C)
  uint32_t address = 0;                     // I2C
  uint32_t value = 0;                       // configuration double word moved
  uint32_t length = 0;                      // bytes moved (I2C: read length)
  Status status = status::kSuccess;
  bool bridged = false;                     // a far router's access through a configuration bridge
};

/// The bytes a firmware-variable value stands for in the variable tool's
/// notation: "%hh" (two hex digits) is that byte, anything else (a '%' not
/// followed by two hex digits included) stands for itself. "%04" is the byte 4.
std::string decodeNvramValue(std::string_view text);
/// The variable tool's printed form of a value: printable ASCII other than '%'
/// as it is, every other byte as "%hh"; decodeNvramValue undoes it.
std::string encodeNvramValue(std::string_view value);

/// Handles one shell command; returns the raw wait status (exit code << 8).
using ShellHandler = std::function<int(SimHost& host, const std::string& command)>;
/// The wait status of a command that refused its arguments (exit code 1).
inline constexpr int kShellUsageError = 1 << 8;

class SimHost {
 public:
  SimHost();
  ~SimHost();
  SimHost(const SimHost&) = delete;
  SimHost& operator=(const SimHost&) = delete;

  // ---- Machine ---------------------------------------------------------
  HostFacts& facts() { return facts_; }
  const HostFacts& facts() const { return facts_; }
  std::vector<Controller>& controllers() { return controllers_; }
  const std::vector<Controller>& controllers() const { return controllers_; }
  /// The router at route on a controller, or null.
  Router* router(size_t controller, uint64_t route) const;
  /// Every router, by controller and then by route.
  std::vector<Router*> routers() const;
  /// Raw double word of a router (0 when there is no such router); models bypassed.
  uint32_t peek(size_t controller, uint64_t route, uint32_t port, uint32_t space, uint32_t index) const;
  /// Stores a raw double word; false when there is no such router.
  bool poke(size_t controller, uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t value);

  // ---- Hardware accesses (what the device interfaces do) ---------------
  // Each costs accessLatencyMicroseconds of simulated time, is counted, is
  // checked against the faults, and fails like absent hardware (time-out)
  // when no router answers at the route.
  Status configRead(size_t controller, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                    uint32_t& value);
  Status configWrite(size_t controller, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                     uint32_t value);
  /// A configuration access of a far router that a configuration bridge
  /// makes on its behalf: timed, counted, checked against the faults and
  /// logged like any other, the far router named by its controller and the
  /// route it reports of itself.
  Status bridgedConfigAccess(Router& far, bool write, uint32_t port, uint32_t space, uint32_t index,
                             uint32_t& value);
  /// One I2C transaction at address (write part, then read part).
  Status i2cTransaction(size_t controller, uint64_t route, uint32_t address, const uint8_t* writeData,
                        uint32_t writeLength, uint8_t* readData, uint32_t readLength);
  /// IECS transfer of length bytes at offset; an undescribed device does not answer.
  Status iecsRead(size_t controller, uint64_t route, uint32_t bus, uint32_t device, uint32_t offset,
                  uint8_t* data, uint32_t length);
  Status iecsWrite(size_t controller, uint64_t route, uint32_t bus, uint32_t device, uint32_t offset,
                   const uint8_t* data, uint32_t length);

  // ---- Virtual clock ---------------------------------------------------
  /// Simulated monotonic time in microseconds.
  uint64_t nowMicroseconds() const { return clockStart_ + elapsed_; }
  /// Moves simulated time on (a sleep, or a model's own delay).
  void advance(uint64_t microseconds) { elapsed_ += microseconds; }
  /// All simulated time so far: sleeps plus per-access latency.
  uint64_t hardwareTimeMicroseconds() const { return elapsed_; }
  uint64_t accessLatencyMicroseconds() const { return latency_; }
  void setAccessLatencyMicroseconds(uint64_t us) { latency_ = us; }

  // ---- Accounting ------------------------------------------------------
  uint64_t configReadCount() const { return configReads_; }
  uint64_t configWriteCount() const { return configWrites_; }
  uint64_t configAccessCount() const { return configReads_ + configWrites_; }
  uint64_t i2cAccessCount() const { return i2cAccesses_; }
  uint64_t iecsAccessCount() const { return iecsAccesses_; }
  /// Configuration reads (writes) of one address so far, failed ones included;
  /// 0 while address counts are off.
  uint64_t configReadsOf(uint64_t route, uint32_t port, uint32_t space, uint32_t index, size_t controller = 0) const;
  uint64_t configWritesOf(uint64_t route, uint32_t port, uint32_t space, uint32_t index, size_t controller = 0) const;
  /// Resets every counter and the access log (the clock is left alone).
  void resetCounters();
  /// Turns the counts by address of configReadsOf and configWritesOf on or
  /// off (on at start). They take memory for every address ever touched, so
  /// a program that walks whole spaces turns them off.
  void setAddressCountsEnabled(bool on) { countAddresses_ = on; }
  /// Turns recording of every access into accessLog() on or off (off at start).
  void setAccessLogEnabled(bool on) { logAccesses_ = on; }
  const std::vector<AccessRecord>& accessLog() const { return accessLog_; }

  // ---- Faults ----------------------------------------------------------
  void addFault(Fault fault) { faults_.push_back(std::move(fault)); }
  const std::vector<Fault>& faults() const { return faults_; }
  void clearFaults() { faults_.clear(); }
  /// Counts the access against the faults; the status to fail it with, or
  /// nullopt when it goes through. Models call it for their own fault ops.
  std::optional<Status> checkFault(const FaultQuery& query) {
    return faults_.empty() ? std::nullopt : matchFault(query);
  }

  // ---- Shell and variable store ----------------------------------------
  /// Runs a command line: records it and dispatches on the longest registered
  /// prefix that matches a whole word; unknown commands give 127 << 8.
  int runShell(const std::string& command);
  /// Adds (or replaces) the handler of commands starting with prefix.
  void registerShellCommand(std::string prefix, ShellHandler handler);
  /// Every command run so far, in order.
  const std::vector<std::string>& shellCommands() const { return shellCommands_; }
  /// Text the commands printed (also echoed to standard output when echo is on).
  const std::string& shellOutput() const { return shellOutput_; }
  void shellPrint(std::string_view text);
  /// The firmware variable store: name -> value bytes.
  std::map<std::string, std::string>& nvram() { return nvram_; }
  const std::map<std::string, std::string>& nvram() const { return nvram_; }
  /// True once "shutdown -r now" ran (the process goes on), until the host
  /// restarts (see restartHost in boot_firmware.h).
  bool restartRequested() const { return restartRequested_; }
  void requestRestart() { restartRequested_ = true; }
  void clearRestartRequest() { restartRequested_ = false; }
  /// How many times the host has restarted ("restarts" in the host file).
  uint64_t restartCount() const { return restartCount_; }
  void setRestartCount(uint64_t count) { restartCount_ = count; }
  /// The last boot-selection command line registered, if any.
  const std::optional<std::string>& scheduledBootEntry() const { return bootEntry_; }
  void setScheduledBootEntry(std::string commandLine) { bootEntry_ = std::move(commandLine); }
  void clearScheduledBootEntry() { bootEntry_.reset(); }

  // ---- System log and standard output ----------------------------------
  /// Records one log line (a trailing newline is dropped); with echo on it
  /// also goes to standard error as "<timestamp> <ident>[<pid>] <text>" and
  /// to the system log.
  void log(std::string_view text);
  /// Records progress text; with echo on it also goes to standard output.
  void print(std::string_view text);
  const std::vector<std::string>& logLines() const { return logLines_; }
  const std::string& printed() const { return printed_; }
  void clearOutput();
  /// Echo to the real standard streams and system log (off at start).
  void setEcho(bool on) { echo_ = on; }
  bool echo() const { return echo_; }
  /// The program name that echoed log lines carry (default "updatechecker").
  void setLogIdent(std::string ident);
  const std::string& logIdent() const { return ident_; }

  // ---- The host file -----------------------------------------------------
  /// The host file as loaded (saving writes the current state into a copy),
  /// parsed again from its text: a loaded host keeps only the text.
  nlohmann::json document() const;
  void setDocument(std::string text) { documentText_ = std::move(text); }

 private:
  /// checkFault once there are faults.
  std::optional<Status> matchFault(const FaultQuery& query);
  /// What every hardware access shares: its simulated time, the faults, a
  /// refusal of a malformed request, and the router that answers at the
  /// query's route (none: time-out); answer(router) then does the access.
  // target: the router that answers (null: the one at the query's route).
  template <typename Answer>
  Status access(const FaultQuery& query, bool wellFormed, Answer&& answer, Router* target = nullptr);
  Status configAccess(bool write, size_t controller, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                      uint32_t& value, Router* far = nullptr);
  Status iecsAccess(bool write, size_t controller, uint64_t route, uint32_t bus, uint32_t device, uint32_t offset,
                    uint8_t* readData, const uint8_t* writeData, uint32_t length);
  void installStandardShellCommands();

  HostFacts facts_;
  std::vector<Controller> controllers_;
  uint64_t clockStart_ = 1'000'000;
  uint64_t elapsed_ = 0;
  uint64_t latency_ = kDefaultAccessLatencyMicroseconds;
  uint64_t configReads_ = 0, configWrites_ = 0, i2cAccesses_ = 0, iecsAccesses_ = 0;
  struct AccessCounts {
    uint64_t reads = 0, writes = 0;
  };
  // Configuration accesses by address (see accessKey in sim_host.cpp).
  std::map<std::pair<uint64_t, uint64_t>, AccessCounts> accessesOf_;
  bool countAddresses_ = true;
  bool logAccesses_ = false;
  std::vector<AccessRecord> accessLog_;
  std::vector<Fault> faults_;
  std::vector<std::pair<std::string, ShellHandler>> shellHandlers_;
  std::vector<std::string> shellCommands_;
  std::string shellOutput_;
  std::map<std::string, std::string> nvram_;
  bool restartRequested_ = false;
  uint64_t restartCount_ = 0;
  std::optional<std::string> bootEntry_;
  std::vector<std::string> logLines_;
  std::string printed_;
  bool echo_ = false;
  std::string ident_ = "updatechecker";
  std::string documentText_;
};

}  // namespace tbt::sim
