#include "sim/config_bridge_model.h"

#include <map>
#include <memory>
#include <optional>

#include <nlohmann/json.hpp>

#include "platform/text.h"
#include "sim/host_loader.h"
#include "sim/register_fields.h"

namespace tbt::sim {
namespace {

using nlohmann::json;

constexpr uint32_t kBridgeDevice = 3;

enum class Form { Direct, Command };

struct FormName {
  std::string_view name;
  Form form;
  uint32_t identity;
};
constexpr FormName kForms[] = {{"direct", Form::Direct, 0x8086}, {"command", Form::Command, 0x0A27}};

const FormName* formNamed(std::string_view name) {
  for (const FormName& f : kForms)
    if (f.name == name) return &f;
  return nullptr;
}

// Registers of the bridge.
constexpr uint32_t kIdentityRegister = 0;
constexpr uint32_t kCommandAddressRegister = 9;
constexpr uint32_t kCommandDataRegister = 10;
constexpr uint32_t kWindowRegister = 16;         // direct: data; command: the request
constexpr uint32_t kDirectAddressRegister = 17;

// The address word.
constexpr BitField kStart{31, 31};
constexpr BitField kWriteAccess{21, 21};
constexpr BitField kSpace{20, 19};
constexpr BitField kAdapter{18, 13};
constexpr BitField kIndex{12, 0};

constexpr uint32_t fourChars(char a, char b, char c, char d) {
  return uint32_t(uint8_t(a)) | uint32_t(uint8_t(b)) << 8 | uint32_t(uint8_t(c)) << 16 | uint32_t(uint8_t(d)) << 24;
}
constexpr uint32_t kReadRequest = fourChars('C', 'I', 'O', 'r');
constexpr uint32_t kWriteRequest = fourChars('C', 'I', 'O', 'w');

class ConfigBridge : public IecsDeviceModel {
 public:
  ConfigBridge(SimHost& host, const Router& owner, uint32_t bus, const FormName& form, std::unique_ptr<Router> far)
      : host_(host), owner_(owner), bus_(bus), form_(form), far_(std::move(far)) {}

  Router& far() { return *far_; }

  Status read(uint32_t offset, uint8_t* data, uint32_t length) override {
    for (uint32_t i = 0; i < length; ++i) data[i] = static_cast<uint8_t>(registerValue(offset + i / 4) >> (8 * (i % 4)));
    return status::kSuccess;
  }

  Status write(uint32_t offset, const uint8_t* data, uint32_t length) override {
    for (uint32_t i = 0; i < length; ++i) {
      const uint32_t shift = 8 * (i % 4);
      uint32_t& value = registers_[offset + i / 4];
      value = (value & ~(0xFFu << shift)) | uint32_t{data[i]} << shift;
    }
    auto touched = [&](uint32_t reg) { return length > 0 && reg >= offset && reg <= offset + (length - 1) / 4; };
    if (form_.form == Form::Direct && touched(kDirectAddressRegister) &&
        kStart.get(registers_[kDirectAddressRegister]))
      return directAccess();
    if (form_.form == Form::Command && touched(kWindowRegister)) startCommand();
    return status::kSuccess;
  }

 private:
  std::optional<Status> fault() {
    return host_.checkFault({kFaultConfigBridge, owner_.controllerIndex(), owner_.route(), {}, {}, {}, bus_, {}, {}});
  }

  // One access of the far router's configuration space, as its hardware
  // answers it (models first, then the store), timed, counted and checked
  // against the faults like any router's.
  Status farAccess(uint32_t address, bool write, uint32_t& value) {
    return host_.bridgedConfigAccess(*far_, write, kAdapter.get(address), kSpace.get(address), kIndex.get(address),
                                     value);
  }

  Status directAccess() {
    if (std::optional<Status> injected = fault()) return *injected;
    uint32_t& address = registers_[kDirectAddressRegister];
    Status s = farAccess(address, kWriteAccess.get(address) != 0, registers_[kWindowRegister]);
    address = kStart.set(address, 0);
    return s;
  }

  void startCommand() {
    const uint32_t request = registers_[kWindowRegister];
    if (request != kReadRequest && request != kWriteRequest) return;
    pending_ = Pending{host_.nowMicroseconds() + kBridgeCommandMicroseconds, fault().has_value(),
                       request == kWriteRequest, registers_[kCommandAddressRegister], registers_[kCommandDataRegister]};
  }

  uint32_t registerValue(uint32_t reg) {
    if (reg == kIdentityRegister) return form_.identity;
    if (reg == kWindowRegister && pending_ && !pending_->hung && host_.nowMicroseconds() >= pending_->doneAt) {
      finishCommand();
      pending_.reset();
    }
    auto it = registers_.find(reg);
    return it == registers_.end() ? 0 : it->second;
  }

  void finishCommand() {
    uint32_t value = pending_->data;
    if (!pending_->write) {
      if (farAccess(pending_->address, false, value) == status::kSuccess) registers_[kCommandAddressRegister] = value;
    } else {
      farAccess(pending_->address, true, value);
    }
    registers_[kWindowRegister] = 0;
  }

  // A command access as it was started.
  struct Pending {
    uint64_t doneAt;
    bool hung;
    bool write;
    uint32_t address;
    uint32_t data;
  };

  SimHost& host_;
  const Router& owner_;
  uint32_t bus_;
  const FormName& form_;
  std::unique_ptr<Router> far_;
  std::map<uint32_t, uint32_t> registers_;
  std::optional<Pending> pending_;
};

}  // namespace

bool readBridges(JsonReader& in, const json& bridges, const std::string& path, SimHost& host, Router& owner) {
  if (!in.anyObject(bridges, path)) return false;
  return forEachMember(bridges, [&](const std::string& key, const json& bridge) {
    const std::string at = keyPath(path, key);
    uint32_t bus = 0;
    std::string formName;
    if (!in.key(key, at, bus) || !in.object(bridge, at, {"form", "router"})) return false;
    if (owner.iecsRegisterFile(bus, kBridgeDevice))
      return in.fail(at, textf("bus %u device 3 is also described in \"iecs\"", bus));
    const json* form = in.required(bridge, "form", at);
    if (!form || !in.string(*form, keyPath(at, "form"), formName)) return false;
    if (!formNamed(formName)) return in.fail(keyPath(at, "form"), "must be \"direct\" or \"command\"");
    const json* farObject = in.required(bridge, "router", at);
    std::unique_ptr<Router> far =
        farObject ? readRouter(in, *farObject, keyPath(at, "router"), host, owner.controllerIndex()) : nullptr;
    if (!far) return false;
    // The far router's own bridges were attached as it was read; it gets
    // every other model any router gets.
    attachRouterModels(host, *far);
    owner.attachIecsDevice(bus, kBridgeDevice,
                           std::make_shared<ConfigBridge>(host, owner, bus, *formNamed(formName), std::move(far)));
    return true;
  });
}

Router* farRouter(const Router& router, uint32_t bus) {
  auto* bridge = dynamic_cast<ConfigBridge*>(router.iecsDevice(bus, kBridgeDevice));
  return bridge ? &bridge->far() : nullptr;
}

}  // namespace tbt::sim
