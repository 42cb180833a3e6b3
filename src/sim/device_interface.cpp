// The simulated controller driver's device interfaces: the argument layouts of
// the real ones (big-endian configuration buffers, I2C write-then-read, IECS
// with its mode by bus), carried out on the machine.
#include "sim/sim_parts.h"
#include "sim/sim_registry.h"

namespace tbt::sim {

namespace {

class SimDeviceInterface : public DeviceInterface {
 public:
  SimDeviceInterface(SimHost& host, size_t controller, uint32_t version)
      : host_(host), controller_(controller), version_(version) {}

  Status configRead(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t count,
                    uint8_t* buffer) override {
    if (!buffer && count) return status::kBadArgument;
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t v = 0;
      Status st = host_.configRead(controller_, route, port, space, index + i, v);
      if (st != status::kSuccess) return st;
      storeBigEndian(v, buffer + 4 * i);
    }
    return status::kSuccess;
  }

  Status configWrite(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t count,
                     const uint8_t* buffer) override {
    if (!buffer && count) return status::kBadArgument;
    for (uint32_t i = 0; i < count; ++i) {
      Status st = host_.configWrite(controller_, route, port, space, index + i, loadBigEndian(buffer + 4 * i));
      if (st != status::kSuccess) return st;
    }
    return status::kSuccess;
  }

  // What the router stores, fails or models, and what a read fault names;
  // every other index reads alike (0, or the router's unlisted status).
  std::vector<IndexRange> listedIndexes(uint64_t route, uint32_t port, uint32_t space) override {
    const Router* r = host_.router(controller_, route);
    if (!r || port > kMaxAdapter || space >= kSpaceCount) return {};  // every read fails alike
    std::vector<IndexRange> out = r->listedIndexes(port, space);
    for (const Fault& f : host_.faults()) {
      if (f.op != kFaultConfigRead || (f.controller && *f.controller != controller_) || (f.route && *f.route != route) ||
          (f.port && *f.port != port) || (f.space && *f.space != space))
        continue;
      if (!f.index) return {{0, kConfigIndexCount - 1}};
      if (*f.index < kConfigIndexCount) out.push_back({*f.index, *f.index});
    }
    joinRanges(out);
    return out;
  }

  Status rescanBus() override { return status::kSuccess; }

  Status i2cTransaction(uint64_t route, uint8_t address, uint32_t writeLength, const uint8_t* writeBuffer,
                        uint32_t readLength, uint8_t* readBuffer) override {
    if ((writeLength && !writeBuffer) || (readLength && !readBuffer)) return status::kBadArgument;
    return host_.i2cTransaction(controller_, route, address, writeBuffer, writeLength, readBuffer, readLength);
  }

  Status iecsTransaction(uint64_t route, uint32_t bus, uint32_t device, uint8_t offset, uint32_t length,
                         uint8_t* buffer, uint32_t direction, uint32_t mode) override {
    // The first interface version has no IECS entry behind it.
    if (version_ < kDeviceInterfaceV2) return status::kUnsupported;
    // The driver reaches buses above 10 in mode 1 and the others in mode 2;
    // a request in the other mode is refused.
    uint32_t expectedMode = bus > 10 ? 1 : 2;
    if (mode != expectedMode || (direction != kIecsDirectionRead && direction != kIecsDirectionWrite) ||
        (length && !buffer))
      return status::kBadArgument;
    if (direction == kIecsDirectionWrite) return host_.iecsWrite(controller_, route, bus, device, offset, buffer, length);
    return host_.iecsRead(controller_, route, bus, device, offset, buffer, length);
  }

 private:
  SimHost& host_;
  size_t controller_;
  uint32_t version_;
};

class SimPlugIn : public ControllerPlugIn {
 public:
  SimPlugIn(SimHost& host, size_t controller) : host_(host), controller_(controller) {}

  std::unique_ptr<DeviceInterface> queryInterface(uint32_t version) override {
    uint32_t offered = host_.controllers()[controller_].interfaceVersion;
    // A controller offers its own interface version and the older one.
    if (version < kDeviceInterfaceV1 || version > offered) return nullptr;
    return std::make_unique<SimDeviceInterface>(host_, controller_, version);
  }

 private:
  SimHost& host_;
  size_t controller_;
};

}  // namespace

Status SimControllerDriver::createPlugIn(const RegistryEntry& controller, std::unique_ptr<ControllerPlugIn>& out) {
  const auto* node = controller ? dynamic_cast<const SimNode*>(&*controller) : nullptr;
  if (!node || !node->controllerIndex || *node->controllerIndex >= host_.controllers().size())
    return status::kUnsupported;
  out = std::make_unique<SimPlugIn>(host_, *node->controllerIndex);
  return status::kSuccess;
}

}  // namespace tbt::sim
