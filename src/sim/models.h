#pragma once
// The hook through which behaviour is attached to the simulated hardware.
//
// A loaded host holds plain storage (see memory.h and router.h). Where real
// hardware has behaviour - an EEPROM behind the DFT capability's pin register,
// mailboxes in the link-controller capability, an NVM mailbox, a bridge IECS
// device - a model object is attached:
//
//   - RegisterModel: claims some double words of one router's configuration
//     spaces. Router::read/write ask the attached models (the most recently
//     attached first) before falling back to the plain store.
//   - IecsDeviceModel: answers IECS transfers of one (bus, device) of a router.
//   - I2cDeviceModel: answers I2C transactions at one address of a router.
//
// Models are attached by factories that run once a host has been loaded (its
// registry is derived afterwards): a RouterModelFactory sees each router in turn (it may
// walk the capability chain in the router's stored device space, look at the
// router's host-file description, and attach models); a HostModelFactory sees
// the whole host once (it may register shell commands, for example).
// Factories register themselves with a static registration object in their
// own .cpp file in src/sim/ (the sim library is linked whole, so such a file
// needs no other reference):
//
//   namespace { const tbt::sim::RouterModelRegistration reg("eeprom", attachEeprom); }
//
// A model keeps references to its SimHost and Router: both outlive every model
// attached to them. It reaches the virtual clock through SimHost (so a busy bit
// can clear once simulated time has passed), the raw store through
// Router::peek/poke, and the router's host-file object through
// Router::description().
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/status.h"
#include "sim/memory.h"

namespace tbt::sim {

class SimHost;
class Router;

/// Behaviour of some double words of one router's configuration spaces.
class RegisterModel {
 public:
  virtual ~RegisterModel() = default;
  /// True when this model answers accesses to (port, space, index).
  virtual bool handles(uint32_t port, uint32_t space, uint32_t index) const = 0;
  /// Reads a handled double word into value; a non-zero status fails the access.
  virtual Status read(uint32_t port, uint32_t space, uint32_t index, uint32_t& value) = 0;
  /// Writes a handled double word; a non-zero status fails the access.
  virtual Status write(uint32_t port, uint32_t space, uint32_t index, uint32_t value) = 0;
};

/// One IECS device (a (bus, device) of a router): byte transfers at an offset.
class IecsDeviceModel {
 public:
  virtual ~IecsDeviceModel() = default;
  /// Fills length bytes from offset upward.
  virtual Status read(uint32_t offset, uint8_t* data, uint32_t length) = 0;
  /// Stores length bytes from offset upward.
  virtual Status write(uint32_t offset, const uint8_t* data, uint32_t length) = 0;
};

/// A plain IECS register file: bytes at offsets, unset bytes read 0.
class IecsRegisterFile : public IecsDeviceModel {
 public:
  Status read(uint32_t offset, uint8_t* data, uint32_t length) override;
  Status write(uint32_t offset, const uint8_t* data, uint32_t length) override;
  ByteMemory& bytes() { return bytes_; }
  const ByteMemory& bytes() const { return bytes_; }

 private:
  ByteMemory bytes_;
};

/// One I2C device at one address of a router.
class I2cDeviceModel {
 public:
  virtual ~I2cDeviceModel() = default;
  /// One transaction: writeLength bytes written, then readLength bytes read.
  virtual Status transfer(const uint8_t* writeData, uint32_t writeLength, uint8_t* readData,
                          uint32_t readLength) = 0;
};

/// A plain I2C register file. The first byte written sets the register
/// pointer, further bytes are stored there (the pointer moving on); a read
/// returns bytes from the pointer upward. The pointer stays where the last
/// transfer left it, as in common register-file devices.
class I2cRegisterFile : public I2cDeviceModel {
 public:
  Status transfer(const uint8_t* writeData, uint32_t writeLength, uint8_t* readData, uint32_t readLength) override;
  ByteMemory& bytes() { return bytes_; }
  const ByteMemory& bytes() const { return bytes_; }

 private:
  ByteMemory bytes_{256, 0};
  uint32_t pointer_ = 0;
};

/// Attaches models to one router of a freshly loaded host.
using RouterModelFactory = std::function<void(SimHost& host, Router& router)>;
/// Attaches host-wide behaviour (shell commands, ...) to a freshly loaded host.
using HostModelFactory = std::function<void(SimHost& host)>;

/// Registers a router model factory under a name (a second registration of the
/// same name replaces the first). Factories run in registration-name order.
void registerRouterModelFactory(std::string name, RouterModelFactory factory);
/// Registers a host model factory under a name, like registerRouterModelFactory.
void registerHostModelFactory(std::string name, HostModelFactory factory);
/// Registers an extra fault operation name that host files may use in
/// "faults" (models check it with SimHost::checkFault).
void registerFaultOp(std::string name);

/// Static registration helpers for a model's .cpp file.
struct RouterModelRegistration {
  RouterModelRegistration(std::string name, RouterModelFactory factory) {
    registerRouterModelFactory(std::move(name), std::move(factory));
  }
};
struct HostModelRegistration {
  HostModelRegistration(std::string name, HostModelFactory factory) {
    registerHostModelFactory(std::move(name), std::move(factory));
  }
};
struct FaultOpRegistration {
  explicit FaultOpRegistration(std::string name) { registerFaultOp(std::move(name)); }
};

/// Runs every registered factory on a loaded host (host factories first,
/// then each router factory on each router). loadHost calls it.
void runModelFactories(SimHost& host);
/// True when name is a core fault operation or a registered one.
bool isKnownFaultOp(const std::string& name);

}  // namespace tbt::sim
