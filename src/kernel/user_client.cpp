#include "kernel/user_client.h"

#include <algorithm>
#include <new>
#include <vector>

#include "platform/platform.h"
#include "platform/registry_helpers.h"

namespace tbt {
namespace {

// The driver serves the link controller's upper buses (above 10) in mode 1
// and the lower ones in mode 2.
constexpr uint32_t kIecsHighestLowBus = 10;
constexpr uint32_t kIecsModeHighBus = 1;
constexpr uint32_t kIecsModeLowBus = 2;

// Buffers handed to the driver live on the heap, never on the stack; an
// allocation the process cannot satisfy is a lack of resources.
Status allocate(size_t size, std::vector<uint8_t>& buffer) {
  try {
    buffer.assign(size, 0);
  } catch (const std::bad_alloc&) {
    return status::kNoResources;
  }
  return status::kSuccess;
}

bool& powerSavingsSwitch() {
  static bool on = false;
  return on;
}

}  // namespace

ThunderboltKernelUserClient::~ThunderboltKernelUserClient() { destroyUserClient(); }

bool ThunderboltKernelUserClient::powerSavings() { return powerSavingsSwitch(); }
void ThunderboltKernelUserClient::setPowerSavings(bool on) { powerSavingsSwitch() = on; }

Status ThunderboltKernelUserClient::createUserClientForService(const RegistryEntry& service) {
  service_ = service;
  RegistryEntry port = firstChildOfClass(service, kPortClass);
  if (!port) return status::kNotFound;
  std::vector<RegistryEntry> portChildren = port.children();
  if (portChildren.empty() || !portChildren.front().conformsTo(kSwitchClass)) return status::kNotFound;
  uint64_t uid = 0;
  if (!readRegistryNumber64(portChildren.front(), kUIDKey, uid)) return status::kGeneralFailure;

  // The plug-in and its interface are taken over only once both exist, so a
  // failed reopening never leaves a half-open connection behind.
  std::unique_ptr<ControllerPlugIn> plugIn;
  Status s = platform().controllerDriver().createPlugIn(service, plugIn);
  if (s != status::kSuccess) return s;
  if (!plugIn) return status::kGeneralFailure;
  uint32_t version = kDeviceInterfaceV2;
  std::unique_ptr<DeviceInterface> obtained = plugIn->queryInterface(kDeviceInterfaceV2);
  if (!obtained) {
    version = kDeviceInterfaceV1;
    obtained = plugIn->queryInterface(kDeviceInterfaceV1);
  }
  if (!obtained) return status::kGeneralFailure;

  deviceInterface_ = std::move(obtained);
  cfPlugInInterface_ = std::move(plugIn);
  routerID_ = routerIDOfUID(uid);
  version_ = version;
  userClientActive_ = true;
  if (powerSavings()) startPowerSavingsTimer();
  return status::kSuccess;
}

void ThunderboltKernelUserClient::destroyUserClient() {
  stopPowerSavingsTimer();
  userClientActive_ = false;
  deviceInterface_.reset();    // the interface's release entry
  cfPlugInInterface_.reset();  // destroys the plug-in
}

Status ThunderboltKernelUserClient::makeActive() {
  if (powerSavingsTimer_) powerSavingsTimer_ = host().nowMicroseconds() + kIdleIntervalMicroseconds;
  if (!userClientActive_) createUserClientForService(service_);
  return userClientActive_ ? status::kSuccess : status::kGeneralFailure;
}

Status ThunderboltKernelUserClient::configReadWithRoute(uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                                                        uint32_t& outData) {
  Status s = makeActive();
  std::vector<uint8_t> buffer;
  if (s == status::kSuccess) s = allocate(sizeof(uint32_t), buffer);
  if (s == status::kSuccess) s = deviceInterface_->configRead(route, port, space, index, 1, buffer.data());
  if (s == status::kSuccess) outData = loadBigEndian(buffer.data());
  return s;
}

Status ThunderboltKernelUserClient::configWriteWithRoute(uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                                                         uint32_t data) {
  Status s = makeActive();
  std::vector<uint8_t> buffer;
  if (s == status::kSuccess) s = allocate(sizeof(uint32_t), buffer);
  if (s != status::kSuccess) return s;
  storeBigEndian(data, buffer.data());
  return deviceInterface_->configWrite(route, port, space, index, 1, buffer.data());
}

Status ThunderboltKernelUserClient::i2cWrite(uint64_t route, uint8_t address, uint8_t offset, uint32_t length,
                                             const uint8_t* data) {
  // The register offset goes out as a one-byte address ahead of the data.
  Status s = makeActive();
  std::vector<uint8_t> buffer;
  if (s == status::kSuccess) s = allocate(size_t{length} + 1, buffer);
  if (s != status::kSuccess) return s;
  buffer[0] = offset;
  std::copy_n(data, length, buffer.begin() + 1);
  return deviceInterface_->i2cTransaction(route, address, static_cast<uint32_t>(buffer.size()), buffer.data(), 0,
                                          nullptr);
}

Status ThunderboltKernelUserClient::i2cRead(uint64_t route, uint8_t address, uint8_t offset, uint32_t length,
                                            uint8_t* data) {
  Status s = makeActive();
  std::vector<uint8_t> request;
  std::vector<uint8_t> reply;
  if (s == status::kSuccess) s = allocate(1, request);
  if (s == status::kSuccess) s = allocate(length, reply);
  if (s != status::kSuccess) return s;
  request[0] = offset;
  s = deviceInterface_->i2cTransaction(route, address, 1, request.data(), length, reply.data());
  if (s == status::kSuccess) std::copy_n(reply.begin(), length, data);
  return s;
}

Status ThunderboltKernelUserClient::iecsWrite(uint64_t route, uint32_t bus, uint32_t device, uint8_t offset,
                                              uint32_t length, const uint8_t* data) {
  return iecsTransaction(route, bus, device, offset, length, kIecsDirectionWrite, data, nullptr);
}

Status ThunderboltKernelUserClient::iecsRead(uint64_t route, uint32_t bus, uint32_t device, uint8_t offset,
                                             uint32_t length, uint8_t* data) {
  return iecsTransaction(route, bus, device, offset, length, kIecsDirectionRead, nullptr, data);
}

Status ThunderboltKernelUserClient::iecsTransaction(uint64_t route, uint32_t bus, uint32_t device, uint8_t offset,
                                                    uint32_t length, uint32_t direction, const uint8_t* in,
                                                    uint8_t* out) {
  Status s = makeActive();
  // The version 1 interface has no IECS entry.
  if (s == status::kSuccess && version_ < kDeviceInterfaceV2) s = status::kUnsupported;
  std::vector<uint8_t> buffer;
  if (s == status::kSuccess) s = allocate(length, buffer);
  if (s != status::kSuccess) return s;
  if (direction == kIecsDirectionWrite) std::copy_n(in, length, buffer.begin());
  const uint32_t mode = bus > kIecsHighestLowBus ? kIecsModeHighBus : kIecsModeLowBus;
  s = deviceInterface_->iecsTransaction(route, bus, device, offset, length, buffer.data(), direction, mode);
  if (s == status::kSuccess && direction == kIecsDirectionRead) std::copy_n(buffer.begin(), length, out);
  return s;
}

Status ThunderboltKernelUserClient::rescanBus() {
  Status s = makeActive();
  if (s != status::kSuccess) return s;
  return deviceInterface_->rescanBus();
}

void ThunderboltKernelUserClient::startPowerSavingsTimer() {
  stopPowerSavingsTimer();
  powerSavingsTimer_ = host().nowMicroseconds() + kIdleIntervalMicroseconds;
}

void ThunderboltKernelUserClient::stopPowerSavingsTimer() { powerSavingsTimer_.reset(); }

void ThunderboltKernelUserClient::powerSavingsTimerIntervalExpired() { destroyUserClient(); }

}  // namespace tbt
