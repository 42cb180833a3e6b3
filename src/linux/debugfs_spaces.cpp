#include "linux/debugfs_spaces.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "linux/sysfs_tree.h"
#include "platform/text.h"

namespace tbt::linux_host {
namespace {

// A register file lists at most 8192 lines of under 64 bytes.
constexpr size_t kMaxFileBytes = 1 << 20;
// The kernel takes at most this many bytes per write() call.
constexpr size_t kMaxWriteBytes = 4096;
constexpr uint32_t kMaxAdapter = 63;
constexpr size_t kMaxAdapterFolders = 256;

}  // namespace

Status statusOfErrno(int error) {
  switch (error) {
    case 0: return status::kSuccess;
    case EACCES:
    case EPERM: return status::kNotPermitted;
    case ENOENT:
    case ENOTDIR: return status::kNotFound;
    case ENODEV:
    case ENXIO: return status::kNoDevice;
    case ETIMEDOUT: return status::kTimeout;
    case EBUSY:
    case EAGAIN: return status::kBusy;
    case EINVAL: return status::kBadArgument;
    case ENOMEM: return status::kNoMemory;
    case EFBIG: return status::kOverrun;
    case EOPNOTSUPP: return status::kUnsupported;
    case EIO: return status::kDeviceError;
    case EISDIR:
    case kNotRegularFile: return status::kNotReadable;
    default: return status::kIOError;
  }
}

DebugfsSpaces::DebugfsSpaces(LinuxFiles& files, std::string debugfsDirectory)
    : files_(files), root_(std::move(debugfsDirectory)) {}

std::string DebugfsSpaces::fileOf(uint32_t domain, uint64_t route, uint32_t port, uint32_t space) const {
  const std::string router = root_ + "/" + routerName(domain, route);
  if (space == kDeviceSpace) return port == 0 ? router + "/regs" : std::string();
  // Adapter 0 is the router's control adapter: the kernel gives it no folder.
  if (port == 0 || port > kMaxAdapter) return std::string();
  const std::string adapter = textf("%s/port%u/", router.c_str(), port);
  switch (space) {
    case kPortSpace: return adapter + "regs";
    case kPathSpace: return adapter + "path";
    case kCounterSpace: return adapter + "counters";
    default: return std::string();
  }
}

Status DebugfsSpaces::statusOfErrno(int error, uint32_t domain, uint64_t route, uint32_t port) {
  if (error == EACCES || error == EPERM) denied_ = true;
  if (error != ENOENT) return linux_host::statusOfErrno(error);
  // A missing router or adapter folder is not found; a missing file in an
  // existing adapter folder (an adapter without counters) is a space the
  // adapter does not offer.
  const std::string router = root_ + "/" + routerName(domain, route);
  const std::string folder = port == 0 ? router : textf("%s/port%u", router.c_str(), port);
  return files_.isDirectory(folder) ? status::kUnsupported : status::kNotFound;
}

const DebugfsSpaces::Snapshot& DebugfsSpaces::snapshot(const std::string& path, uint32_t domain, uint64_t route,
                                                       uint32_t port) {
  auto it = snapshots_.find(path);
  if (it != snapshots_.end()) return it->second;
  ++reads_;
  ++readsOf_[path];
  std::string text;
  Snapshot taken;
  int error = files_.read(path, kMaxFileBytes, text);
  if (error == 0) taken.words = parseSpaceText(text);
  else taken.status = statusOfErrno(error, domain, route, port);
  return snapshots_.emplace(path, std::move(taken)).first->second;
}

Status DebugfsSpaces::read(uint32_t domain, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                           uint32_t& value) {
  const std::string path = fileOf(domain, route, port, space);
  if (path.empty()) return status::kUnsupported;
  const Snapshot& s = snapshot(path, domain, route, port);
  if (s.status != status::kSuccess) return s.status;
  auto word = s.words.find(index);
  if (word == s.words.end()) return status::kUnsupported;
  if (word->second.status == status::kSuccess) value = word->second.value;
  return word->second.status;
}

std::vector<uint32_t> DebugfsSpaces::listed(uint32_t domain, uint64_t route, uint32_t port, uint32_t space) {
  std::vector<uint32_t> out;
  const std::string path = fileOf(domain, route, port, space);
  if (path.empty()) return out;
  for (const auto& [index, word] : snapshot(path, domain, route, port).words) out.push_back(index);
  return out;
}

void DebugfsSpaces::dropRouter(uint32_t domain, uint64_t route) {
  const std::string prefix = root_ + "/" + routerName(domain, route) + "/";
  for (auto it = snapshots_.lower_bound(prefix); it != snapshots_.end() && it->first.rfind(prefix, 0) == 0;)
    it = snapshots_.erase(it);
}

Status DebugfsSpaces::write(uint32_t domain, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                            uint32_t count, const uint32_t* values) {
  if (writesRefused_) return status::kNotPermitted;
  const std::string path = fileOf(domain, route, port, space);
  if (path.empty()) return status::kUnsupported;
  int error = 0;
  const mode_t mode = files_.mode(path, &error);
  if (error != 0) return statusOfErrno(error, domain, route, port);
  // Without the kernel's debugfs write option the file is read-only (0400).
  if (!(mode & S_IWUSR)) {
    readOnly_ = path;
    return status::kUnsupported;
  }
  const std::vector<std::string> chunks = splitOnLines(writeLines(index, values, count), kMaxWriteBytes);
  error = files_.write(path, chunks);
  // Lines before a failing one may have reached the hardware: every snapshot
  // of the router is stale either way.
  dropRouter(domain, route);
  if (error == kNotRegularFile) return status::kNotWritable;
  if (error != 0) return statusOfErrno(error, domain, route, port);
  // The kernel ends a write silently at a line it cannot parse or an offset
  // it does not take: only the read-back tells whether the write happened.
  const Snapshot& after = snapshot(path, domain, route, port);
  if (after.status != status::kSuccess) return after.status;
  for (uint32_t i = 0; i < count; ++i) {
    auto word = after.words.find(index + i);
    if (word == after.words.end()) return status::kNotWritable;
    if (word->second.status != status::kSuccess) return word->second.status;
    const uint32_t checked = ~hardwareOwnedBits(space, word->second);
    if ((word->second.value & checked) != (values[i] & checked)) return status::kNotWritable;
  }
  return status::kSuccess;
}

std::vector<uint32_t> DebugfsSpaces::adapters(uint32_t domain, uint64_t route) {
  std::vector<std::string> names;
  std::vector<uint32_t> out;
  int error = files_.list(root_ + "/" + routerName(domain, route), kMaxAdapterFolders, names);
  if (error == EACCES || error == EPERM) denied_ = true;
  for (const std::string& name : names) {
    if (name.size() < 5 || name.size() > 6 || name.rfind("port", 0) != 0) continue;
    std::optional<uint64_t> n = parseNumberAttribute(name.substr(4));
    if (n && *n >= 1 && *n <= kMaxAdapter && name[4] != '0') out.push_back(static_cast<uint32_t>(*n));
  }
  std::sort(out.begin(), out.end());
  return out;
}

uint32_t hardwareOwnedBits(uint32_t space, const ListedWord& word) {
  struct Rule {
    uint32_t space;
    uint8_t capability, vsec;  // 0: any
    int relative;              // -1: any
    uint32_t bits;
  };
  static constexpr uint8_t kVendorSpecific = 0x05, kDft = 0x01, kLinkController = 0x06;
  static constexpr Rule kRules[] = {
      {kDeviceSpace, kVendorSpecific, kDft, 4, 0x08},                  // the pin register's data out
      {kDeviceSpace, kVendorSpecific, kLinkController, -1, 0xffffffff},  // mailboxes
      {kCounterSpace, 0, 0, -1, 0xffffffff},                            // counters
  };
  for (const Rule& r : kRules)
    if (r.space == space && (!r.capability || r.capability == word.capability) && (!r.vsec || r.vsec == word.vsec) &&
        (r.relative < 0 || r.relative == word.relative))
      return r.bits;
  return 0;
}

uint64_t DebugfsSpaces::fileReadsOf(const std::string& path) const {
  auto it = readsOf_.find(path);
  return it == readsOf_.end() ? 0 : it->second;
}

}  // namespace tbt::linux_host
