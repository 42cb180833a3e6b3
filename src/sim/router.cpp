#include "sim/router.h"

#include <algorithm>
#include <tuple>

#include "sim/register_fields.h"

namespace tbt::sim {

unsigned Router::depth() const {
  unsigned d = 0;
  for (uint64_t r = route_; r != 0; r >>= 8) ++d;
  return d;
}

uint32_t Router::upstreamPort() const {
  return kUpstreamPortField.get(peek(0, kDeviceSpace, kRouterConfigDword));
}

uint64_t Router::parentRoute() const {
  unsigned d = depth();
  return d == 0 ? route_ : route_ & ~(uint64_t{0xff} << (8 * (d - 1)));
}

uint32_t Router::parentAdapter() const {
  unsigned d = depth();
  return d == 0 ? 0 : static_cast<uint32_t>((route_ >> (8 * (d - 1))) & 0xff);
}

std::optional<uint64_t> Router::childRoute(uint32_t port) const {
  unsigned d = depth();
  if (d >= 8 || port > 0xff) return std::nullopt;
  return route_ | (uint64_t{port} << (8 * d));
}

uint32_t Router::adapterType(uint32_t port) const {
  return kAdapterTypeField.get(peek(port, kPortSpace, kAdapterTypeDword));
}

bool Router::hasPort(uint32_t port) const { return std::binary_search(ports_.begin(), ports_.end(), port); }

void Router::addPort(uint32_t port) {
  auto it = std::lower_bound(ports_.begin(), ports_.end(), port);
  if (it == ports_.end() || *it != port) ports_.insert(it, port);
}

const RegistryOverrides* Router::portRegistry(uint32_t port) const {
  auto it = portRegistry_.find(port);
  return it == portRegistry_.end() ? nullptr : &it->second;
}

const DwordStore* Router::storeOf(uint32_t port, uint32_t space) const {
  auto it = spaces_.find(spaceKey(port, space));
  return it == spaces_.end() ? nullptr : &it->second;
}

uint32_t Router::peek(uint32_t port, uint32_t space, uint32_t index) const {
  const DwordStore* s = storeOf(port, space);
  return s ? s->read(index) : 0;
}

void Router::poke(uint32_t port, uint32_t space, uint32_t index, uint32_t value) {
  store(port, space).write(index, value);
}

bool Router::isSet(uint32_t port, uint32_t space, uint32_t index) const {
  const DwordStore* s = storeOf(port, space);
  return s && s->isSet(index);
}

RegisterModel* Router::modelAt(uint32_t port, uint32_t space, uint32_t index) const {
  for (auto it = models_.rbegin(); it != models_.rend(); ++it)
    if ((*it)->handles(port, space, index)) return it->get();
  return nullptr;
}

namespace {
bool before(const ReadFailure& a, const ReadFailure& b) {
  return std::tie(a.port, a.space, a.indexes.first) < std::tie(b.port, b.space, b.indexes.first);
}
}  // namespace

std::optional<size_t> Router::setReadFailures(std::vector<ReadFailure> failures) {
  std::vector<size_t> order(failures.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return before(failures[a], failures[b]); });
  for (size_t i = 1; i < order.size(); ++i) {
    const ReadFailure& a = failures[order[i - 1]];
    const ReadFailure& b = failures[order[i]];
    if (a.port == b.port && a.space == b.space && b.indexes.first <= a.indexes.last)
      return std::max(order[i - 1], order[i]);
  }
  std::sort(failures.begin(), failures.end(), before);
  readFailures_ = std::move(failures);
  return std::nullopt;
}

std::optional<Status> Router::readFailure(uint32_t port, uint32_t space, uint32_t index) const {
  const ReadFailure key{port, space, {index, index}, 0};
  auto it = std::upper_bound(readFailures_.begin(), readFailures_.end(), key, before);
  if (it == readFailures_.begin()) return std::nullopt;
  --it;
  if (it->port != port || it->space != space || index > it->indexes.last) return std::nullopt;
  return it->status;
}

std::vector<IndexRange> Router::listedIndexes(uint32_t port, uint32_t space) const {
  std::vector<IndexRange> out;
  forEachStored(port, space, [&](uint32_t index, uint32_t) {
    if (!out.empty() && out.back().last + 1 == index) out.back().last = index;
    else out.push_back({index, index});
  });
  for (const ReadFailure& f : readFailures_)
    if (f.port == port && f.space == space) out.push_back(f.indexes);
  if (port == 0 && space == kDeviceSpace && !models_.empty())
    for (uint32_t index = 0; index < kConfigIndexCount; ++index)
      if (modelAt(port, space, index)) out.push_back({index, index});
  joinRanges(out);
  return out;
}

Status Router::read(uint32_t port, uint32_t space, uint32_t index, uint32_t& value) {
  if (!readFailures_.empty())
    if (std::optional<Status> failed = readFailure(port, space, index)) return *failed;
  if (RegisterModel* model = modelAt(port, space, index)) return model->read(port, space, index, value);
  if (unlistedStatus_ && !isSet(port, space, index)) return *unlistedStatus_;
  value = peek(port, space, index);
  return status::kSuccess;
}

Status Router::write(uint32_t port, uint32_t space, uint32_t index, uint32_t value) {
  if (RegisterModel* model = modelAt(port, space, index)) return model->write(port, space, index, value);
  poke(port, space, index, value);
  written_.insert(configAddress(port, space, index));
  return status::kSuccess;
}

void Router::attachModel(std::shared_ptr<RegisterModel> model) { models_.push_back(std::move(model)); }

IecsDeviceModel* Router::iecsDevice(uint32_t bus, uint32_t device) const {
  auto it = iecs_.find({bus, device});
  return it == iecs_.end() ? nullptr : it->second.device.get();
}

IecsRegisterFile* Router::iecsRegisterFile(uint32_t bus, uint32_t device) const {
  auto it = iecs_.find({bus, device});
  return it == iecs_.end() ? nullptr : it->second.file.get();
}

void Router::attachIecsDevice(uint32_t bus, uint32_t device, std::shared_ptr<IecsDeviceModel> model) {
  iecs_[{bus, device}].device = std::move(model);
}

IecsRegisterFile& Router::ensureIecsRegisterFile(uint32_t bus, uint32_t device) {
  Iecs& slot = iecs_[{bus, device}];
  if (!slot.file) {
    slot.file = std::make_shared<IecsRegisterFile>();
    if (!slot.device) slot.device = slot.file;
  }
  return *slot.file;
}

I2cRegisterFile* Router::i2cDevice(uint32_t address) {
  auto it = i2c_.find(address);
  return it == i2c_.end() ? nullptr : &it->second;
}

}  // namespace tbt::sim
