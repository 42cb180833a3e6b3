#pragma once
// One simulated router: its configuration spaces (sparse stores per adapter),
// the memories behind it (EEPROM, NVM, LC memory), its IECS and I2C devices,
// and the models attached to it. Configuration spaces: 0 path, 1 port,
// 2 device (adapter 0 only), 3 counter.
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/device_interface.h"
#include "platform/property.h"
#include "platform/status.h"
#include "sim/memory.h"
#include "sim/models.h"

namespace tbt::sim {

inline constexpr uint32_t kPathSpace = 0;
inline constexpr uint32_t kPortSpace = 1;
inline constexpr uint32_t kDeviceSpace = 2;
inline constexpr uint32_t kCounterSpace = 3;
inline constexpr uint32_t kSpaceCount = 4;
/// Adapter numbers are six bits wide in every router.
inline constexpr uint32_t kMaxAdapter = 63;

/// A configuration double word's address as one number: adapter in bits
/// 55..40, space in bits 39..32, double-word index below (adapter numbers are
/// six bits and spaces two bits wide in every router, so nothing collides).
constexpr uint64_t configAddress(uint32_t port, uint32_t space, uint32_t index) {
  return uint64_t{port & 0xffff} << 40 | uint64_t{space & 0xff} << 32 | index;
}

/// Registry properties a host file gives for an entry: set over the derived
/// ones, and the keys it leaves out.
struct RegistryOverrides {
  PropertyDict set;
  std::vector<std::string> removed;
};

/// Double words of one space of one adapter whose reads fail with a status
/// ("read-failures"), as on a host that cannot read them.
struct ReadFailure {
  uint32_t port = 0;
  uint32_t space = 0;
  IndexRange indexes;
  Status status = 0;
};

class Router {
 public:
  /// A router at route on controller controllerIndex.
  Router(size_t controllerIndex, uint64_t route) : controller_(controllerIndex), route_(route) {}
  Router(const Router&) = delete;
  Router& operator=(const Router&) = delete;

  size_t controllerIndex() const { return controller_; }
  uint64_t route() const { return route_; }
  /// Number of hops from the host router (the route's non-zero bytes).
  unsigned depth() const;
  /// The router's upstream adapter (device-space DW1 "Upstream Port"); 0 for a host router.
  uint32_t upstreamPort() const;
  /// The route of the router this one hangs from (a host router: its own route).
  uint64_t parentRoute() const;
  /// The parent's adapter that this router hangs from (0 for a host router).
  uint32_t parentAdapter() const;
  /// The route of a router hanging from adapter port of this one, or nullopt
  /// when the route string has no room for another hop.
  std::optional<uint64_t> childRoute(uint32_t port) const;
  /// An adapter's type as stored (port-space DW2 bits 23..0), models bypassed.
  uint32_t adapterType(uint32_t port) const;
  /// Adapters described by the host file, ascending (adapter 0 is implicit).
  const std::vector<uint32_t>& ports() const { return ports_; }
  bool hasPort(uint32_t port) const;
  /// Adds an adapter to the described ones (the loader does this).
  void addPort(uint32_t port);
  /// True when the adapter leads to another host ("xdomain").
  bool leadsToHost(uint32_t port) const { return hostLinks_.count(port) != 0; }
  void setLeadsToHost(uint32_t port) { hostLinks_.insert(port); }
  /// The registry properties the host file gives for the router's switch entry.
  RegistryOverrides& registry() { return registry_; }
  const RegistryOverrides& registry() const { return registry_; }
  /// Those it gives for an adapter's port entry (null: none given).
  RegistryOverrides& portRegistry(uint32_t port) { return portRegistry_[port]; }
  const RegistryOverrides* portRegistry(uint32_t port) const;

  /// The stored double word, models bypassed (0 when never written).
  uint32_t peek(uint32_t port, uint32_t space, uint32_t index) const;
  /// Stores a double word, models bypassed.
  void poke(uint32_t port, uint32_t space, uint32_t index, uint32_t value);
  /// True when the double word was stored (by the host file or since).
  bool isSet(uint32_t port, uint32_t space, uint32_t index) const;
  /// Calls visit(index, value) for every stored double word of (port, space),
  /// by ascending index.
  template <typename Visit>
  void forEachStored(uint32_t port, uint32_t space, Visit&& visit) const {
    if (const DwordStore* store = storeOf(port, space))
      for (auto [index, value] : store->words()) visit(index, value);
  }
  /// The stored double words of (port, space), created empty when absent
  /// (the loader fills it at once).
  DwordStore& store(uint32_t port, uint32_t space) { return spaces_[spaceKey(port, space)]; }
  /// Those of (port, space), or null when none was ever stored.
  const DwordStore* storeOf(uint32_t port, uint32_t space) const;

  /// The failing ranges, ascending by (port, space, first index); none overlap.
  const std::vector<ReadFailure>& readFailures() const { return readFailures_; }
  /// Replaces the failing ranges; when two of one space overlap, nothing is
  /// replaced and the position in failures of the later of them is returned.
  std::optional<size_t> setReadFailures(std::vector<ReadFailure> failures);
  /// The status a read of the double word fails with by readFailures, if any.
  std::optional<Status> readFailure(uint32_t port, uint32_t space, uint32_t index) const;
  /// The indexes of (port, space) that may read otherwise than a double word
  /// never stored: the stored ones, the failing ranges and, in the device
  /// space (where every model sits), those a model handles. Ascending, joined.
  std::vector<IndexRange> listedIndexes(uint32_t port, uint32_t space) const;

  /// A configuration read as the hardware answers it: a failing range fails
  /// it, else the first attached model that handles the address, else the store.
  Status read(uint32_t port, uint32_t space, uint32_t index, uint32_t& value);
  /// A configuration write as the hardware takes it (models first, then the store).
  Status write(uint32_t port, uint32_t space, uint32_t index, uint32_t value);
  /// The configAddress of every double word that a write (not a poke) stored.
  const std::set<uint64_t>& writtenRegisters() const { return written_; }
  /// Attaches a register model; later attachments are asked first.
  void attachModel(std::shared_ptr<RegisterModel> model);
  /// The attached model of type Model, or null.
  template <typename Model>
  Model* modelOf() const {
    for (const auto& model : models_)
      if (auto* found = dynamic_cast<Model*>(model.get())) return found;
    return nullptr;
  }

  /// The serial EEPROM's contents when the host file describes one ("eeprom").
  std::optional<ByteMemory>& eeprom() { return eeprom_; }
  const std::optional<ByteMemory>& eeprom() const { return eeprom_; }
  /// The NVM image when described ("nvm").
  std::optional<ByteMemory>& nvm() { return nvm_; }
  const std::optional<ByteMemory>& nvm() const { return nvm_; }
  /// The status a read of a double word that was never stored fails with
  /// ("unlisted-status"), as on a host that only lets some registers be read;
  /// nullopt (the default): such a double word reads 0.
  const std::optional<Status>& unlistedStatus() const { return unlistedStatus_; }
  void setUnlistedStatus(std::optional<Status> s) { unlistedStatus_ = s; }

  /// Link-controller memory by double-word address ("lc-memory").
  DwordStore& lcMemory() { return lcMemory_; }
  const DwordStore& lcMemory() const { return lcMemory_; }

  /// The IECS device at (bus, device), or null when none answers there.
  IecsDeviceModel* iecsDevice(uint32_t bus, uint32_t device) const;
  /// The plain register file at (bus, device) that the host file described, or null.
  IecsRegisterFile* iecsRegisterFile(uint32_t bus, uint32_t device) const;
  /// Attaches (or replaces) the IECS device at (bus, device).
  void attachIecsDevice(uint32_t bus, uint32_t device, std::shared_ptr<IecsDeviceModel> model);
  /// The plain register file at (bus, device), created when absent.
  IecsRegisterFile& ensureIecsRegisterFile(uint32_t bus, uint32_t device);

  /// The I2C device at address, or null when none answers there.
  I2cRegisterFile* i2cDevice(uint32_t address);
  /// The I2C device at address, created when absent.
  I2cRegisterFile& ensureI2cDevice(uint32_t address) { return i2c_[address]; }

 private:
  /// The most recently attached model that handles the address, or null.
  RegisterModel* modelAt(uint32_t port, uint32_t space, uint32_t index) const;

  size_t controller_;
  uint64_t route_;
  std::vector<uint32_t> ports_;
  std::set<uint32_t> hostLinks_;
  RegistryOverrides registry_;
  std::map<uint32_t, RegistryOverrides> portRegistry_;
  static uint32_t spaceKey(uint32_t port, uint32_t space) { return (port & 0xffff) << 8 | (space & 0xff); }
  std::map<uint32_t, DwordStore> spaces_;  // by spaceKey
  std::set<uint64_t> written_;  // by configAddress
  std::vector<std::shared_ptr<RegisterModel>> models_;
  std::optional<ByteMemory> eeprom_;
  std::optional<ByteMemory> nvm_;
  DwordStore lcMemory_;
  std::optional<Status> unlistedStatus_;
  std::vector<ReadFailure> readFailures_;
  struct Iecs {
    std::shared_ptr<IecsDeviceModel> device;
    std::shared_ptr<IecsRegisterFile> file;
  };
  std::map<std::pair<uint32_t, uint32_t>, Iecs> iecs_;
  std::map<uint32_t, I2cRegisterFile> i2c_;
};

}  // namespace tbt::sim
