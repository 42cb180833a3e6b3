// A link controller's memory, read word by word through the memory window
// of its register block.
#include "platform/text.h"
#include "reports/report_engine.h"

namespace tbt {
namespace reports {
namespace {

// Controllers (identity double word as read) without the memory window.
constexpr uint32_t kNoWindow[] = {0, 0x1513, 0x151A, 0x1549};

// The window, in double words from the link controller's block.
constexpr uint32_t kWindowRequest = 61;  // bit 0: go
constexpr uint32_t kWindowAddress = 62;
constexpr uint32_t kWindowData = 64;
constexpr uint32_t kWindowControl = 65;
constexpr uint32_t kGo = 1;

constexpr uint32_t kFirstAddress = 0x8000;
constexpr uint32_t kEndAddress = 0xF000;
constexpr uint32_t kAddressStep = 4;

// Dumps the memory of link controller lc; returns the first failing status.
Status dumpMemory(RouterHandle& handle, uint32_t lc, ReportSink& sink) {
  Status s = setUpReport(handle);
  uint32_t identity = 0;
  if (s == status::kSuccess) s = handle.configReadWithPort(0, kDeviceSpace, kIdentityDword, identity);
  if (s != status::kSuccess) return s;
  for (uint32_t none : kNoWindow)
    if (identity == none) return status::kSuccess;
  uint8_t cap = 0;
  s = ThunderboltUserClientUtils::sharedInstance().findCapabilityAtRouterHandle(
      cap, kLinkControllerCapabilityKey, kVendorCapabilityMask, handle, 0, kDeviceSpace);
  uint32_t geometry = 0;
  if (s == status::kSuccess) s = handle.configReadWithPort(0, kDeviceSpace, cap + kLinkControllerMailboxDword, geometry);
  if (s == status::kSuccess && lc >= kLinkControllerMailbox.count.of(geometry)) s = status::kGeneralFailure;
  uint64_t route = 0;
  if (s == status::kSuccess) s = handle.actualRoute(route);
  if (s != status::kSuccess) return s;
  const uint32_t base =
      cap + kLinkControllerMailbox.offset.of(geometry) + lc * kLinkControllerMailbox.length.of(geometry);
  sink.write(textf("LC %d Memory Dump for RID %d and Route 0x%llx\n", static_cast<int>(lc), handle.routerID(),
                   static_cast<unsigned long long>(route)));
  s = handle.configWriteWithPort(0, kDeviceSpace, base + kWindowControl, 1);
  constexpr uint64_t kAddresses = (kEndAddress - kFirstAddress) / kAddressStep;
  std::string line;
  for (uint32_t address = kFirstAddress; s == status::kSuccess && address < kEndAddress; address += kAddressStep) {
    if (sink.stopped()) return status::kAborted;
    advance(sink.progress(), (address - kFirstAddress) / kAddressStep, kAddresses);
    s = handle.configWriteWithPort(0, kDeviceSpace, base + kWindowAddress, address);
    if (s == status::kSuccess) s = handle.configWriteWithPort(0, kDeviceSpace, base + kWindowRequest, kGo);
    uint32_t value = 0;
    if (s == status::kSuccess) s = handle.configReadWithPort(0, kDeviceSpace, base + kWindowData, value);
    if (s != status::kSuccess) break;
    line.clear();
    appendf(line, "0x%04x: 0x%08x\n", address, value);
    sink.writeRegister({route, 0, kLinkControllerMemorySpace, address, address, value, {}, line});
  }
  if (s == status::kSuccess) advance(sink.progress(), kAddresses, kAddresses);
  return s;
}

}  // namespace
}  // namespace reports

void ThunderboltUserClientUtils::memoryDumpForLC(uint32_t lc, RouterHandle& andRouterHandle, ReportSink& sink) {
  const Status s = reports::dumpMemory(andRouterHandle, lc, sink);
  if (s != status::kSuccess) sink.write(textf("Error: 0x%08x\n", s));
}

}  // namespace tbt
