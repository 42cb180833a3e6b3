#include "toolkit/remote_router_handle.h"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/platform.h"
#include "platform/text.h"
#include "toolkit/iecs_bridge.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

// Identity double words of parents that are port micro-controllers rather
// than routers with a link controller: they have no IECS mailbox. The whole
// double word is compared, vendor half included, because these parts report
// a bare device ID (or nothing) there.
constexpr std::array<uint32_t, 4> kPortMicroIdentities = {0, 0x1513, 0x151A, 0x1549};

struct DeviceCode {
  uint32_t device;
  uint32_t code;
};
constexpr std::array<DeviceCode, 3> kDeviceCodes = {{{1, 1}, {2, 11}, {3, 5}}};

// The mailbox code of IECS device 1, 2 or 3; 0 for any other device.
uint32_t mailboxDeviceCode(uint32_t device) {
  for (const DeviceCode& entry : kDeviceCodes)
    if (entry.device == device) return entry.code;
  return 0;
}

using Buffer = std::array<uint8_t, kMailboxDataBytes>;

// IECS device 3 (the configuration bridge) reached through a handle's mailbox.
class MailboxBridge : public BridgeTransport {
 public:
  explicit MailboxBridge(RemoteRouterHandle& handle) : handle_(handle) {}
  Status read(uint8_t offset, uint32_t length, uint8_t* data) override {
    return handle_.iecsReadWithDevice(kBridgeDevice, offset, length, data);
  }
  Status write(uint8_t offset, uint32_t length, const uint8_t* data) override {
    return handle_.iecsWriteWithDevice(kBridgeDevice, offset, length, data);
  }

 private:
  RemoteRouterHandle& handle_;
};

}  // namespace

std::unique_ptr<RemoteRouterHandle> RemoteRouterHandle::remoteRouterHandle() {
  return std::make_unique<RemoteRouterHandle>();
}

Status RemoteRouterHandle::parentRead(uint32_t index, uint32_t& value) {
  if (!parent_) return status::kBadArgument;
  return parent_->configReadWithPort(0, kDeviceSpace, index, value);
}

Status RemoteRouterHandle::parentWrite(uint32_t index, uint32_t value) {
  if (!parent_) return status::kBadArgument;
  return parent_->configWriteWithPort(0, kDeviceSpace, index, value);
}

Status RemoteRouterHandle::readLinkControllerGeometry() {
  uint8_t header = 0;
  Status s = ThunderboltUserClientUtils::sharedInstance().findCapabilityAtRouterHandle(
      header, kLinkControllerCapabilityKey, kVendorCapabilityMask, *parent_, 0, kDeviceSpace);
  if (s != status::kSuccess) return s;
  lcHeader_ = header;
  uint32_t geometry = 0;
  s = parentRead(lcHeader_ + kLinkControllerMailboxDword, geometry);
  if (s != status::kSuccess) return s;
  lcCount_ = kLinkControllerMailbox.count.of(geometry);
  lcOffset_ = lcHeader_ + kLinkControllerMailbox.offset.of(geometry);
  lcLength_ = kLinkControllerMailbox.length.of(geometry);
  return s;
}

RemoteRouterHandle::~RemoteRouterHandle() {
  std::shared_ptr<RouterHandle> next = std::move(parent_);
  while (next && next.use_count() == 1) {
    auto* remote = dynamic_cast<RemoteRouterHandle*>(next.get());
    if (!remote) break;
    // Taking the parent's own parent first leaves the parent nothing to let go of.
    std::shared_ptr<RouterHandle> above = std::move(remote->parent_);
    next = std::move(above);
  }
}

RemoteRouterHandle* RemoteRouterHandle::remoteParent() const {
  return dynamic_cast<RemoteRouterHandle*>(parent_.get());
}

uint32_t RemoteRouterHandle::levels() const {
  uint32_t levels = 1;
  for (const RemoteRouterHandle* r = remoteParent(); r; r = r->remoteParent()) ++levels;
  return levels;
}

Status RemoteRouterHandle::initializeIECS() {
  if (iecsInitialized_) return status::kSuccess;
  if (levels() > kMaxLevels) return status::kBadArgument;
  // Each handle reads its parent through the parent's own mailbox, so the
  // parents are made ready from the top down, one after the other, rather
  // than each set-up starting its parent's from inside.
  std::vector<RemoteRouterHandle*> above;
  for (RemoteRouterHandle* r = remoteParent(); r && !r->iecsInitialized_; r = r->remoteParent()) above.push_back(r);
  Status s = status::kSuccess;
  for (auto it = above.rbegin(); it != above.rend(); ++it) s = (*it)->setUpMailbox(s);
  return setUpMailbox(s);
}

Status RemoteRouterHandle::setUpMailbox(Status above) {
  iecsInitialized_ = true;
  uint32_t identity = 0;
  Status s = above == status::kSuccess ? parentRead(kIdentityDword, identity) : above;
  if (s == status::kSuccess)
    portMicroMode_ = std::find(kPortMicroIdentities.begin(), kPortMicroIdentities.end(), identity) !=
                     kPortMicroIdentities.end();
  host().log(textf("RemoteRouterHandle - initializeIECS - portMicroMode = %d", portMicroMode_ ? 1 : 0));
  if (portMicroMode_) return s;
  if (s == status::kSuccess) s = readLinkControllerGeometry();
  host().log(textf("RemoteRouterHandle - initializeIECS - lcHeader = 0x%x lcOffset = 0x%x lcCount = 0x%x "
                   "lcLength = 0x%x",
                   lcHeader_, lcOffset_, lcCount_, lcLength_));
  return s;
}

Status RemoteRouterHandle::startTransfer(uint32_t code, uint8_t offset, uint32_t length, bool write,
                                         uint32_t& statusWord) {
  const uint32_t commandIndex = mailboxBase() + kMailboxCommandDword;
  const uint32_t command = kMailboxCommand.start.place(1) | kMailboxCommand.always.place(1) |
                           kMailboxCommand.write.place(write ? 1 : 0) | kMailboxCommand.length.place(length) |
                           kMailboxCommand.offset.place(offset) | kMailboxCommand.device.place(code);
  Status s = parentWrite(commandIndex, command);
  if (s != status::kSuccess) return s;
  // A failed poll read counts as "still busy".
  return pollForCompletion([&] {
    uint32_t word = 0;
    if (parentRead(commandIndex, word) != status::kSuccess || kMailboxCommand.start.of(word) != 0) return false;
    statusWord = word;
    return true;
  });
}

Status RemoteRouterHandle::lcIECSWriteWithDevice(uint32_t device, uint8_t offset, uint32_t length,
                                                 const uint8_t* data) {
  const uint32_t code = mailboxDeviceCode(device);
  if (code == 0 || length > kMailboxDataBytes) return status::kBadArgument;
  Buffer buffer{};
  if (length) std::copy_n(data, length, buffer.begin());
  // The mailbox always takes all sixteen data double words.
  for (uint32_t i = 0; i < kMailboxDataDwords; ++i) {
    Status s = parentWrite(mailboxBase() + kMailboxWriteDataDword + i, loadLittleEndian(&buffer[4 * i]));
    if (s != status::kSuccess) return s;
  }
  // The status bits are not looked at after a write.
  uint32_t statusWord = 0;
  return startTransfer(code, offset, length, true, statusWord);
}

Status RemoteRouterHandle::lcIECSReadWithDevice(uint32_t device, uint8_t offset, uint32_t length, uint8_t* data) {
  const uint32_t code = mailboxDeviceCode(device);
  if (code == 0 || length > kMailboxDataBytes) return status::kBadArgument;
  uint32_t statusWord = 0;
  Status s = startTransfer(code, offset, length, false, statusWord);
  if (s != status::kSuccess) return s;
  if (kMailboxCommand.notResponding.of(statusWord)) return status::kNotResponding;
  if (kMailboxCommand.deviceError.of(statusWord)) return status::kDeviceError;
  Buffer buffer{};
  for (uint32_t i = 0; i < kMailboxDataDwords; ++i) {
    uint32_t word = 0;
    s = parentRead(mailboxBase() + kMailboxReadDataDword + i, word);
    if (s != status::kSuccess) return s;
    storeLittleEndian(word, &buffer[4 * i]);
  }
  if (length) std::copy_n(buffer.begin(), length, data);
  return status::kSuccess;
}

Status RemoteRouterHandle::iecsReadWithDevice(uint32_t device, uint8_t offset, uint32_t length, uint8_t* data) {
  Status s = initializeIECS();
  if (s != status::kSuccess || portMicroMode_) return s;
  // The transfer's own status is not passed on: a caller sees a failed
  // mailbox transfer only in the data.
  lcIECSReadWithDevice(device, offset, length, data);
  return status::kSuccess;
}

Status RemoteRouterHandle::iecsWriteWithDevice(uint32_t device, uint8_t offset, uint32_t length,
                                               const uint8_t* data) {
  Status s = initializeIECS();
  if (s != status::kSuccess || portMicroMode_) return s;
  lcIECSWriteWithDevice(device, offset, length, data);
  return status::kSuccess;
}

Status RemoteRouterHandle::iecsRemoteConfigReadWithPort(uint32_t port, uint32_t space, uint32_t index,
                                                        uint32_t& outData) {
  MailboxBridge bridge(*this);
  return bridgeConfigRead(bridge, port, space, index, outData);
}

Status RemoteRouterHandle::iecsRemoteConfigWriteWithPort(uint32_t port, uint32_t space, uint32_t index,
                                                         uint32_t data) {
  MailboxBridge bridge(*this);
  return bridgeConfigWrite(bridge, port, space, index, data);
}

Status RemoteRouterHandle::configReadWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t& outData) {
  return iecsRemoteConfigReadWithPort(port, space, index, outData);
}

Status RemoteRouterHandle::configWriteWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t data) {
  return iecsRemoteConfigWriteWithPort(port, space, index, data);
}

std::shared_ptr<RouterHandle> routerHandleChain(uint8_t routerID, uint64_t route, std::span<const uint32_t> buses) {
  std::shared_ptr<RouterHandle> handle = LocalRouterHandle::localRouterHandle();
  handle->setRouterID(routerID);
  handle->setRoute(route);
  for (uint32_t bus : buses) {
    std::shared_ptr<RemoteRouterHandle> remote = RemoteRouterHandle::remoteRouterHandle();
    remote->setParentRouterHandle(handle);
    remote->setBus(bus);
    handle = remote;
  }
  return handle;
}

}  // namespace tbt
