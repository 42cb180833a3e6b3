#include "sim/sim_host.h"

#include <nlohmann/json.hpp>

#include "sim/json_document.h"

namespace tbt::sim {

namespace {
// The key of the per-address access counts: the route, and the
// configuration address with the controller in the bits above it.
std::pair<uint64_t, uint64_t> accessKey(size_t controller, uint64_t route, uint32_t port, uint32_t space,
                                        uint32_t index) {
  return {route, uint64_t{controller} << 56 | configAddress(port, space, index)};
}
}  // namespace

bool faultMatches(const Fault& f, const FaultQuery& q) {
  auto agrees = [](const std::optional<uint32_t>& want, const std::optional<uint32_t>& have) {
    return !want || (have && *want == *have);
  };
  return f.op == q.op && (!f.controller || *f.controller == q.controller) && (!f.route || *f.route == q.route) &&
         agrees(f.port, q.port) && agrees(f.space, q.space) && agrees(f.index, q.index) && agrees(f.bus, q.bus) &&
         agrees(f.device, q.device) && agrees(f.address, q.address);
}

SimHost::SimHost() {
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

template <typename Answer>
Status SimHost::access(const FaultQuery& query, bool wellFormed, Answer&& answer, Router* target) {
  elapsed_ += latency_;
  if (std::optional<Status> injected = checkFault(query)) return *injected;
  if (!wellFormed) return status::kBadArgument;
  Router* r = target ? target : router(query.controller, query.route);
  // Nothing answers at a route that leads to no router: the controller's
  // request goes unanswered and times out, as on an unplugged link.
  return r ? answer(*r) : status::kTimeout;
}

Status SimHost::configAccess(bool write, size_t controller, uint64_t route, uint32_t port, uint32_t space,
                             uint32_t index, uint32_t& value, Router* far) {
  ++(write ? configWrites_ : configReads_);
  if (countAddresses_) {
    AccessCounts& counts = accessesOf_[accessKey(controller, route, port, space, index)];
    ++(write ? counts.writes : counts.reads);
  }
  const FaultQuery query{write ? kFaultConfigWrite : kFaultConfigRead, controller, route, port, space, index};
  const Status st = access(
      query, space < kSpaceCount && port <= kMaxAdapter,
      [&](Router& r) { return write ? r.write(port, space, index, value) : r.read(port, space, index, value); },
      far);
  if (logAccesses_)
    accessLog_.push_back({write ? AccessKind::ConfigWrite : AccessKind::ConfigRead, controller, route, port, space,
                          index, 0, 0, 0, 0, value, 4, st, far != nullptr});
  return st;
}

Status SimHost::bridgedConfigAccess(Router& far, bool write, uint32_t port, uint32_t space, uint32_t index,
                                    uint32_t& value) {
  return configAccess(write, far.controllerIndex(), far.route(), port, space, index, value, &far);
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
  ++i2cAccesses_;
  const FaultQuery query{.op = kFaultI2c, .controller = controller, .route = route, .address = address};
  const Status st = access(query, true, [&](Router& r) {
    I2cRegisterFile* device = r.i2cDevice(address);
    if (!device) return status::kNotResponding;
    device->transfer(writeData, writeLength, readData, readLength);
    return status::kSuccess;
  });
  if (logAccesses_)
    accessLog_.push_back({AccessKind::I2c, controller, route, 0, 0, 0, 0, 0, writeLength ? writeData[0] : 0u, address,
                          0, readLength, st});
  return st;
}

Status SimHost::iecsAccess(bool write, size_t controller, uint64_t route, uint32_t bus, uint32_t device,
                           uint32_t offset, uint8_t* readData, const uint8_t* writeData, uint32_t length) {
  ++iecsAccesses_;
  const FaultQuery query{.op = write ? kFaultIecsWrite : kFaultIecsRead, .controller = controller, .route = route,
                         .index = offset, .bus = bus, .device = device};
  const Status st = access(query, true, [&](Router& r) {
    IecsDeviceModel* dev = r.iecsDevice(bus, device);
    if (!dev) return status::kNotResponding;
    return write ? dev->write(offset, writeData, length) : dev->read(offset, readData, length);
  });
  if (logAccesses_)
    accessLog_.push_back({write ? AccessKind::IecsWrite : AccessKind::IecsRead, controller, route, 0, 0, 0, bus,
                          device, offset, 0, 0, length, st});
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
  auto it = accessesOf_.find(accessKey(controller, route, port, space, index));
  return it == accessesOf_.end() ? 0 : it->second.reads;
}

uint64_t SimHost::configWritesOf(uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                                 size_t controller) const {
  auto it = accessesOf_.find(accessKey(controller, route, port, space, index));
  return it == accessesOf_.end() ? 0 : it->second.writes;
}

void SimHost::resetCounters() {
  configReads_ = configWrites_ = i2cAccesses_ = iecsAccesses_ = 0;
  accessesOf_.clear();
  accessLog_.clear();
}

std::optional<Status> SimHost::matchFault(const FaultQuery& query) {
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

nlohmann::json SimHost::document() const {
  nlohmann::json doc = nlohmann::json::object();
  if (!documentText_.empty()) parseJsonDocument(documentText_, doc, false);
  return doc;
}

}  // namespace tbt::sim
