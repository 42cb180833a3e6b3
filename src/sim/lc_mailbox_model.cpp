#include "sim/lc_mailbox_model.h"

#include <array>
#include <map>
#include <memory>
#include <optional>

#include "sim/capability_chain.h"
#include "sim/register_fields.h"

namespace tbt::sim {
namespace {


// One mailbox, in double words from its base.
constexpr uint32_t kCommandDword = 99;
constexpr uint32_t kWriteDataDword = 100;
constexpr uint32_t kDataBytes = kMailboxDataDwords * 4;

// The command / status word.
constexpr BitField kBusy{31, 31};
constexpr BitField kCommand{30, 30};
constexpr BitField kNotResponding{25, 25};
constexpr BitField kDeviceError{24, 24};
constexpr BitField kWrite{23, 23};
constexpr BitField kLength{22, 16};
constexpr BitField kOffset{15, 8};
constexpr BitField kDeviceCode{7, 0};

// The link controller names its IECS devices by code.
struct DeviceCode {
  uint32_t code;
  uint32_t device;
};
constexpr std::array<DeviceCode, 3> kDeviceCodes = {{{1, 1}, {11, 2}, {5, 3}}};

std::optional<uint32_t> deviceForCode(uint32_t code) {
  for (const DeviceCode& entry : kDeviceCodes)
    if (entry.code == code) return entry.device;
  return std::nullopt;
}

class IecsMailboxes : public RegisterModel {
 public:
  IecsMailboxes(SimHost& host, Router& router, const LinkControllerMailboxes& block)
      : host_(host), router_(router), block_(block) {}

  bool handles(uint32_t port, uint32_t space, uint32_t index) const override {
    return port == 0 && space == kDeviceSpace && busOf(index).has_value();
  }

  Status read(uint32_t, uint32_t, uint32_t index, uint32_t& value) override {
    const uint32_t bus = *busOf(index);
    auto it = pending_.find(bus);
    if (it != pending_.end() && !it->second.hung && host_.nowMicroseconds() >= it->second.doneAt) {
      complete(bus, it->second);
      pending_.erase(it);
    }
    value = router_.peek(0, kDeviceSpace, index);
    return status::kSuccess;
  }

  Status write(uint32_t, uint32_t, uint32_t index, uint32_t value) override {
    const uint32_t bus = *busOf(index);
    router_.poke(0, kDeviceSpace, index, value);
    if (!kBusy.get(value) || !kCommand.get(value)) return status::kSuccess;
    Pending p;
    p.doneAt = host_.nowMicroseconds() + kMailboxTransferMicroseconds;
    p.command = value;
    for (uint32_t i = 0; i < kMailboxDataDwords; ++i)
      p.writeData[i] = router_.peek(0, kDeviceSpace, base(bus) + kWriteDataDword + i);
    const std::optional<uint32_t> device = deviceForCode(kDeviceCode.get(value));
    FaultQuery query{kFaultLcMailbox, router_.controllerIndex(), router_.route(), {}, {}, {}, bus, device, {}};
    if (std::optional<Status> injected = host_.checkFault(query)) {
      p.injected = injected;
      p.hung = *injected == status::kTimeout;
    }
    pending_[bus] = p;
    return status::kSuccess;
  }

 private:
  struct Pending {
    uint64_t doneAt = 0;
    uint32_t command = 0;
    std::array<uint32_t, kMailboxDataDwords> writeData{};
    std::optional<Status> injected;
    bool hung = false;
  };

  std::optional<uint32_t> busOf(uint32_t index) const {
    const uint32_t firstCommand = block_.base + kCommandDword;
    if (index < firstCommand) return std::nullopt;
    const uint32_t distance = index - firstCommand;
    if (distance == 0) return block_.count > 0 ? std::optional<uint32_t>(0) : std::nullopt;
    if (block_.stride == 0 || distance % block_.stride != 0 || distance / block_.stride >= block_.count)
      return std::nullopt;
    return distance / block_.stride;
  }

  uint32_t base(uint32_t bus) const { return block_.base + bus * block_.stride; }

  // Carries out the transfer the command asked for and writes the status
  // word back with the busy bit clear.
  void complete(uint32_t bus, const Pending& p) {
    const uint32_t commandIndex = base(bus) + kCommandDword;
    uint32_t word = p.command;
    const Status result = p.injected ? *p.injected : transfer(bus, p);
    word = kBusy.set(word, 0);
    if (result == status::kNotResponding) word = kNotResponding.set(word, 1);
    else if (result != status::kSuccess) word = kDeviceError.set(word, 1);
    router_.poke(0, kDeviceSpace, commandIndex, word);
  }

  Status transfer(uint32_t bus, const Pending& p) {
    const uint32_t command = p.command;
    const std::optional<uint32_t> device = deviceForCode(kDeviceCode.get(command));
    IecsDeviceModel* target = device ? router_.iecsDevice(bus, *device) : nullptr;
    if (!target) return status::kNotResponding;
    const uint32_t length = kLength.get(command);
    if (length > kDataBytes) return status::kBadArgument;
    const uint32_t offset = kOffset.get(command);
    std::array<uint8_t, kDataBytes> bytes{};
    if (kWrite.get(command)) {
      for (uint32_t i = 0; i < kMailboxDataDwords; ++i) {
        const uint32_t word = p.writeData[i];
        for (uint32_t b = 0; b < 4; ++b) bytes[4 * i + b] = static_cast<uint8_t>(word >> (8 * b));
      }
      return target->write(offset, bytes.data(), length);
    }
    Status s = target->read(offset, bytes.data(), length);
    if (s != status::kSuccess) return s;
    for (uint32_t i = 0; i < kMailboxDataDwords; ++i) {
      const uint32_t word = uint32_t{bytes[4 * i]} | uint32_t{bytes[4 * i + 1]} << 8 |
                            uint32_t{bytes[4 * i + 2]} << 16 | uint32_t{bytes[4 * i + 3]} << 24;
      router_.poke(0, kDeviceSpace, base(bus) + kMailboxReadDataDword + i, word);
    }
    return status::kSuccess;
  }

  SimHost& host_;
  Router& router_;
  LinkControllerMailboxes block_;
  std::map<uint32_t, Pending> pending_;
};

}  // namespace

void attachIecsMailboxes(SimHost& host, Router& router) {
  if (std::optional<LinkControllerMailboxes> block = findLinkControllerMailboxes(router))
    router.attachModel(std::make_shared<IecsMailboxes>(host, router, *block));
}

}  // namespace tbt::sim
