#include "cli/standard_output.h"

#include <cerrno>
#include <cstring>

#include "platform/text.h"

namespace tbt::cli {

bool StandardOutputBuffer::failed(int error) {
  if (error_ == 0) error_ = error != 0 ? error : EIO;
  return true;
}

std::streamsize StandardOutputBuffer::xsputn(const char* text, std::streamsize count) {
  if (error_ != 0) return 0;
  const size_t written = std::fwrite(text, 1, static_cast<size_t>(count), stdout);
  if (written != static_cast<size_t>(count)) failed(errno);
  return static_cast<std::streamsize>(written);
}

StandardOutputBuffer::int_type StandardOutputBuffer::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  const char one = traits_type::to_char_type(c);
  return xsputn(&one, 1) == 1 ? c : traits_type::eof();
}

int StandardOutputBuffer::sync() {
  if (error_ != 0) return -1;
  return std::fflush(stdout) == 0 || !failed(errno) ? 0 : -1;
}

int finishStandardOutput(const char* program, int status, int firstError, bool close) {
  int error = firstError;
  errno = 0;
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) error = error != 0 ? error : (errno != 0 ? errno : EIO);
  if (close && std::fclose(stdout) != 0 && error == 0) error = errno != 0 ? errno : EIO;
  if (error == 0) return status;
  if (error != EPIPE) std::fputs(textf("%s: write error: %s\n", program, std::strerror(error)).c_str(), stderr);
  return 1;
}

}  // namespace tbt::cli
