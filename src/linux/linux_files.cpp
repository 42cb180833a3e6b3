#include "linux/linux_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace tbt::linux_host {
namespace {

struct FdCloser {
  int fd;
  ~FdCloser() {
    if (fd >= 0) ::close(fd);
  }
};

struct DirCloser {
  void operator()(DIR* d) const { ::closedir(d); }
};

}  // namespace

int LinuxFiles::read(const std::string& path, size_t maxBytes, std::string& text) {
  FdCloser file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)};
  if (file.fd < 0) return errno;
  struct stat info{};
  if (::fstat(file.fd, &info) != 0) return errno;
  if (S_ISDIR(info.st_mode)) return EISDIR;
  // sysfs and debugfs files report a size of 0 or 4096 whatever they hold:
  // read until the end, never past the bound.
  std::string out;
  char chunk[4096];
  for (;;) {
    ssize_t n = ::read(file.fd, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return errno;
    if (n == 0) break;
    if (out.size() + static_cast<size_t>(n) > maxBytes) return EFBIG;
    out.append(chunk, static_cast<size_t>(n));
  }
  text = std::move(out);
  return 0;
}

int LinuxFiles::write(const std::string& path, const std::vector<std::string>& chunks) {
  FdCloser file{::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY)};
  if (file.fd < 0) return errno;
  for (const std::string& chunk : chunks) {
    ssize_t n;
    do n = ::write(file.fd, chunk.data(), chunk.size());
    while (n < 0 && errno == EINTR);
    if (n < 0) return errno;
    // The kernel takes a chunk whole or fails it; a short count is an I/O error.
    if (static_cast<size_t>(n) != chunk.size()) return EIO;
  }
  return 0;
}

mode_t LinuxFiles::mode(const std::string& path, int* error) {
  struct stat info{};
  if (::stat(path.c_str(), &info) != 0) {
    if (error) *error = errno;
    return 0;
  }
  return info.st_mode;
}

bool LinuxFiles::isDirectory(const std::string& path) {
  struct stat info{};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

int LinuxFiles::list(const std::string& path, size_t maxEntries, std::vector<std::string>& names) {
  std::unique_ptr<DIR, DirCloser> dir(::opendir(path.c_str()));
  if (!dir) return errno;
  names.clear();
  while (names.size() < maxEntries) {
    errno = 0;
    const dirent* entry = ::readdir(dir.get());
    if (!entry) return errno;
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(std::move(name));
  }
  return 0;
}

}  // namespace tbt::linux_host
