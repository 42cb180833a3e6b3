#pragma once
// A router handle names one router for configuration access: the router ID
// of its host controller and its route below that controller. Every
// configuration access of the toolkit takes one, so the same code reaches a
// router directly or through another router's link controller.
#include <cstdint>
#include <memory>

#include "platform/status.h"

namespace tbt {

class RouterHandle {
 public:
  RouterHandle() = default;
  virtual ~RouterHandle() = default;
  RouterHandle(const RouterHandle&) = default;
  RouterHandle& operator=(const RouterHandle&) = default;

  /// Reads one double word of the router's configuration space. The base
  /// handle reaches nothing: it returns 0 and leaves outData as it was.
  virtual Status configReadWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t& outData);
  /// Writes one double word. The base handle does nothing and returns 0.
  virtual Status configWriteWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t data);
  /// Asks the router for its route string (device space double word 2, read
  /// through this handle). On failure returns the read's status and leaves
  /// outRoute untouched.
  virtual Status actualRoute(uint64_t& outRoute);

  uint8_t routerID() const { return routerID_; }
  void setRouterID(uint8_t routerID) { routerID_ = routerID; }
  uint64_t route() const { return route_; }
  void setRoute(uint64_t route) { route_ = route; }

 private:
  uint8_t routerID_ = 0;
  uint64_t route_ = 0;
};

/// A router reached directly through its controller's user client.
class LocalRouterHandle : public RouterHandle {
 public:
  /// A new handle with router ID 0 and route 0; callers set both before use.
  static std::unique_ptr<LocalRouterHandle> localRouterHandle();

  /// Reads through the user client of the handle's router ID; not found when
  /// no user client serves it.
  Status configReadWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t& outData) override;
  /// Writes through the user client of the handle's router ID; not found when
  /// no user client serves it.
  Status configWriteWithPort(uint32_t port, uint32_t space, uint32_t index, uint32_t data) override;
};

}  // namespace tbt
