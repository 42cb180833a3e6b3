#include "linux/linux_platform.h"

#include <errno.h>
#include <time.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "linux/linux_registry.h"
#include "platform/plist.h"
#include "platform/system_log.h"
#include "platform/text.h"

namespace tbt::linux_host {

class LinuxControllerDriver : public ControllerDriver {
 public:
  LinuxControllerDriver(DebugfsSpaces& spaces, std::string debugfs) : spaces_(spaces), debugfs_(std::move(debugfs)) {}
  Status createPlugIn(const RegistryEntry& controller, std::unique_ptr<ControllerPlugIn>& out) override;
  DebugfsSpaces& spaces() { return spaces_; }
  /// Tells once per host, on the error stream, what a refused or missing
  /// debugfs needs.
  void hintAbout(Status s);

 private:
  DebugfsSpaces& spaces_;
  std::string debugfs_;
  bool hinted_ = false;
};

class LinuxHostServices : public HostServices {
 public:
  explicit LinuxHostServices(std::optional<std::string> bootDisk) : bootDisk_(std::move(bootDisk)) {}
  int shell(const std::string& command) override { return std::system(command.c_str()); }
  void sleepMicroseconds(uint64_t microseconds) override {
    timespec wanted{static_cast<time_t>(microseconds / 1000000), static_cast<long>(microseconds % 1000000) * 1000};
    while (nanosleep(&wanted, &wanted) != 0 && errno == EINTR) {
    }
  }
  uint64_t nowMicroseconds() override {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                     std::chrono::steady_clock::now().time_since_epoch())
                                     .count());
  }
  void log(std::string_view text) override { writeSystemLog(program_invocation_short_name, text); }
  void print(std::string_view text) override {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
  }
  std::optional<PropertyDict> readPropertyList(const std::string& path) override {
    return readPropertyListFile(path);
  }
  std::optional<std::string> bootDiskName() override { return bootDisk_; }

 private:
  std::optional<std::string> bootDisk_;
};

namespace {

void storeBigEndian(uint32_t v, uint8_t* p) {
  p[0] = static_cast<uint8_t>(v >> 24);
  p[1] = static_cast<uint8_t>(v >> 16);
  p[2] = static_cast<uint8_t>(v >> 8);
  p[3] = static_cast<uint8_t>(v);
}

uint32_t loadBigEndian(const uint8_t* p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

// A configuration write moves at most this many double words (a whole space).
constexpr uint32_t kMaxWriteCount = 0x2000;

class LinuxDeviceInterface : public DeviceInterface {
 public:
  LinuxDeviceInterface(LinuxControllerDriver& driver, uint32_t domain) : driver_(driver), domain_(domain) {}

  Status configRead(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t count,
                    uint8_t* buffer) override {
    if (!buffer && count) return status::kBadArgument;
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t v = 0;
      Status s = driver_.spaces().read(domain_, route, port, space, index + i, v);
      if (s != status::kSuccess) return driver_.hintAbout(s), s;
      storeBigEndian(v, buffer + 4 * i);
    }
    return status::kSuccess;
  }

  Status configWrite(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t count,
                     const uint8_t* buffer) override {
    if ((!buffer && count) || count > kMaxWriteCount) return status::kBadArgument;
    std::vector<uint32_t> values(count);
    for (uint32_t i = 0; i < count; ++i) values[i] = loadBigEndian(buffer + 4 * i);
    Status s = driver_.spaces().write(domain_, route, port, space, index, count, values.data());
    driver_.hintAbout(s);
    return s;
  }

  // A stock kernel offers user space no bus rescan, no I2C and no IECS transactions.
  Status rescanBus() override { return status::kUnsupported; }
  Status i2cTransaction(uint64_t, uint8_t, uint32_t, const uint8_t*, uint32_t, uint8_t*) override {
    return status::kUnsupported;
  }
  Status iecsTransaction(uint64_t, uint32_t, uint32_t, uint8_t, uint32_t, uint8_t*, uint32_t, uint32_t) override {
    return status::kUnsupported;
  }

 private:
  LinuxControllerDriver& driver_;
  uint32_t domain_;
};

class LinuxPlugIn : public ControllerPlugIn {
 public:
  LinuxPlugIn(LinuxControllerDriver& driver, uint32_t domain) : driver_(driver), domain_(domain) {}
  std::unique_ptr<DeviceInterface> queryInterface(uint32_t version) override {
    if (version < kDeviceInterfaceV1 || version > kDeviceInterfaceV2) return nullptr;
    return std::make_unique<LinuxDeviceInterface>(driver_, domain_);
  }

 private:
  LinuxControllerDriver& driver_;
  uint32_t domain_;
};

}  // namespace

Status LinuxControllerDriver::createPlugIn(const RegistryEntry& controller, std::unique_ptr<ControllerPlugIn>& out) {
  const auto* node = controller ? dynamic_cast<const LinuxNode*>(&*controller) : nullptr;
  if (!node || !node->domain) return status::kUnsupported;
  out = std::make_unique<LinuxPlugIn>(*this, *node->domain);
  return status::kSuccess;
}

void LinuxControllerDriver::hintAbout(Status s) {
  if (hinted_) return;
  const std::string mount = debugfs_.substr(0, debugfs_.rfind('/'));
  if (s == status::kNotPermitted || spaces_.permissionDenied()) {
    std::fprintf(stderr, "%s: hint: the router registers need root, with debugfs mounted at %s\n",
                 program_invocation_short_name, mount.c_str());
    hinted_ = true;
  } else if (s == status::kUnsupported && !spaces_.readOnlyRefused().empty()) {
    std::fprintf(stderr, "%s: hint: %s is read-only: register writes need a kernel built with "
                 "CONFIG_USB4_DEBUGFS_WRITE\n", program_invocation_short_name, spaces_.readOnlyRefused().c_str());
    hinted_ = true;
  } else if (s == status::kNotFound && !LinuxFiles().isDirectory(debugfs_)) {
    std::fprintf(stderr, "%s: hint: %s does not exist: mount debugfs there (mount -t debugfs none %s) as root\n",
                 program_invocation_short_name, debugfs_.c_str(), mount.c_str());
    hinted_ = true;
  }
}

std::string devicesDirectory(const std::string& root) { return root + "/sys/bus/thunderbolt/devices"; }
std::string debugfsDirectory(const std::string& root) { return root + "/sys/kernel/debug/thunderbolt"; }

bool hasThunderboltBus(const std::string& root) { return LinuxFiles().isDirectory(root + "/sys/bus/thunderbolt"); }

LinuxPlatform::LinuxPlatform(std::string root, std::unique_ptr<LinuxFiles> files)
    : root_(std::move(root)),
      files_(files ? std::move(files) : std::make_unique<LinuxFiles>()),
      spaces_(std::make_unique<DebugfsSpaces>(*files_, debugfsDirectory(root_))) {
  const HostFacts facts = readHostFacts(*files_, root_);
  registry_ = std::make_unique<LinuxRegistry>(scanSysfs(*files_, devicesDirectory(root_)), *spaces_, *files_,
                                              debugfsDirectory(root_), facts);
  driver_ = std::make_unique<LinuxControllerDriver>(*spaces_, debugfsDirectory(root_));
  services_ = std::make_unique<LinuxHostServices>(facts.bootDisk);
}

LinuxPlatform::~LinuxPlatform() = default;

Registry& LinuxPlatform::registry() { return *registry_; }
ControllerDriver& LinuxPlatform::controllerDriver() { return *driver_; }
HostServices& LinuxPlatform::host() { return *services_; }

std::unique_ptr<LinuxPlatform> openLinuxHost(const std::string& root, std::string* error,
                                             std::unique_ptr<LinuxFiles> files) {
  if (!hasThunderboltBus(root)) {
    if (error) *error = textf("%s/sys/bus/thunderbolt does not exist: no Thunderbolt host here", root.c_str());
    return nullptr;
  }
  return std::make_unique<LinuxPlatform>(root, std::move(files));
}

}  // namespace tbt::linux_host
