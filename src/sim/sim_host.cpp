#include "sim/sim_host.h"

#include <nlohmann/json.hpp>

namespace tbt::sim {

namespace {
// Adapter numbers are six bits wide in every router.
constexpr uint32_t kMaxAdapter = 63;
}  // namespace

bool faultMatches(const Fault& f, const FaultQuery& q) {
  auto agrees = [](const std::optional<uint32_t>& want, const std::optional<uint32_t>& have) {
    return !want || (have && *want == *have);
  };
  return f.op == q.op && (!f.controller || *f.controller == q.controller) && (!f.route || *f.route == q.route) &&
         agrees(f.port, q.port) && agrees(f.space, q.space) && agrees(f.index, q.index) && agrees(f.bus, q.bus) &&
         agrees(f.device, q.device) && agrees(f.address, q.address);
}

SimHost::SimHost() : document_(std::make_unique<nlohmann::json>(nlohmann::json::object())) {
  installStandardShellCommands();
}

SimHost::~SimHost() = default;

Router* SimHost::router(size_t controller, uint64_t route) const {
  if (controller >= controllers_.size()) return nullptr;
  const auto& routers = controllers_[controller].routers;
  auto it = routers.find(route);
  return it == routers.end() ? nullptr : it->second.get();
}

std::vector<Router*> SimHost::routers() const {
  std::vector<Router*> out;
  for (const auto& c : controllers_)
    for (const auto& [route, r] : c.routers) out.push_back(r.get());
  return out;
}

uint32_t SimHost::peek(size_t controller, uint64_t route, uint32_t port, uint32_t space, uint32_t index) const {
  const Router* r = router(controller, route);
  return r ? r->peek(port, space, index) : 0;
}

bool SimHost::poke(size_t controller, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                   uint32_t value) {
  Router* r = router(controller, route);
  if (r) r->poke(port, space, index, value);
  return r != nullptr;
}

Status SimHost::reach(size_t controller, uint64_t route, Router*& out) const {
  out = router(controller, route);
  // Nothing answers at a route that leads to no router: the controller's
  // request goes unanswered and times out, as on an unplugged link.
  return out ? status::kSuccess : status::kTimeout;
}

void SimHost::record(const AccessRecord& r) {
  if (logAccesses_) accessLog_.push_back(r);
}

Status SimHost::configAccess(bool write, size_t controller, uint64_t route, uint32_t port, uint32_t space,
                             uint32_t index, uint32_t& value) {
  elapsed_ += latency_;
  AddressKey key{controller, route, port, space, index};
  ++(write ? configWrites_ : configReads_);
  ++(write ? writesOf_ : readsOf_)[key];
  FaultQuery q{write ? kFaultConfigWrite : kFaultConfigRead, controller, route, port, space, index, {}, {}, {}};
  Status st;
  Router* r = nullptr;
  if (auto injected = checkFault(q)) {
    st = *injected;
  } else if (space >= kSpaceCount || port > kMaxAdapter) {
    st = status::kBadArgument;
  } else if ((st = reach(controller, route, r)) == status::kSuccess) {
    st = write ? r->write(port, space, index, value) : r->read(port, space, index, value);
  }
  record({write ? AccessKind::ConfigWrite : AccessKind::ConfigRead, controller, route, port, space, index, 0, 0, 0,
          0, value, 4, st});
  return st;
}

Status SimHost::configRead(size_t controller, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                           uint32_t& value) {
  uint32_t v = 0;
  Status st = configAccess(false, controller, route, port, space, index, v);
  if (st == status::kSuccess) value = v;
  return st;
}

Status SimHost::configWrite(size_t controller, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                            uint32_t value) {
  return configAccess(true, controller, route, port, space, index, value);
}

Status SimHost::i2cTransaction(size_t controller, uint64_t route, uint32_t address, const uint8_t* writeData,
                               uint32_t writeLength, uint8_t* readData, uint32_t readLength) {
  elapsed_ += latency_;
  ++i2cAccesses_;
  FaultQuery q{kFaultI2c, controller, route, {}, {}, {}, {}, {}, address};
  Status st;
  Router* r = nullptr;
  if (auto injected = checkFault(q)) {
    st = *injected;
  } else if ((st = reach(controller, route, r)) == status::kSuccess) {
    I2cDeviceModel* dev = r->i2cDevice(address);
    st = dev ? dev->transfer(writeData, writeLength, readData, readLength) : status::kNotResponding;
  }
  uint32_t offset = writeLength ? writeData[0] : 0;
  record({AccessKind::I2c, controller, route, 0, 0, 0, 0, 0, offset, address, 0, readLength, st});
  return st;
}

Status SimHost::iecsAccess(bool write, size_t controller, uint64_t route, uint32_t bus, uint32_t device,
                           uint32_t offset, uint8_t* readData, const uint8_t* writeData, uint32_t length) {
  elapsed_ += latency_;
  ++iecsAccesses_;
  FaultQuery q{write ? kFaultIecsWrite : kFaultIecsRead, controller, route, {}, {}, offset, bus, device, {}};
  Status st;
  Router* r = nullptr;
  if (auto injected = checkFault(q)) {
    st = *injected;
  } else if ((st = reach(controller, route, r)) == status::kSuccess) {
    IecsDeviceModel* dev = r->iecsDevice(bus, device);
    if (!dev)
      st = status::kNotResponding;
    else
      st = write ? dev->write(offset, writeData, length) : dev->read(offset, readData, length);
  }
  record({write ? AccessKind::IecsWrite : AccessKind::IecsRead, controller, route, 0, 0, 0, bus, device, offset, 0, 0,
          length, st});
  return st;
}

Status SimHost::iecsRead(size_t controller, uint64_t route, uint32_t bus, uint32_t device, uint32_t offset,
                         uint8_t* data, uint32_t length) {
  return iecsAccess(false, controller, route, bus, device, offset, data, nullptr, length);
}

Status SimHost::iecsWrite(size_t controller, uint64_t route, uint32_t bus, uint32_t device, uint32_t offset,
                          const uint8_t* data, uint32_t length) {
  return iecsAccess(true, controller, route, bus, device, offset, nullptr, data, length);
}

uint64_t SimHost::configReadsOf(uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                                size_t controller) const {
  auto it = readsOf_.find({controller, route, port, space, index});
  return it == readsOf_.end() ? 0 : it->second;
}

uint64_t SimHost::configWritesOf(uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                                 size_t controller) const {
  auto it = writesOf_.find({controller, route, port, space, index});
  return it == writesOf_.end() ? 0 : it->second;
}

void SimHost::resetCounters() {
  configReads_ = configWrites_ = i2cAccesses_ = iecsAccesses_ = 0;
  readsOf_.clear();
  writesOf_.clear();
  accessLog_.clear();
}

std::optional<Status> SimHost::checkFault(const FaultQuery& query) {
  std::optional<Status> result;
  for (Fault& f : faults_) {
    if (!faultMatches(f, query)) continue;
    ++f.matched;
    bool armed = f.matched > f.skip && (f.times < 0 || f.fired < static_cast<uint64_t>(f.times));
    if (armed && !result) {
      ++f.fired;
      result = f.status;
    }
  }
  return result;
}

const nlohmann::json& SimHost::document() const { return *document_; }

void SimHost::setDocument(const nlohmann::json& document) { *document_ = document; }

}  // namespace tbt::sim
