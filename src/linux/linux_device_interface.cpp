// The Linux controller driver's device interfaces: configuration accesses
// through the debugfs register files (big-endian buffers as everywhere);
// what a stock kernel does not offer user space answers unsupported.
#include <errno.h>

#include <cstdio>
#include <vector>

#include "linux/linux_parts.h"
#include "linux/linux_registry.h"

namespace tbt::linux_host {

namespace {

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

  // What the register file lists; every other index fails alike.
  std::vector<IndexRange> listedIndexes(uint64_t route, uint32_t port, uint32_t space) override {
    std::vector<IndexRange> out;
    for (uint32_t index : driver_.spaces().listed(domain_, route, port, space)) {
      if (!out.empty() && out.back().last + 1 == index) out.back().last = index;
      else out.push_back({index, index});
    }
    return out;
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
  if (!node || !node->controllerIndex) return status::kUnsupported;
  out = std::make_unique<LinuxPlugIn>(*this, static_cast<uint32_t>(*node->controllerIndex));
  return status::kSuccess;
}

void LinuxControllerDriver::hintAbout(Status s) {
  if (hinted_) return;
  const std::string mount = debugfs_.substr(0, debugfs_.rfind('/'));
  if (s == status::kNotPermitted && spaces_.writesRefused()) {
    std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, copyRefusal(copyRoot_).c_str());
    hinted_ = true;
  } else if (s == status::kNotPermitted || spaces_.permissionDenied()) {
    std::fprintf(stderr, "%s: hint: the router registers need root, with debugfs mounted at %s\n",
                 program_invocation_short_name, mount.c_str());
    hinted_ = true;
  } else if (s == status::kUnsupported && !spaces_.readOnlyRefused().empty()) {
    std::fprintf(stderr, "%s: hint: %s is read-only: register writes need a kernel built with "
                 "CONFIG_USB4_DEBUGFS_WRITE\n", program_invocation_short_name, spaces_.readOnlyRefused().c_str());
    hinted_ = true;
  } else if (s == status::kNotFound && !spaces_.present()) {
    std::fprintf(stderr, "%s: hint: %s does not exist: mount debugfs there (mount -t debugfs none %s) as root\n",
                 program_invocation_short_name, debugfs_.c_str(), mount.c_str());
    hinted_ = true;
  }
}

}  // namespace tbt::linux_host
