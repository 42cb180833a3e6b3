#pragma once
// Reading a whole input file without trusting what the path names: a FIFO,
// a device or a directory is refused before anything is read (opening does
// not wait for a writer), and a file larger than the caller's limit is
// refused rather than read into memory.
#include <cstddef>
#include <string>

namespace tbt {

/// Reads the regular file at path into out (replaced only on success).
/// maxSize: the most bytes the caller accepts.
/// Returns "" or the reason it cannot, without the path: the system's own
/// text ("No such file or directory", "Is a directory"), "not a regular
/// file" or "larger than N bytes".
std::string readRegularFile(const std::string& path, size_t maxSize, std::string& out);

}  // namespace tbt
