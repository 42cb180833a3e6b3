#include "linux/linux_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <deque>
#include <memory>

namespace tbt::linux_host {
namespace {

// As many links as the kernel follows in one lookup.
constexpr int kMaxLinks = 40;
// The kernel's in-root lookup asks to try again when a rename raced it.
constexpr int kMaxLookupRetries = 8;

struct Fd {
  int fd = -1;
  explicit Fd(int f = -1) : fd(f) {}
  Fd(Fd&& o) noexcept : fd(o.fd) { o.fd = -1; }
  Fd& operator=(Fd&& o) noexcept {
    std::swap(fd, o.fd);
    return *this;
  }
  Fd(const Fd&) = delete;
  ~Fd() {
    if (fd >= 0) ::close(fd);
  }
  int release() {
    int f = fd;
    fd = -1;
    return f;
  }
};

struct DirCloser {
  void operator()(DIR* d) const { ::closedir(d); }
};

// The components of a path, "" and "." left out (".." kept).
void pushComponents(std::deque<std::string>& to, const std::string& path, bool atFront) {
  std::vector<std::string> parts;
  size_t i = 0;
  while (i < path.size()) {
    size_t slash = path.find('/', i);
    if (slash == std::string::npos) slash = path.size();
    std::string part = path.substr(i, slash - i);
    if (!part.empty() && part != ".") parts.push_back(std::move(part));
    i = slash + 1;
  }
  if (atFront)
    to.insert(to.begin(), parts.begin(), parts.end());
  else
    to.insert(to.end(), parts.begin(), parts.end());
}

int openByKernel(int rootFd, const std::string& path, int flags) {
  open_how how{};
  how.flags = static_cast<uint64_t>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
  const std::string relative = path.find_first_not_of('/') == std::string::npos
                                   ? std::string(".")
                                   : path.substr(path.find_first_not_of('/'));
  for (int attempt = 0;; ++attempt) {
    long fd = ::syscall(SYS_openat2, rootFd, relative.c_str(), &how, sizeof how);
    if (fd >= 0) return static_cast<int>(fd);
    if (errno == EAGAIN && attempt < kMaxLookupRetries) continue;
    return -errno;
  }
}

}  // namespace

int openByWalk(int rootFd, const std::string& path, int flags) {
  std::vector<Fd> below;  // the directories walked into, below the root
  auto top = [&] { return below.empty() ? rootFd : below.back().fd; };
  std::deque<std::string> pending;
  pushComponents(pending, path, false);
  int links = 0;
  while (!pending.empty()) {
    std::string name = std::move(pending.front());
    pending.pop_front();
    if (name == "..") {
      if (!below.empty()) below.pop_back();
      continue;
    }
    Fd step(::openat(top(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (step.fd < 0) return -errno;
    struct stat info{};
    if (::fstat(step.fd, &info) != 0) return -errno;
    if (S_ISLNK(info.st_mode)) {
      if (++links > kMaxLinks) return -ELOOP;
      char target[PATH_MAX];
      ssize_t n = ::readlinkat(step.fd, "", target, sizeof target);
      if (n < 0) return -errno;
      if (static_cast<size_t>(n) >= sizeof target) return -ENAMETOOLONG;
      const std::string where(target, static_cast<size_t>(n));
      if (!where.empty() && where[0] == '/') below.clear();
      pushComponents(pending, where, true);
      continue;
    }
    if (pending.empty()) {
      // The last component, seen as no link: open it from its directory,
      // refusing a link swapped in since.
      int fd = ::openat(top(), name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC);
      return fd >= 0 ? fd : -errno;
    }
    if (!S_ISDIR(info.st_mode)) return -ENOTDIR;
    below.push_back(std::move(step));
  }
  // The path ends at a directory reached by "..", or is the root itself.
  int fd = ::openat(top(), ".", flags | O_CLOEXEC);
  return fd >= 0 ? fd : -errno;
}

LinuxFiles::LinuxFiles(std::string root) : root_(std::move(root)) {
  rootFd_ = ::open(root_.empty() ? "/" : root_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (rootFd_ < 0) rootError_ = errno;
}

LinuxFiles::~LinuxFiles() {
  if (rootFd_ >= 0) ::close(rootFd_);
}

int LinuxFiles::openInRoot(const std::string& path, int flags) const {
  if (rootFd_ < 0) return -rootError_;
  if (resolution_ == Resolution::kKernel) {
    int fd = openByKernel(rootFd_, path, flags);
    // Kernels before 5.6 (or a filter that forbids the call) lack it.
    if (fd != -ENOSYS && fd != -EPERM) return fd;
  }
  return openByWalk(rootFd_, path, flags);
}

int LinuxFiles::openRegular(const std::string& path, int flags) const {
  // Look first: opening a FIFO or a device can block or act on the device.
  Fd look(openInRoot(path, O_PATH));
  if (look.fd < 0) return look.fd;
  struct stat info{};
  if (::fstat(look.fd, &info) != 0) return -errno;
  if (!S_ISREG(info.st_mode)) return -kNotRegularFile;
  Fd file(openInRoot(path, flags | O_NOCTTY | O_NONBLOCK));
  if (file.fd < 0) return file.fd;
  // The path may have been replaced between the look and the open.
  if (::fstat(file.fd, &info) != 0) return -errno;
  if (!S_ISREG(info.st_mode)) return -kNotRegularFile;
  return file.release();
}

int LinuxFiles::read(const std::string& path, size_t maxBytes, std::string& text) {
  Fd file(openRegular(path, O_RDONLY));
  if (file.fd < 0) return -file.fd;
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
  Fd file(openRegular(path, O_WRONLY));
  if (file.fd < 0) return -file.fd;
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
  Fd look(openInRoot(path, O_PATH));
  struct stat info{};
  if (look.fd < 0 || ::fstat(look.fd, &info) != 0) {
    if (error) *error = look.fd < 0 ? -look.fd : errno;
    return 0;
  }
  return info.st_mode;
}

bool LinuxFiles::isDirectory(const std::string& path) {
  Fd look(openInRoot(path, O_PATH));
  struct stat info{};
  return look.fd >= 0 && ::fstat(look.fd, &info) == 0 && S_ISDIR(info.st_mode);
}

int LinuxFiles::list(const std::string& path, size_t maxEntries, std::vector<std::string>& names) {
  Fd folder(openInRoot(path, O_RDONLY | O_DIRECTORY));
  if (folder.fd < 0) return -folder.fd;
  std::unique_ptr<DIR, DirCloser> dir(::fdopendir(folder.fd));
  if (!dir) return errno;
  folder.release();
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
