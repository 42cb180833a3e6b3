// The reports as one text each: the streaming operations collected in a string.
#include "toolkit/utilities.h"

namespace tbt {
namespace {

template <typename Report>
std::string collect(Report&& report) {
  StringReportSink sink;
  report(sink);
  return sink.take();
}

}  // namespace

std::string ThunderboltUserClientUtils::deviceSpaceForRouterHandle(RouterHandle& routerHandle) {
  return collect([&](ReportSink& s) { deviceSpaceForRouterHandle(routerHandle, s); });
}
std::string ThunderboltUserClientUtils::deviceCapabilityAtIndex(uint32_t index, RouterHandle& andRouterHandle) {
  return collect([&](ReportSink& s) { deviceCapabilityAtIndex(index, andRouterHandle, s); });
}
std::string ThunderboltUserClientUtils::linkControllerCapabilityAtIndex(uint32_t index, RouterHandle& andRouterHandle,
                                                                        uint32_t forLength) {
  return collect([&](ReportSink& s) { linkControllerCapabilityAtIndex(index, andRouterHandle, forLength, s); });
}
std::string ThunderboltUserClientUtils::portSpaceForPort(uint32_t port, RouterHandle& andRouterHandle) {
  return collect([&](ReportSink& s) { portSpaceForPort(port, andRouterHandle, s); });
}
std::string ThunderboltUserClientUtils::portCapabilityForPort(uint32_t port, uint32_t index,
                                                              RouterHandle& andRouterHandle) {
  return collect([&](ReportSink& s) { portCapabilityForPort(port, index, andRouterHandle, s); });
}
std::string ThunderboltUserClientUtils::adapterCapabilityForPort(uint32_t port, uint32_t index,
                                                                 RouterHandle& andRouterHandle) {
  return collect([&](ReportSink& s) { adapterCapabilityForPort(port, index, andRouterHandle, s); });
}
std::string ThunderboltUserClientUtils::pathSpaceForPort(uint32_t port, RouterHandle& andRouterHandle) {
  return collect([&](ReportSink& s) { pathSpaceForPort(port, andRouterHandle, s); });
}
std::string ThunderboltUserClientUtils::counterSpaceForPort(uint32_t port, RouterHandle& andRouterHandle) {
  return collect([&](ReportSink& s) { counterSpaceForPort(port, andRouterHandle, s); });
}
std::string ThunderboltUserClientUtils::allSpacesForRouterHandle(RouterHandle& routerHandle) {
  return collect([&](ReportSink& s) { allSpacesForRouterHandle(routerHandle, s); });
}
std::string ThunderboltUserClientUtils::allSpaces() {
  return collect([&](ReportSink& s) { allSpaces(s); });
}
std::string ThunderboltUserClientUtils::memoryDumpForLC(uint32_t lc, RouterHandle& andRouterHandle) {
  return collect([&](ReportSink& s) { memoryDumpForLC(lc, andRouterHandle, s); });
}

}  // namespace tbt
