#pragma once
// The Linux backend's only way to the file system: bounded reads, chunked
// writes, modes and directory listings of the files of one host. Paths are
// the host's own ("/sys/bus/thunderbolt/devices"), resolved below the
// host's root as if that root were "/": links inside the tree work (sysfs
// device entries are links into /sys/devices), nothing resolves outside it,
// and only regular files are read or written. Tests hand in their own to
// count and record what crosses it.
#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <vector>

namespace tbt::linux_host {

/// The error of a read or write refused because the path names something
/// other than a regular file (a directory, FIFO, device or socket).
inline constexpr int kNotRegularFile = EBADFD;

/// How a path is resolved below the root: the kernel's in-root lookup where
/// it has one, else (or when asked) a walk of one component at a time.
enum class Resolution { kKernel, kWalk };

class LinuxFiles {
 public:
  /// The files below root ("" or "/": this machine's own).
  explicit LinuxFiles(std::string root = "");
  virtual ~LinuxFiles();
  LinuxFiles(const LinuxFiles&) = delete;
  LinuxFiles& operator=(const LinuxFiles&) = delete;

  /// The root as given ("" for this machine).
  const std::string& root() const { return root_; }
  /// Forces the component walk (tests check that both resolutions agree).
  void setResolution(Resolution r) { resolution_ = r; }

  /// Reads the whole file into text. Returns 0, or an errno value (EFBIG when
  /// the file holds more than maxBytes, kNotRegularFile for anything but a
  /// regular file).
  virtual int read(const std::string& path, size_t maxBytes, std::string& text);
  /// Opens the regular file for writing (no truncation, no creation) and
  /// hands it each chunk with one write() call. Returns 0 or the errno of the
  /// first failing call; chunks before it stay written.
  virtual int write(const std::string& path, const std::vector<std::string>& chunks);
  /// The file's mode bits; 0 with *error set to an errno when it cannot be examined.
  virtual mode_t mode(const std::string& path, int* error);
  /// True when path names a directory.
  virtual bool isDirectory(const std::string& path);
  /// The names in a directory ("." and ".." left out), at most maxEntries of
  /// them. Returns 0 or an errno value.
  virtual int list(const std::string& path, size_t maxEntries, std::vector<std::string>& names);

 protected:
  /// Opens path below the root with flags (O_PATH to look only); a
  /// descriptor, or -errno.
  int openInRoot(const std::string& path, int flags) const;
  /// Opens a regular file (checked before and after the open); -errno or
  /// -kNotRegularFile.
  int openRegular(const std::string& path, int flags) const;

 private:
  std::string root_;
  int rootFd_ = -1;
  int rootError_ = 0;
  Resolution resolution_ = Resolution::kKernel;
};

/// Resolves path below the directory rootFd component by component, as the
/// kernel's in-root lookup does: ".." stops at the root, an absolute link
/// starts again from the root, at most 40 links are followed. Opens the
/// result with flags; a descriptor or -errno.
int openByWalk(int rootFd, const std::string& path, int flags);

}  // namespace tbt::linux_host
