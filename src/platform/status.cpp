#include "platform/status.h"

#include "platform/text.h"

namespace tbt {

const char* statusName(Status s) {
  switch (s) {
    case status::kSuccess: return "success";
    case status::kChecksumMismatch: return "checksum mismatch";
    case status::kGeneralFailure: return "general failure";
    case status::kNoMemory: return "no memory";
    case status::kNoResources: return "no resources";
    case status::kNoDevice: return "no device";
    case status::kBadArgument: return "bad argument";
    case status::kExclusiveAccess: return "exclusive access";
    case status::kUnsupported: return "unsupported";
    case status::kInternalError: return "internal error";
    case status::kIOError: return "I/O error";
    case status::kNotReadable: return "not readable";
    case status::kNotWritable: return "not writable";
    case status::kBusy: return "busy";
    case status::kTimeout: return "time-out";
    case status::kOffline: return "offline";
    case status::kNotReady: return "not ready";
    case status::kNotPermitted: return "not permitted";
    case status::kRepaired: return "repaired";
    case status::kOverrun: return "overrun";
    case status::kDeviceError: return "device error";
    case status::kAborted: return "aborted";
    case status::kNotResponding: return "not responding";
    case status::kNotFound: return "not found";
    default: return nullptr;
  }
}

std::string describeStatus(Status s) {
  const char* name = statusName(s);
  return name != nullptr ? textf("0x%08x (%s)", s, name) : textf("0x%08x", s);
}

}  // namespace tbt
