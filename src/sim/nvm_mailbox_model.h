#pragma once
// The link controller's NVM mailbox: the command/status double word at
// mailbox base + 156 of device space, where the base is the link-controller
// capability (the header masked with 0xFFFF00 equal to 0x060500, placed as
// capability_chain.h says) plus bits 15..8 of its double word 2.
//
// A write with bit 31 set is a read request; it sets busy (bit 31), which
// clears 50 us of simulated time later. The request's form follows the
// controller's identity (device-space double word 0):
//   0x15478086, 0x15488086: 0x81 in bits 31..24, the byte count in bits
//       23..16, the byte offset in bits 15..2; the error bit is 29.
//   any other: bits 31 and 29 set, the double-word count in bits 30..26,
//       the byte offset in bits 15..2; the error bit is 30. The request's own
//       bit 29 lies inside the count field, so at least 8 double words move
//       (the requester reads only those it asked for); 16 at most.
// The requested double words (little-endian from the "nvm" image) are put
// into the data double words base + 116... when the request is taken; those
// are plain storage the model does not claim. The status reads busy while the
// request runs, and from the start the error bit when the request was
// malformed, its offset lies beyond the image (or there is no "nvm" image) or
// a fault fired.
// Controllers 0x15138086, 0x151A8086 and 0x15498086 have no such mailbox.
//
// Faults (checked once per request; "address" is the request's byte offset,
// "status" is not used):
//   "nvm-error"  the request completes with the error bit set;
//   "nvm-stuck"  the request never completes (busy until the next request).
#include <cstdint>
#include <string_view>
#include <vector>

#include "sim/models.h"
#include "sim/router.h"

namespace tbt::sim {

inline constexpr std::string_view kFaultNvmError = "nvm-error";
inline constexpr std::string_view kFaultNvmStuck = "nvm-stuck";

class NvmMailboxModel : public RegisterModel {
 public:
  /// How the controller reads a request word.
  enum class Form { ByteCount, ShiftedCount };

  NvmMailboxModel(SimHost& host, Router& router, uint32_t mailboxBase, Form form);

  bool handles(uint32_t port, uint32_t space, uint32_t index) const override;
  Status read(uint32_t port, uint32_t space, uint32_t index, uint32_t& value) override;
  Status write(uint32_t port, uint32_t space, uint32_t index, uint32_t value) override;

  uint32_t mailboxBase() const { return base_; }
  Form form() const { return form_; }
  /// Every request word written, in order.
  const std::vector<uint32_t>& requests() const { return requests_; }

 private:
  struct Request {
    bool wellFormed;
    uint32_t offset;
    uint32_t dwords;
  };
  Request decode(uint32_t word) const;
  bool busy() const;
  void fill(uint32_t offset, uint32_t dwords);

  SimHost& host_;
  Router& router_;
  uint32_t base_;
  Form form_;
  std::vector<uint32_t> requests_;
  uint64_t doneAt_ = 0;
  bool stuck_ = false;
  uint32_t status_ = 0;
};

/// Attaches the NVM mailbox when router's identity and capability chain have one.
void attachNvmMailbox(SimHost& host, Router& router);

/// The NVM mailbox model attached to router, or null.
inline NvmMailboxModel* nvmMailboxOf(const Router& router) { return router.modelOf<NvmMailboxModel>(); }

}  // namespace tbt::sim
