#pragma once
// A router that the host cannot reach by route, reached instead through the
// IECS mailbox of a link controller in a parent router. The parent may be a
// local router or itself a remote one: every access to it goes through its
// own configuration operations (device space, port 0).
//
// The handle lives in the toolkit, not beside the local handle in the kernel
// layer, because finding the parent's link controller needs the toolkit's
// capability search.
//
// Mailbox of bus b, in the parent's device space, base = lcOffset + b * lcLength
// (the link-controller capability's mailbox geometry, kernel/config_space.h):
//   base + 99          command / status word (kMailboxCommand fields)
//   base + 100 .. 115  64 bytes of write data
//   base + 116 .. 131  64 bytes of read data
#include <cstdint>
#include <memory>
#include <span>

#include "kernel/config_space.h"
#include "kernel/router_handle.h"
#include "platform/status.h"

namespace tbt {

/// Layout of a link-controller IECS mailbox, in double words from its base.
inline constexpr uint32_t kMailboxCommandDword = 99;
inline constexpr uint32_t kMailboxWriteDataDword = 100;
inline constexpr uint32_t kMailboxReadDataDword = 116;
inline constexpr uint32_t kMailboxDataDwords = 16;
inline constexpr uint32_t kMailboxDataBytes = kMailboxDataDwords * 4;

/// Fields of the mailbox command / status word.
struct MailboxCommandFields {
  Bits start{31, 31};          // written 1; the transfer is done when it reads 0
  Bits always{30, 30};         // always written 1
  Bits notResponding{25, 25};  // read back: the device did not answer
  Bits deviceError{24, 24};    // read back: the device reported an error
  Bits write{23, 23};          // 1 for a write transfer
  Bits length{22, 16};         // bytes to move
  Bits offset{15, 8};          // IECS register offset
  Bits device{7, 0};           // device code: device 1 -> 1, 2 -> 11, 3 -> 5
};
inline constexpr MailboxCommandFields kMailboxCommand{};

class RemoteRouterHandle : public RouterHandle {
 public:
  /// The deepest chain of remote handles that can lead anywhere: a route
  /// string has seven hops below the host router, and each link controller
  /// in the chain is one more hop down.
  static constexpr uint32_t kMaxLevels = 7;

  RemoteRouterHandle() = default;
  /// Lets go of the parents one level at a time, so that a long chain does
  /// not nest one destructor inside another.
  ~RemoteRouterHandle() override;
  RemoteRouterHandle(const RemoteRouterHandle&) = default;
  RemoteRouterHandle& operator=(const RemoteRouterHandle&) = default;

  /// A new handle with every field zero; the creator sets the parent and the bus.
  static std::unique_ptr<RemoteRouterHandle> remoteRouterHandle();

  /// How many remote handles lead from the local router to this one (1 when
  /// the parent is not a remote handle).
  uint32_t levels() const;

  /// Which of the parent link controller's mailboxes carries the traffic (0-based).
  uint32_t bus() const { return bus_; }
  void setBus(uint32_t bus) { bus_ = bus; }
  /// The router whose link controller carries the traffic; the handle keeps it alive.
  const std::shared_ptr<RouterHandle>& parentRouterHandle() const { return parent_; }
  void setParentRouterHandle(std::shared_ptr<RouterHandle> parent) { parent_ = std::move(parent); }

  /// Looks at the parent once per handle (later calls return 0 at once, also
  /// after a failed first call): a parent whose identity double word is that
  /// of a port micro-controller has no mailbox; otherwise its link-controller
  /// capability gives the mailbox geometry. The remote parents are set up
  /// first, from the top down; one that fails fails every handle below it
  /// with its status. Bad argument, with nothing read, for a chain of more
  /// than kMaxLevels. Returns the first failing status.
  Status initializeIECS();

  /// One configuration read of the remote router through the bridge (IECS
  /// device 3) behind the mailbox; outData is written only on success.
  Status configReadWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t& outData) override;
  /// One configuration write of the remote router through the bridge.
  Status configWriteWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t data) override;

  /// IECS read of length bytes at offset of device 1..3 through the mailbox.
  /// Returns initializeIECS's failure, else 0: a failed transfer shows only
  /// in the data (left as it was), and with a port micro-controller parent
  /// nothing is transferred at all.
  Status iecsReadWithDevice(uint32_t device, uint8_t offset, uint32_t length, uint8_t* data);
  /// IECS write through the mailbox; statuses as iecsReadWithDevice.
  Status iecsWriteWithDevice(uint32_t device, uint8_t offset, uint32_t length, const uint8_t* data);

  /// One mailbox read transfer: bad argument for another device or more than
  /// 64 bytes, time-out after 50 busy polls, not responding or device error
  /// as the status word reports them, or the parent's failing access.
  Status lcIECSReadWithDevice(uint32_t device, uint8_t offset, uint32_t length, uint8_t* data);
  /// One mailbox write transfer (all 64 data bytes are sent, zero-padded);
  /// statuses as lcIECSReadWithDevice, without the status-word bits.
  Status lcIECSWriteWithDevice(uint32_t device, uint8_t offset, uint32_t length, const uint8_t* data);

  /// The bridge's configuration read, as configReadWithPort.
  Status iecsRemoteConfigReadWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t& outData);
  /// The bridge's configuration write, as configWriteWithPort.
  Status iecsRemoteConfigWriteWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t data);

  bool portMicroMode() const { return portMicroMode_; }
  uint32_t lcHeader() const { return lcHeader_; }
  uint32_t lcOffset() const { return lcOffset_; }
  uint32_t lcCount() const { return lcCount_; }
  uint32_t lcLength() const { return lcLength_; }

 private:
  Status parentRead(uint32_t index, uint32_t& value);
  Status parentWrite(uint32_t index, uint32_t value);
  uint32_t mailboxBase() const { return lcOffset_ + bus_ * lcLength_; }
  Status startTransfer(uint32_t code, uint8_t offset, uint32_t length, bool write, uint32_t& statusWord);
  Status readLinkControllerGeometry();
  RemoteRouterHandle* remoteParent() const;
  Status setUpMailbox(Status above);

  uint32_t bus_ = 0;
  std::shared_ptr<RouterHandle> parent_;
  bool iecsInitialized_ = false;
  bool portMicroMode_ = false;
  uint32_t lcHeader_ = 0;
  uint32_t lcOffset_ = 0;
  uint32_t lcCount_ = 0;
  uint32_t lcLength_ = 0;
};

/// The handle of the router at route on the controller of routerID or,
/// with buses, of the router behind bridge buses[0] of that router, then
/// behind bridge buses[1] of that one, and so on.
std::shared_ptr<RouterHandle> routerHandleChain(uint8_t routerID, uint64_t route, std::span<const uint32_t> buses);

}  // namespace tbt
