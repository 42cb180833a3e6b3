#pragma once
// The Linux backend's counterpart of ScopedHost: copies a fake sysfs/debugfs
// tree from fixtures/linux/ to a fresh folder (so that writes never touch the
// fixture), opens it through a file layer that counts reads, records writes
// and fails chosen files, installs it as the process-wide platform and puts
// the previous platform back when it goes.
//
//   tbt::test::ScopedLinuxHost host("chain", {{"0-1/port10/path", EACCES}});
//   host.files().readsOf(host.debugfs("0-1/regs"));
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "linux/linux_platform.h"
#include "platform/platform.h"
#include "platform/text.h"
#include "support/temp_dir.h"

namespace tbt::test {

/// Files that count every read, record every write and fail chosen paths
/// (the host's own paths, "/sys/kernel/debug/...").
class CountingFiles : public linux_host::LinuxFiles {
 public:
  explicit CountingFiles(const std::string& root) : LinuxFiles(root) {}
  struct Write {
    std::string path;
    std::vector<std::string> chunks;
  };
  int read(const std::string& path, size_t maxBytes, std::string& text) override {
    ++reads_[path];
    auto failure = failures.find(path);
    return failure != failures.end() ? failure->second : LinuxFiles::read(path, maxBytes, text);
  }
  /// Records the chunks and applies their lines as the kernel would: each
  /// "offset value" line replaces the value of the row the file lists for it.
  int write(const std::string& path, const std::vector<std::string>& chunks) override {
    writes.push_back({path, chunks});
    auto failure = failures.find(path);
    if (failure != failures.end()) return failure->second;
    std::string real;
    const int error = LinuxFiles::read(path, 1 << 20, real);
    if (error != 0) return error;
    std::stringstream text(real);
    std::vector<std::string> rows;
    for (std::string row; std::getline(text, row);) rows.push_back(row);
    for (const std::string& chunk : chunks) {
      std::istringstream lines(chunk);
      for (std::string line; std::getline(lines, line);) {
        unsigned offset = 0, value = 0;
        if (std::sscanf(line.c_str(), "%x %x", &offset, &value) != 2) return 0;  // the kernel stops there
        if (ignored.count(path)) continue;
        value ^= flips.count(path) ? flips.at(path) : 0;
        for (std::string& row : rows)
          if (!row.empty() && row[0] == '0' && row.find('<') == std::string::npos &&
              std::stoul(row, nullptr, 16) == offset)
            row = row.substr(0, row.rfind(' ') + 1) + textf("0x%08x", value);
      }
    }
    std::ofstream out(root() + path, std::ios::trunc);
    for (const std::string& row : rows) out << row << "\n";
    return 0;
  }
  uint64_t readsOf(const std::string& path) const {
    auto it = reads_.find(path);
    return it == reads_.end() ? 0 : it->second;
  }
  const std::map<std::string, uint64_t>& reads() const { return reads_; }
  void resetReads() { reads_.clear(); }

  std::map<std::string, int> failures;  // path -> errno
  std::set<std::string> ignored;        // writes the device takes without effect
  std::map<std::string, uint32_t> flips;  // bits the device changes as it takes a write
  std::vector<Write> writes;

 private:
  std::map<std::string, uint64_t> reads_;
};

class ScopedLinuxHost {
 public:
  /// Copies fixtures/linux/<fixture>; prepare (when given) edits the copy,
  /// failures (debugfs-relative path -> errno) fail those files' reads and
  /// writes. kind: kThisMachine to take writes as this machine's host does
  /// (its shell then runs commands here: tests that take writes run none).
  explicit ScopedLinuxHost(const std::string& fixture = "chain", const std::map<std::string, int>& failures = {},
                           const std::function<void(const std::string& root)>& prepare = nullptr,
                           linux_host::TreeKind kind = linux_host::TreeKind::kCopy) {
    std::filesystem::copy(std::string(TBT_FIXTURES_DIR) + "/linux/" + fixture, root_,
                          std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks);
    if (prepare) prepare(root_);
    auto files = std::make_unique<CountingFiles>(root_);
    files_ = files.get();
    for (const auto& [path, error] : failures) files_->failures[debugfs(path)] = error;
    std::string error;
    auto opened = linux_host::openLinuxHost(std::move(files), kind, &error);
    if (!opened) ADD_FAILURE() << error;
    platform_ = opened.get();
    previous_ = installPlatform(std::move(opened));
  }
  ~ScopedLinuxHost() { installPlatform(std::move(previous_)); }
  ScopedLinuxHost(const ScopedLinuxHost&) = delete;
  ScopedLinuxHost& operator=(const ScopedLinuxHost&) = delete;

  const std::string& root() const { return root_; }
  /// The host's path of a file in its debugfs folder: debugfs("0-1/port10/regs").
  std::string debugfs(const std::string& relative) const {
    return std::string(linux_host::kDebugfsDirectory) + "/" + relative;
  }
  /// Where that file lies in the copy.
  std::string file(const std::string& hostPath) const { return root_ + hostPath; }
  CountingFiles& files() { return *files_; }
  linux_host::LinuxPlatform& platform() { return *platform_; }

 private:
  const TempDir temp_;
  const std::string root_ = temp_.path();
  CountingFiles* files_ = nullptr;
  linux_host::LinuxPlatform* platform_ = nullptr;
  std::unique_ptr<Platform> previous_;
};

}  // namespace tbt::test
