#pragma once
// One open connection to one host Thunderbolt controller's driver: the only
// path by which configuration, I2C, IECS and rescan requests reach hardware.
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/device_interface.h"
#include "platform/registry.h"
#include "platform/status.h"

namespace tbt {

class ThunderboltKernelUserClient {
 public:
  /// Inactivity after which the idle timer closes the connection (5 s).
  static constexpr uint64_t kIdleIntervalMicroseconds = 5'000'000;

  ThunderboltKernelUserClient() = default;
  /// Closes the connection first.
  ~ThunderboltKernelUserClient();
  ThunderboltKernelUserClient(const ThunderboltKernelUserClient&) = delete;
  ThunderboltKernelUserClient& operator=(const ThunderboltKernelUserClient&) = delete;

  /// Opens the connection to a controller entry: finds its root switch (first
  /// port child, then that port's switch child) for the router ID, creates the
  /// plug-in and takes the version 2 device interface, else version 1.
  /// Returns 0, not found (no port or switch), general failure (no "UID", no
  /// interface) or the plug-in's status.
  Status createUserClientForService(const RegistryEntry& service);

  /// Closes the connection; harmless when nothing is open.
  void destroyUserClient();

  /// Reopens the connection through the stored controller when it is closed
  /// and pushes back the idle timer. Returns 0 when open, else general failure.
  Status makeActive();

  /// Reads one double word at (route, port, space, index) into outData.
  Status configReadWithRoute(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t& outData);
  /// Writes one double word at (route, port, space, index).
  Status configWriteWithRoute(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t data);

  /// Writes length bytes of data to register offset of the I2C device at address.
  Status i2cWrite(uint64_t route, uint8_t address, uint8_t offset, uint32_t length, const uint8_t* data);
  /// Reads length bytes from register offset of the I2C device at address into data.
  Status i2cRead(uint64_t route, uint8_t address, uint8_t offset, uint32_t length, uint8_t* data);

  /// Writes length bytes to an IECS device of the link controller on bus.
  /// Unsupported on a version 1 interface.
  Status iecsWrite(uint64_t route, uint32_t bus, uint32_t device, uint8_t offset, uint32_t length,
                   const uint8_t* data);
  /// Reads length bytes from an IECS device into data. Unsupported on version 1.
  Status iecsRead(uint64_t route, uint32_t bus, uint32_t device, uint8_t offset, uint32_t length, uint8_t* data);

  /// Asks the driver to rescan the bus.
  Status rescanBus();

  /// The controller's registry entry (the stored service).
  const RegistryEntry& controller() const { return service_; }
  /// Router ID of the controller (UID of its root switch, low four bits).
  uint8_t routerID() const { return routerID_; }
  /// Version of the device interface obtained at the last successful opening.
  uint32_t version() const { return version_; }
  bool userClientActive() const { return userClientActive_; }

  /// The idle timer. There is no run loop in this program, so the timer is
  /// kept as data: a firing date on the host clock that whoever runs a loop
  /// compares with the clock and then calls powerSavingsTimerIntervalExpired.
  /// It exists only when powerSavings is on, which nothing in the tool does.
  void startPowerSavingsTimer();
  void stopPowerSavingsTimer();
  /// The timer's action: closes the connection.
  void powerSavingsTimerIntervalExpired();
  /// Firing date in host-clock microseconds, when a timer exists.
  std::optional<uint64_t> powerSavingsTimerFireDate() const { return powerSavingsTimer_; }

  /// The process-wide switch that starts idle timers on opening (off).
  static bool powerSavings();
  static void setPowerSavings(bool on);

 private:
  // One IECS transfer through a heap buffer: a write sends in, a read fills out.
  Status iecsTransaction(uint64_t route, uint32_t bus, uint32_t device, uint8_t offset, uint32_t length,
                         uint32_t direction, const uint8_t* in, uint8_t* out);

  RegistryEntry service_;
  std::unique_ptr<ControllerPlugIn> cfPlugInInterface_;
  std::unique_ptr<DeviceInterface> deviceInterface_;
  bool userClientActive_ = false;
  std::optional<uint64_t> powerSavingsTimer_;
  uint32_t version_ = 0;
  uint8_t routerID_ = 0;
};

}  // namespace tbt
