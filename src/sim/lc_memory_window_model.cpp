#include "sim/lc_memory_window_model.h"

#include <memory>
#include <optional>

#include "sim/capability_chain.h"
#include "sim/register_fields.h"

namespace tbt::sim {
namespace {

constexpr uint32_t kRequestDword = 61;
constexpr uint32_t kAddressDword = 62;
constexpr uint32_t kWriteDataDword = 63;
constexpr uint32_t kReadDataDword = 64;

constexpr BitField kGo{0, 0};
constexpr BitField kWrite{1, 1};
constexpr BitField kAddress{15, 0};

class LcMemoryWindows : public RegisterModel {
 public:
  LcMemoryWindows(Router& router, const LinkControllerMailboxes& blocks) : router_(router), blocks_(blocks) {}

  bool handles(uint32_t port, uint32_t space, uint32_t index) const override {
    return port == 0 && space == kDeviceSpace && blockOf(index).has_value();
  }

  Status read(uint32_t, uint32_t, uint32_t index, uint32_t& value) override {
    value = router_.peek(0, kDeviceSpace, index);
    return status::kSuccess;
  }

  Status write(uint32_t, uint32_t, uint32_t index, uint32_t value) override {
    router_.poke(0, kDeviceSpace, index, value);
    if (!kGo.get(value)) return status::kSuccess;
    const uint32_t block = index - kRequestDword;
    const uint32_t address = kAddress.get(router_.peek(0, kDeviceSpace, block + kAddressDword));
    if (kWrite.get(value)) router_.lcMemory().write(address, router_.peek(0, kDeviceSpace, block + kWriteDataDword));
    else router_.poke(0, kDeviceSpace, block + kReadDataDword, router_.lcMemory().read(address));
    return status::kSuccess;
  }

 private:
  // The block whose request double word index is, if any.
  std::optional<uint32_t> blockOf(uint32_t index) const {
    const uint64_t first = uint64_t{blocks_.base} + kRequestDword;
    if (index < first) return std::nullopt;
    const uint64_t distance = index - first;
    if (distance == 0) return blocks_.count > 0 ? std::optional<uint32_t>(0) : std::nullopt;
    if (blocks_.stride == 0 || distance % blocks_.stride != 0 || distance / blocks_.stride >= blocks_.count)
      return std::nullopt;
    return static_cast<uint32_t>(distance / blocks_.stride);
  }

  Router& router_;
  LinkControllerMailboxes blocks_;
};

}  // namespace

void attachLcMemoryWindows(SimHost&, Router& router) {
  if (std::optional<LinkControllerMailboxes> blocks = findLinkControllerMailboxes(router))
    router.attachModel(std::make_shared<LcMemoryWindows>(router, *blocks));
}

}  // namespace tbt::sim
