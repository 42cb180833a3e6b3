// The DROM's place in the EEPROM, and NVM reads through the link
// controller's mailbox (or, without one, from the EEPROM).
#include <algorithm>
#include <array>
#include <cstring>

#include "eeprom/ee_register.h"
#include "platform/platform.h"
#include "platform/text.h"
#include "toolkit/remote_router_handle.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using namespace eeprom;

// Completion is polled every 10 us, at most 10000 times.
constexpr uint32_t kMailboxPolls = 10000;
constexpr uint64_t kMailboxPollMicroseconds = 10;
// What the output double words hold until the controller's data is read in.
constexpr uint32_t kUnreadDword = 0xDEADBEEF;
// One mailbox read moves at most the mailbox's 16 read-data double words.
constexpr uint32_t kChunkBytes = kMailboxDataBytes;

// How a generation of controllers takes an NVM read request.
enum class RequestForm {
  None,          // no NVM mailbox
  ByteCount,     // byte count in bits 23..16
  ShiftedCount,  // double-word count shifted to bit 26
};

struct Generation {
  uint32_t identity;  // device-space double word 0: device ID, vendor ID
  RequestForm form;
};
constexpr std::array<Generation, 5> kGenerations = {{
    {0x15138086, RequestForm::None},
    {0x151A8086, RequestForm::None},
    {0x15498086, RequestForm::None},
    {0x15478086, RequestForm::ByteCount},
    {0x15488086, RequestForm::ByteCount},
}};

RequestForm requestFormOf(uint32_t identity) {
  auto it = std::find_if(kGenerations.begin(), kGenerations.end(),
                         [&](const Generation& g) { return g.identity == identity; });
  return it == kGenerations.end() ? RequestForm::ShiftedCount : it->form;
}

// Only bits 15..2 of the offset reach the controller: reads are dword-aligned
// within the first 64 KiB.
constexpr uint32_t kOffsetMask = 0xFFFC;

uint32_t requestWord(RequestForm form, uint32_t offset, uint32_t dwordCount) {
  if (form == RequestForm::ByteCount) return 0x81000000u | (((dwordCount * 4) & 0xFF) << 16) | (offset & kOffsetMask);
  // Shifted without masking: a full 16-dword read sets bit 30 and leaves
  // bits 29..26 alone, which is the encoding these controllers expect.
  return 0xA0000000u | (dwordCount << 26) | (offset & kOffsetMask);
}

uint32_t errorBitOf(RequestForm form) { return form == RequestForm::ByteCount ? 1u << 29 : 1u << 30; }

Status readDevice(ThunderboltUserClientUtils& utils, RouterHandle& handle, uint32_t index, uint32_t& value) {
  return utils.configReadWithRouterHandle(handle, 0, kDeviceSpace, index, value);
}

Status writeDevice(ThunderboltUserClientUtils& utils, RouterHandle& handle, uint32_t index, uint32_t value) {
  return utils.configWriteWithRouterHandle(handle, 0, kDeviceSpace, index, value);
}

// Waits for the mailbox to finish and judges its status.
Status awaitMailbox(ThunderboltUserClientUtils& utils, RouterHandle& handle, uint32_t mailboxBase, RequestForm form) {
  uint32_t status = 0;
  bool done = false;
  for (uint32_t poll = 0; poll < kMailboxPolls && !done; ++poll) {
    if (poll > 0) host().sleepMicroseconds(kMailboxPollMicroseconds);
    done = readDevice(utils, handle, mailboxBase + kNvmCommandDword, status) == status::kSuccess &&
           (status & kNvmBusy) == 0;
  }
  // The error bit is judged first, even on a request that never finished.
  if (status & errorBitOf(form)) return status::kNotReadable;
  return done ? status::kSuccess : status::kNotResponding;
}

// Double words travel in the controller's little-endian byte order.
void loadDwords(const uint8_t* bytes, uint32_t count, uint32_t* dwords) {
  for (uint32_t i = 0; i < count * 4; ++i) {
    if (i % 4 == 0) dwords[i / 4] = 0;
    dwords[i / 4] |= uint32_t{bytes[i]} << (8 * (i % 4));
  }
}

void storeDwords(const uint32_t* dwords, uint32_t count, uint8_t* bytes) {
  for (uint32_t i = 0; i < count * 4; ++i) bytes[i] = static_cast<uint8_t>(dwords[i / 4] >> (8 * (i % 4)));
}

// One mailbox read of count double words at offset into out (count * 4
// bytes, left as they were where the read did not get to them).
Status readChunk(ThunderboltUserClientUtils& utils, RouterHandle& handle, uint32_t offset, uint32_t count,
                 uint8_t* out, uint32_t mailboxBase) {
  std::array<uint32_t, kMailboxDataDwords> dwords{};
  loadDwords(out, count, dwords.data());
  Status s = utils.nvmReadLCTunneled(handle, offset, count, dwords.data(), mailboxBase);
  storeDwords(dwords.data(), count, out);
  return s;
}

// The NVM mailbox of the link-controller capability at capability.
Status mailboxOf(ThunderboltUserClientUtils& utils, RouterHandle& handle, uint8_t capability, uint32_t& outBase) {
  uint32_t layout = 0;
  Status s = readDevice(utils, handle, capability + kLinkControllerMailboxDword, layout);
  if (s != status::kSuccess) return s;
  outBase = capability + kLinkControllerMailbox.offset.of(layout);
  // The length field counts the capability's double words.
  return kLinkControllerMailbox.length.of(layout) < kMinimumLinkControllerLength ? status::kOverrun
                                                                                  : status::kSuccess;
}

}  // namespace

Status ThunderboltUserClientUtils::getDROMOffsetWithRouterHandle(RouterHandle& routerHandle, uint32_t& outDROMOffset,
                                                                 uint8_t& outDFTOffset) {
  uint8_t dft = 0;
  Status s = findCapabilityAtRouterHandle(dft, kDftCapabilityKey, kVendorCapabilityMask, routerHandle, 0, kDeviceSpace);
  if (s != status::kSuccess) {
    host().print("Could not get capability\n");
    return s;
  }
  uint32_t offset = 0;
  s = readDevice(*this, routerHandle, dft + kDromOffsetDword, offset);
  if (s != status::kSuccess) {
    host().print("Could not get serial number\n");
    return s;
  }
  if (offset == 0) {
    host().print(textf("DROM offset is zero for route %llx! Aborting.\n",
                       static_cast<unsigned long long>(routerHandle.route())));
    return status::kAborted;
  }
  outDROMOffset = offset;
  outDFTOffset = dft;
  return status::kSuccess;
}

Status ThunderboltUserClientUtils::nvmReadLCTunneled(RouterHandle& routerHandle, uint32_t nvmOffset,
                                                     uint32_t dwordCount, uint32_t* outDwords,
                                                     uint32_t mailboxBase) {
  uint32_t identity = 0;
  Status s = readDevice(*this, routerHandle, kIdentityDword, identity);
  if (s != status::kSuccess) return s;
  const uint32_t count = std::min(dwordCount, kMailboxDataDwords);
  // Every data double word is cleared; only the last write's status counts.
  for (uint32_t i = 0; i < kMailboxDataDwords; ++i)
    s = writeDevice(*this, routerHandle, mailboxBase + kMailboxReadDataDword + i, 0);
  const RequestForm form = requestFormOf(identity);
  if (s == status::kSuccess && form == RequestForm::None) s = status::kUnsupported;
  if (s == status::kSuccess)
    s = writeDevice(*this, routerHandle, mailboxBase + kNvmCommandDword, requestWord(form, nvmOffset, count));
  if (s == status::kSuccess) s = awaitMailbox(*this, routerHandle, mailboxBase, form);
  for (uint32_t i = 0; i < count && s == status::kSuccess; ++i) {
    outDwords[i] = kUnreadDword;
    s = readDevice(*this, routerHandle, mailboxBase + kMailboxReadDataDword + i, outDwords[i]);
  }
  return s;
}

Status ThunderboltUserClientUtils::nvmRead(uint8_t* buffer, uint32_t size, uint16_t startAddress,
                                           RouterHandle& routerHandle, Progress* progress) {
  uint8_t linkController = 0;
  Status s = findCapabilityAtRouterHandle(linkController, kLinkControllerCapabilityKey, kVendorCapabilityMask,
                                          routerHandle, 0, kDeviceSpace);
  if (s == status::kNotFound) {
    // A switch without a link controller keeps its NVM image in the EEPROM.
    uint8_t dft = 0;
    s = findCapabilityAtRouterHandle(dft, kDftCapabilityKey, kVendorCapabilityMask, routerHandle, 0, kDeviceSpace);
    if (s == status::kSuccess) s = eeMultiByteRead(buffer, size, startAddress, routerHandle, dft, progress);
    return s;
  }
  uint32_t base = 0;
  if (s == status::kSuccess) s = mailboxOf(*this, routerHandle, linkController, base);
  if (s != status::kSuccess) return s;
  uint32_t address = startAddress;
  uint8_t* out = buffer;
  advance(progress, 0, size);
  // Every chunk is read whatever became of the one before; the last chunk's
  // status is the one returned.
  for (uint32_t chunk = 0; chunk < size / kChunkBytes; ++chunk, address += kChunkBytes, out += kChunkBytes) {
    s = readChunk(*this, routerHandle, address, kMailboxDataDwords, out, base);
    advance(progress, (chunk + 1) * kChunkBytes, size);
  }
  const uint32_t remainder = size % kChunkBytes;
  if (remainder >= 4) {
    s = readChunk(*this, routerHandle, address, remainder / 4, out, base);
    address += remainder / 4 * 4;
    out += remainder / 4 * 4;
  }
  if (remainder % 4 != 0) {
    std::array<uint8_t, 4> scratch{};
    s = readChunk(*this, routerHandle, address, 1, scratch.data(), base);
    std::memcpy(out, scratch.data(), remainder % 4);
  }
  if (remainder != 0) advance(progress, size, size);
  return s;
}

}  // namespace tbt
