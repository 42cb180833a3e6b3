#pragma once
// A host with one switch below the host router whose device space carries a
// chain of DFT and link-controller capabilities, with the EEPROM and NVM
// images behind them, for the EEPROM and NVM tests.
//
//   SwitchHostBuilder b;
//   b.identity(0x15678086).dft(0x40, 0x100).linkController(0x50, 0x10, 200)
//    .eeprom(2048, {{0x100, "c0ffee"}}).nvm({{0, "0011223344"}});
//   ScopedHost host(b.json());
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/scoped_host.h"

namespace tbt::test {

class SwitchHostBuilder {
 public:
  /// The host router and a switch at route (upstream adapter 1).
  explicit SwitchHostBuilder(uint64_t route = 0x1) : route_(route), host_(hostWithRouters({0x0, route})) {}

  uint64_t route() const { return route_; }

  /// Device-space double word 0: device ID << 16 | vendor ID.
  SwitchHostBuilder& identity(uint32_t word) {
    dwords_[0] = word;
    return *this;
  }
  /// A DFT capability (16 double words) at index whose double word 12 holds dromOffset.
  SwitchHostBuilder& dft(uint8_t index, uint32_t dromOffset) {
    chain_.push_back({index, false});
    dwords_[index] = 0x10010500;
    dwords_[index + 12u] = dromOffset;
    return *this;
  }
  /// A link-controller capability at index with a long header; its double
  /// word 2 gives the mailbox block's offset and the capability's length.
  SwitchHostBuilder& linkController(uint8_t index, uint32_t mailboxOffset, uint32_t length) {
    chain_.push_back({index, true});
    dwords_[index] = 0x00060500;
    dwords_[index + 2u] = length << 16 | mailboxOffset << 8;
    return *this;
  }
  /// The switch's EEPROM: size bytes of 0xff with hex strings at addresses.
  SwitchHostBuilder& eeprom(uint32_t size, const std::map<uint32_t, std::string>& bytes = {}) {
    router()["eeprom"] = {{"size", size}, {"bytes", byteMap(bytes)}};
    return *this;
  }
  /// The switch's NVM image: hex strings at addresses.
  SwitchHostBuilder& nvm(const std::map<uint32_t, std::string>& bytes) {
    router()["nvm"] = {{"bytes", byteMap(bytes)}};
    return *this;
  }

  /// The host file, capabilities chained in the order they were added.
  std::string json() {
    std::map<uint32_t, uint32_t> dwords = dwords_;
    uint32_t& first = dwords[1];
    first = (first & ~0xFFu) | (chain_.empty() ? 0 : chain_.front().index);
    for (size_t i = 0; i < chain_.size(); ++i) {
      const uint32_t next = i + 1 < chain_.size() ? chain_[i + 1].index : 0;
      // A long header keeps its next pointer in its second double word.
      dwords[chain_[i].index + (chain_[i].longHeader ? 1u : 0u)] |= next;
    }
    nlohmann::json& space = router()["device-space"];
    for (auto [index, value] : dwords) space[std::to_string(index)] = hex(value);
    return host_.dump();
  }

 private:
  struct Link {
    uint32_t index;
    bool longHeader;
  };

  nlohmann::json& router() { return routerOf(host_, route_); }

  static nlohmann::json byteMap(const std::map<uint32_t, std::string>& bytes) {
    nlohmann::json out = nlohmann::json::object();
    for (const auto& [address, text] : bytes) out[hex(address)] = text;
    return out;
  }

  uint64_t route_;
  nlohmann::json host_;
  std::map<uint32_t, uint32_t> dwords_{{1, 1u << 8}};  // DW1: upstream adapter 1
  std::vector<Link> chain_;
};

}  // namespace tbt::test
