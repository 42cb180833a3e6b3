#pragma once
// The hook through which behaviour is attached to the simulated hardware.
//
// A loaded host holds plain storage (see memory.h and router.h). Where real
// hardware has behaviour - an EEPROM behind the DFT capability's pin register,
// mailboxes and a memory window in the link-controller capability, an NVM
// mailbox, a bridge IECS device - a model object is attached:
//
//   - RegisterModel: claims some double words of one router's configuration
//     spaces. Router::read/write ask the attached models (the most recently
//     attached first) before falling back to the plain store.
//   - IecsDeviceModel: answers IECS transfers of one (bus, device) of a router.
//
// Plain storage comes from the host file (router_loader.cpp); attachModels
// runs once a host has been loaded (its registry is derived afterwards) and
// hands each router to every model's attach function, which attaches what
// the hardware has where the host file declares the capability
// (capability_chain.h). A new model adds its attach function and its fault
// operations there. (A configuration bridge brings a router of its own from
// the host file, so it is attached as the file is read: see readBridges.)
//
// A model keeps references to its SimHost and Router: both outlive every model
// attached to them. It reaches the virtual clock through SimHost (so a busy bit
// can clear once simulated time has passed) and the raw store through
// Router::peek/poke.
#include <cstdint>
#include <string_view>

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

/// An I2C device at one address of a router: a plain file of 256 byte
/// registers. The first byte written sets the register pointer, further
/// bytes are stored there (the pointer moving on); a read returns bytes from
/// the pointer upward. The pointer stays where the last transfer left it and
/// wraps at the end of the file, as in common register-file devices.
class I2cRegisterFile {
 public:
  /// One transaction: writeLength bytes written, then readLength bytes read.
  void transfer(const uint8_t* writeData, uint32_t writeLength, uint8_t* readData, uint32_t readLength);
  ByteMemory& bytes() { return bytes_; }
  const ByteMemory& bytes() const { return bytes_; }

 private:
  ByteMemory bytes_{256, 0};
  uint8_t pointer_ = 0;
};

/// Attaches every model to each router of a freshly loaded host (loadHost
/// calls it).
void attachModels(SimHost& host);
/// Attaches every model to one router (a far router behind a configuration
/// bridge, which the host's router list does not hold, gets them this way).
void attachRouterModels(SimHost& host, Router& router);
/// True when name is a fault operation that an access or a model checks.
bool isKnownFaultOp(std::string_view name);

}  // namespace tbt::sim
