#include "platform/file_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/text.h"

namespace tbt {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

std::string readRegularFile(const std::string& path, size_t maxSize, std::string& out) {
  // Without O_NONBLOCK, opening a FIFO waits for a writer that may never come.
  Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (file.get() < 0) return std::strerror(errno);
  struct stat st{};
  if (::fstat(file.get(), &st) != 0) return std::strerror(errno);
  if (S_ISDIR(st.st_mode)) return std::strerror(EISDIR);
  if (!S_ISREG(st.st_mode)) return "not a regular file";
  const std::string tooLarge = textf("larger than %zu bytes", maxSize);
  if (static_cast<unsigned long long>(st.st_size) > maxSize) return tooLarge;
  std::string data;
  data.reserve(static_cast<size_t>(st.st_size));
  // The file may grow while it is read: read at most one byte past the limit.
  char chunk[16384];
  for (;;) {
    const size_t want = std::min(sizeof chunk, maxSize + 1 - data.size());
    const ssize_t got = ::read(file.get(), chunk, want);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::strerror(errno);
    if (got == 0) break;
    data.append(chunk, static_cast<size_t>(got));
    if (data.size() > maxSize) return tooLarge;
  }
  out = std::move(data);
  return std::string();
}

}  // namespace tbt
