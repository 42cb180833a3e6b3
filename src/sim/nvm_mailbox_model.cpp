#include "sim/nvm_mailbox_model.h"

#include <algorithm>
#include <array>

#include "sim/capability_chain.h"
#include "sim/register_fields.h"
#include "sim/sim_host.h"

namespace tbt::sim {
namespace {

constexpr uint32_t kCommandDword = 156;
constexpr uint64_t kRequestMicroseconds = 50;

constexpr uint32_t kBusy = 0x80000000;
constexpr BitField kOffset{15, 2};
// First form: opcode and byte count.
constexpr BitField kByteCountOpcode{31, 24};
constexpr uint32_t kByteCountRead = 0x81;
constexpr BitField kByteCount{23, 16};
// Second form: opcode bits and double-word count.
constexpr uint32_t kShiftedCountRead = 0xA0000000;
constexpr BitField kShiftedCount{30, 26};

struct Identity {
  uint32_t word;
  bool hasMailbox;
  NvmMailboxModel::Form form;
};
constexpr std::array<Identity, 5> kIdentities = {{
    {0x15138086, false, NvmMailboxModel::Form::ByteCount},
    {0x151A8086, false, NvmMailboxModel::Form::ByteCount},
    {0x15498086, false, NvmMailboxModel::Form::ByteCount},
    {0x15478086, true, NvmMailboxModel::Form::ByteCount},
    {0x15488086, true, NvmMailboxModel::Form::ByteCount},
}};

}  // namespace

void attachNvmMailbox(SimHost& host, Router& router) {
  const uint32_t identity = router.peek(0, kDeviceSpace, 0);
  auto known = std::find_if(kIdentities.begin(), kIdentities.end(),
                            [&](const Identity& i) { return i.word == identity; });
  if (known != kIdentities.end() && !known->hasMailbox) return;
  std::optional<LinkControllerMailboxes> block = findLinkControllerMailboxes(router);
  if (!block) return;
  const auto form = known != kIdentities.end() ? known->form : NvmMailboxModel::Form::ShiftedCount;
  router.attachModel(std::make_shared<NvmMailboxModel>(host, router, block->base, form));
}

NvmMailboxModel::NvmMailboxModel(SimHost& host, Router& router, uint32_t mailboxBase, Form form)
    : host_(host), router_(router), base_(mailboxBase), form_(form) {}

bool NvmMailboxModel::handles(uint32_t port, uint32_t space, uint32_t index) const {
  return port == 0 && space == kDeviceSpace && index == base_ + kCommandDword;
}

bool NvmMailboxModel::busy() const { return stuck_ || host_.nowMicroseconds() < doneAt_; }

Status NvmMailboxModel::read(uint32_t, uint32_t, uint32_t, uint32_t& value) {
  // The error bit is raised as soon as the request is judged, busy or not.
  value = busy() ? kBusy | status_ : status_;
  return status::kSuccess;
}

NvmMailboxModel::Request NvmMailboxModel::decode(uint32_t word) const {
  if (form_ == Form::ByteCount)
    return {kByteCountOpcode.get(word) == kByteCountRead, kOffset.get(word) << 2,
            std::min(kByteCount.get(word) / 4, kMailboxDataDwords)};
  return {(word & kShiftedCountRead) == kShiftedCountRead, kOffset.get(word) << 2,
          std::min(kShiftedCount.get(word), kMailboxDataDwords)};
}

Status NvmMailboxModel::write(uint32_t, uint32_t, uint32_t, uint32_t value) {
  if ((value & kBusy) == 0) {
    // Not a request: the double word just keeps what was written.
    status_ = value;
    return status::kSuccess;
  }
  requests_.push_back(value);
  const Request request = decode(value);
  FaultQuery q{.op = kFaultNvmError,
               .controller = router_.controllerIndex(),
               .route = router_.route(),
               .address = request.offset};
  const bool faulted = host_.checkFault(q).has_value();
  q.op = kFaultNvmStuck;
  stuck_ = host_.checkFault(q).has_value();
  const auto& image = router_.nvm();
  const bool inRange = image && image->contains(request.offset);
  if (request.wellFormed && inRange) fill(request.offset, request.dwords);
  const uint32_t errorBit = form_ == Form::ByteCount ? 1u << 29 : 1u << 30;
  status_ = request.wellFormed && inRange && !faulted ? 0 : errorBit;
  doneAt_ = host_.nowMicroseconds() + kRequestMicroseconds;
  return status::kSuccess;
}

void NvmMailboxModel::fill(uint32_t offset, uint32_t dwords) {
  const ByteMemory& image = *router_.nvm();
  for (uint32_t i = 0; i < dwords; ++i) {
    uint32_t word = 0;
    for (uint32_t b = 0; b < 4; ++b) word |= uint32_t{image.read(uint64_t{offset} + 4 * i + b)} << (8 * b);
    router_.poke(0, kDeviceSpace, base_ + kMailboxReadDataDword + i, word);
  }
}

}  // namespace tbt::sim
