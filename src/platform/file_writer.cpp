#include "platform/file_writer.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "platform/text.h"

namespace tbt {
namespace {

constexpr const char* kStandardOutput = "-";
// Attempts at a free temporary name before giving up.
constexpr int kNameAttempts = 100;
// Random characters that end a temporary name.
constexpr size_t kTemporarySuffix = 6;

BeforeReplaceHook beforeReplace = nullptr;

class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() { reset(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }
  /// Closes the descriptor; the close's own error (0: none).
  int reset() {
    int error = 0;
    if (fd_ >= 0 && ::close(fd_) != 0) error = errno;
    fd_ = -1;
    return error;
  }
  void adopt(int fd) {
    reset();
    fd_ = fd;
  }

 private:
  int fd_;
};

std::string failure(const std::string& path, const std::string& reason) {
  return textf("cannot write %s: %s", path.c_str(), reason.c_str());
}

std::string failure(const std::string& path, int error) { return failure(path, std::strerror(error)); }

/// Writes all of bytes to fd; 0 or the error.
int writeAll(int fd, std::span<const uint8_t> bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return errno;
    if (n == 0) return EIO;
    done += static_cast<size_t>(n);
  }
  return 0;
}

/// The folder and the name of path ("." for a name without one).
std::pair<std::string, std::string> split(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {slash == 0 ? std::string("/") : path.substr(0, slash), path.substr(slash + 1)};
}

/// Creates a temporary file beside path: ".NAME.XXXXXX", the name cut so the
/// whole fits NAME_MAX. mode: as for open (the process's mask applies).
/// Returns the descriptor (or -1 with errno set) and the temporary's path.
int createTemporary(const std::string& folder, const std::string& name, mode_t mode, std::string& temporary) {
  const size_t room = NAME_MAX - 2 - kTemporarySuffix;
  const std::string stem = name.substr(0, room);
  static uint64_t counter = 0;
  uint64_t seed = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
                  (static_cast<uint64_t>(::getpid()) << 32);
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    // A simple mixing of time, process and a counter: the name only has to
    // be free, O_EXCL makes sure of the rest.
    uint64_t x = seed + 0x9E3779B97F4A7C15ull * ++counter;
    x = (x ^ (x >> 31)) * 0xBF58476D1CE4E5B9ull;
    x ^= x >> 29;
    std::string suffix;
    for (size_t i = 0; i < kTemporarySuffix; ++i, x /= 36) suffix += "0123456789abcdefghijklmnopqrstuvwxyz"[x % 36];
    temporary = textf("%s/.%s.%s", folder.c_str(), stem.c_str(), suffix.c_str());
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  errno = EEXIST;
  return -1;
}

/// Writes into an existing file that is not a regular one (a device, a FIFO)
/// without replacing it.
std::string writeInPlace(const std::string& path, std::span<const uint8_t> bytes) {
  Descriptor fd(::open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
  if (fd.get() < 0) return failure(path, errno);
  struct stat st{};
  if (::fstat(fd.get(), &st) != 0) return failure(path, errno);
  if (S_ISREG(st.st_mode)) return failure(path, "it changed from a device into a regular file while being opened");
  if (int error = writeAll(fd.get(), bytes)) return failure(path, error);
  if (int error = fd.reset()) return failure(path, error);
  return std::string();
}

/// Replaces the regular file at path (or creates it) with bytes. old: the
/// file's status, or null when there is none.
std::string replaceRegular(const std::string& path, std::span<const uint8_t> bytes, const struct stat* old) {
  const auto [folder, name] = split(path);
  std::string temporary;
  Descriptor fd(createTemporary(folder, name, old ? S_IRUSR | S_IWUSR : 0666, temporary));
  if (fd.get() < 0) return failure(path, errno);
  auto abandon = [&](const std::string& reason) {
    fd.reset();
    ::unlink(temporary.c_str());
    return failure(path, reason);
  };
  if (old) {
    // The owner first: changing it clears the set-user-ID and set-group-ID bits.
    if ((old->st_uid != ::geteuid() || old->st_gid != ::getegid()) &&
        ::fchown(fd.get(), old->st_uid, old->st_gid) != 0)
      return abandon(textf("cannot keep its owner: %s", std::strerror(errno)));
    if (::fchmod(fd.get(), old->st_mode & 07777) != 0)
      return abandon(textf("cannot keep its mode: %s", std::strerror(errno)));
  }
  if (int error = writeAll(fd.get(), bytes)) return abandon(std::strerror(error));
  if (::fsync(fd.get()) != 0) return abandon(std::strerror(errno));
  if (int error = fd.reset()) return abandon(std::strerror(error));
  if (beforeReplace) beforeReplace(path);
  // What path names may have changed since it was looked at: never rename
  // over anything but the file that was there (or nothing).
  struct stat now{};
  const bool exists = ::lstat(path.c_str(), &now) == 0;
  if (exists != (old != nullptr) || (old && (now.st_dev != old->st_dev || now.st_ino != old->st_ino)))
    return abandon("it changed while being written");
  if (::rename(temporary.c_str(), path.c_str()) != 0) return abandon(std::strerror(errno));
  // The rename is durable only once the folder is synced (file systems that
  // cannot sync a folder say EINVAL).
  Descriptor dir(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.get() < 0 || (::fsync(dir.get()) != 0 && errno != EINVAL))
    return failure(path, textf("written, but its folder cannot be synced: %s", std::strerror(errno)));
  return std::string();
}

}  // namespace

void setBeforeReplaceHook(BeforeReplaceHook hook) { beforeReplace = hook; }

std::string writeFileSafely(const std::string& path, std::span<const uint8_t> bytes) {
  if (path == kStandardOutput) {
    if (int error = writeAll(STDOUT_FILENO, bytes)) return failure("standard output", error);
    return std::string();
  }
  if (path.empty()) return failure("''", "no file name");
  struct stat st{};
  if (::lstat(path.c_str(), &st) != 0) {
    if (errno != ENOENT) return failure(path, errno);
    return replaceRegular(path, bytes, nullptr);
  }
  if (S_ISLNK(st.st_mode)) return failure(path, "it is a symbolic link, which is not replaced");
  if (S_ISDIR(st.st_mode)) return failure(path, EISDIR);
  if (S_ISREG(st.st_mode)) return replaceRegular(path, bytes, &st);
  return writeInPlace(path, bytes);
}

std::string writeFileSafely(const std::string& path, std::string_view text) {
  return writeFileSafely(path, std::span(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
}

}  // namespace tbt
