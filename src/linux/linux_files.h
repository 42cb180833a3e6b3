#pragma once
// The Linux backend's only way to the file system: bounded reads, chunked
// writes, modes and directory listings. Tests hand in their own to count
// and record what crosses it.
#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tbt::linux_host {

class LinuxFiles {
 public:
  virtual ~LinuxFiles() = default;
  /// Reads the whole file into text. Returns 0, or an errno value (EFBIG when
  /// the file holds more than maxBytes).
  virtual int read(const std::string& path, size_t maxBytes, std::string& text);
  /// Opens the file for writing (no truncation, no creation) and hands it
  /// each chunk with one write() call. Returns 0 or the errno of the first
  /// failing call; chunks before it stay written.
  virtual int write(const std::string& path, const std::vector<std::string>& chunks);
  /// The file's mode bits; 0 with *error set to an errno when it cannot be examined.
  virtual mode_t mode(const std::string& path, int* error);
  /// True when path names a directory.
  virtual bool isDirectory(const std::string& path);
  /// The names in a directory ("." and ".." left out), at most maxEntries of
  /// them. Returns 0 or an errno value.
  virtual int list(const std::string& path, size_t maxEntries, std::vector<std::string>& names);
};

}  // namespace tbt::linux_host
