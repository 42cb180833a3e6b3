#pragma once
// A switch given a device-space chain of DFT and link-controller capabilities
// and the EEPROM and NVM images behind them, in a new host or one being edited:
//   ScopedHost host(SwitchHostBuilder().identity(0x15678086).dft(0x40, 0x100)
//                       .linkController(0x50, 0x10, 200).eeprom(2048, {{"0x100", "c0ffee"}}).json());
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "support/scoped_host.h"

namespace tbt::test {

class SwitchHostBuilder {
 public:
  /// The host router and a switch at route hanging from its adapter 1.
  explicit SwitchHostBuilder(uint64_t route = 0x1) : SwitchHostBuilder(hostWithRouters({0x0, route}), route) {}
  /// The router at route of host, its device space as the document has it.
  SwitchHostBuilder(nlohmann::json host, uint64_t route) : host_(std::move(host)), route_(route) {
    for (const auto& [index, value] : router()["device-space"].items())
      dwords_[std::stoul(index, nullptr, 0)] = std::stoul(value.get<std::string>(), nullptr, 0);
  }

  /// Sets a device-space double word.
  SwitchHostBuilder& set(uint32_t index, uint32_t value) {
    dwords_[index] = value;
    return *this;
  }
  /// Device-space double word 0: device ID << 16 | vendor ID.
  SwitchHostBuilder& identity(uint32_t word) { return set(0, word); }
  /// A DFT capability (16 double words) at index whose double word 12 holds dromOffset.
  SwitchHostBuilder& dft(uint8_t index, uint32_t dromOffset) {
    return set(index, 0x10010500).set(index + 12u, dromOffset).chain(index, index);
  }
  /// A link-controller capability at index with a long header (next pointer in
  /// its second double word); its double word 2 gives the mailbox block's
  /// offset and the capability's length.
  SwitchHostBuilder& linkController(uint8_t index, uint32_t mailboxOffset, uint32_t length) {
    return set(index, 0x00060500).set(index + 2u, length << 16 | mailboxOffset << 8).chain(index, index + 1u);
  }
  /// The switch's EEPROM (size bytes of 0xff) and NVM image: hex strings by
  /// address, as the host file writes them ({{"0x100", "c0ffee"}}).
  SwitchHostBuilder& eeprom(uint32_t size, nlohmann::json bytes = nlohmann::json::object()) {
    router()["eeprom"] = {{"size", size}, {"bytes", std::move(bytes)}};
    return *this;
  }
  SwitchHostBuilder& nvm(nlohmann::json bytes) {
    router()["nvm"] = {{"bytes", std::move(bytes)}};
    return *this;
  }

  /// The host document, capabilities chained in the order they were added.
  nlohmann::json document() {
    for (auto [index, value] : dwords_) router()["device-space"][std::to_string(index)] = hex(value);
    return host_;
  }
  std::string json() { return document().dump(); }

 private:
  // Points the chain's last next pointer (at first DW1 bits 7..0) at index.
  SwitchHostBuilder& chain(uint32_t index, uint32_t nextPointerDword) {
    set(nextPointer_, (dwords_[nextPointer_] & ~0xFFu) | index);
    nextPointer_ = nextPointerDword;
    return *this;
  }
  nlohmann::json& router() { return routerOf(host_, route_); }

  nlohmann::json host_;
  uint64_t route_;
  std::map<uint32_t, uint32_t> dwords_;
  uint32_t nextPointer_ = 1;
};

}  // namespace tbt::test
