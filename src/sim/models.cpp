#include "sim/models.h"

#include <algorithm>
#include <map>
#include <set>

#include "sim/faults.h"
#include "sim/sim_host.h"

namespace tbt::sim {

Status IecsRegisterFile::read(uint32_t offset, uint8_t* data, uint32_t length) {
  for (uint32_t i = 0; i < length; ++i) data[i] = bytes_.read(uint64_t{offset} + i);
  return status::kSuccess;
}

Status IecsRegisterFile::write(uint32_t offset, const uint8_t* data, uint32_t length) {
  return bytes_.write(offset, std::span<const uint8_t>(data, length)) ? status::kSuccess : status::kBadArgument;
}

Status I2cRegisterFile::transfer(const uint8_t* writeData, uint32_t writeLength, uint8_t* readData,
                                 uint32_t readLength) {
  // The register pointer wraps at the end of the file, as small I2C devices do.
  const uint64_t span = bytes_.size() ? bytes_.size() : 256;
  if (writeLength > 0) {
    pointer_ = static_cast<uint32_t>(writeData[0] % span);
    for (uint32_t i = 1; i < writeLength; ++i) {
      bytes_.write(pointer_, writeData[i]);
      pointer_ = static_cast<uint32_t>((pointer_ + 1) % span);
    }
  }
  for (uint32_t i = 0; i < readLength; ++i) {
    readData[i] = bytes_.read(pointer_);
    pointer_ = static_cast<uint32_t>((pointer_ + 1) % span);
  }
  return status::kSuccess;
}

namespace {
// The factory tables are filled by static registration objects before main
// and only read afterwards; they hold no simulation state.
std::map<std::string, RouterModelFactory>& routerFactories() {
  static std::map<std::string, RouterModelFactory> table;
  return table;
}
std::map<std::string, HostModelFactory>& hostFactories() {
  static std::map<std::string, HostModelFactory> table;
  return table;
}
std::set<std::string, std::less<>>& extraFaultOps() {
  static std::set<std::string, std::less<>> ops;
  return ops;
}
}  // namespace

void registerRouterModelFactory(std::string name, RouterModelFactory factory) {
  routerFactories()[std::move(name)] = std::move(factory);
}

void registerHostModelFactory(std::string name, HostModelFactory factory) {
  hostFactories()[std::move(name)] = std::move(factory);
}

void registerFaultOp(std::string name) { extraFaultOps().insert(std::move(name)); }

void runModelFactories(SimHost& host) {
  for (auto& [name, factory] : hostFactories()) factory(host);
  for (Router* router : host.routers())
    for (auto& [name, factory] : routerFactories()) factory(host, *router);
}

bool isKnownFaultOp(const std::string& name) {
  static const std::string_view core[] = {kFaultConfigRead, kFaultConfigWrite, kFaultI2c, kFaultIecsRead,
                                          kFaultIecsWrite};
  if (std::find(std::begin(core), std::end(core), name) != std::end(core)) return true;
  return extraFaultOps().count(name) != 0;
}

}  // namespace tbt::sim
