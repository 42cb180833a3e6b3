#pragma once
// Configuration spaces of a real host through the kernel's debugfs files,
// read as snapshots: within one command each file is read at most once,
// until a write to its router drops that router's snapshots. (Every read of
// a file makes the kernel read the whole space from the hardware again.)
//
//   <debugfs>/<router>/regs              device space (adapter 0)
//   <debugfs>/<router>/port<N>/regs      port space
//   <debugfs>/<router>/port<N>/path      path space
//   <debugfs>/<router>/port<N>/counters  counter space
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "linux/debugfs_text.h"
#include "linux/linux_files.h"
#include "platform/status.h"

namespace tbt::linux_host {

/// Configuration spaces as every access numbers them.
inline constexpr uint32_t kPathSpace = 0;
inline constexpr uint32_t kPortSpace = 1;
inline constexpr uint32_t kDeviceSpace = 2;
inline constexpr uint32_t kCounterSpace = 3;

class DebugfsSpaces {
 public:
  /// debugfsDirectory: the driver's folder, ".../sys/kernel/debug/thunderbolt".
  DebugfsSpaces(LinuxFiles& files, std::string debugfsDirectory);

  /// Reads one double word of a router (domain, route) as the file lists it.
  /// Unlisted index or a space the adapter does not offer: unsupported; a
  /// failure line: device error; no router or adapter folder: not found;
  /// permission denied: not permitted.
  Status read(uint32_t domain, uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t& value);
  /// Writes count double words from index, then reads the file again: the
  /// write succeeds only when every written index reads back the written
  /// value, but for the bits the hardware changes by itself (hardwareOwnedBits);
  /// otherwise not writable. A file without write permission (the kernel
  /// built without debugfs writes): unsupported, nothing written. With
  /// writes refused (a copied tree): not permitted, no file touched.
  Status write(uint32_t domain, uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t count,
               const uint32_t* values);

  /// Refuses every later write (the tree is a copy of a host).
  void refuseWrites() { writesRefused_ = true; }
  bool writesRefused() const { return writesRefused_; }

  /// The indexes the file of a space lists (failure lines included),
  /// ascending; none when the file cannot be read.
  std::vector<uint32_t> listed(uint32_t domain, uint64_t route, uint32_t port, uint32_t space);
  /// The file of a space ("" for a space that has none).
  std::string fileOf(uint32_t domain, uint64_t route, uint32_t port, uint32_t space) const;
  /// The adapters that have a folder below the router, ascending.
  std::vector<uint32_t> adapters(uint32_t domain, uint64_t route);
  /// True when the driver's debugfs folder exists (debugfs is mounted).
  bool present() { return files_.isDirectory(root_); }
  /// True once a read or write was refused for lack of permission.
  bool permissionDenied() const { return denied_; }
  /// The read-only file a write was refused for, once one was ("" before).
  const std::string& readOnlyRefused() const { return readOnly_; }
  /// File reads so far, in all and of one file.
  uint64_t fileReads() const { return reads_; }
  uint64_t fileReadsOf(const std::string& path) const;

 private:
  struct Snapshot {
    Status status = status::kSuccess;  // of reading the file
    SpaceSnapshot words;
  };
  const Snapshot& snapshot(const std::string& path, uint32_t domain, uint64_t route, uint32_t port);
  Status statusOfErrno(int error, uint32_t domain, uint64_t route, uint32_t port);
  void dropRouter(uint32_t domain, uint64_t route);

  LinuxFiles& files_;
  std::string root_;
  std::map<std::string, Snapshot> snapshots_;
  std::map<std::string, uint64_t> readsOf_;
  uint64_t reads_ = 0;
  bool denied_ = false;
  std::string readOnly_;
  bool writesRefused_ = false;
};

/// The bits of a listed double word that the hardware changes by itself, so
/// that a read-back after a write may show them otherwise: the data-out wire
/// of the DFT capability's pin register (driven by the EEPROM), every double
/// word of the link controller's capability (its mailboxes take a command and
/// answer in place) and the counter space (counters count).
uint32_t hardwareOwnedBits(uint32_t space, const ListedWord& word);

/// The status of a failed file operation's errno.
Status statusOfErrno(int error);

}  // namespace tbt::linux_host
