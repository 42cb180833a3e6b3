#pragma once
// The one way a test gets a host: ScopedHost loads a simulated host, installs
// it as the process-wide platform (which drops every singleton, so the test
// starts with fresh ones) and puts the previous platform back when it goes.
//
//   tbt::test::ScopedHost host(tbt::test::hostWithRouters({0x0, 0x1, 0x301}).dump());
//   host.sim().poke(0, 0x301, 0, 2, 2, 0x301);
//
// Header-only on purpose: everything here is small and inline.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "platform/platform.h"
#include "platform/registry_helpers.h"
#include "platform/text.h"
#include "sim/sim_platform.h"

namespace tbt::test {

/// Tag: the embedded default host.
struct DefaultHost {};

class ScopedHost {
 public:
  /// Loads a host from JSON text; a bad host fails the test with the
  /// loader's message and leaves an empty host installed.
  explicit ScopedHost(std::string_view json) {
    std::string error;
    install(sim::loadHost(json, &error), error);
  }
  /// Loads the embedded default host.
  explicit ScopedHost(DefaultHost) {
    std::string error;
    install(sim::loadDefaultHost(&error), error);
  }
  ~ScopedHost() { installPlatform(std::move(previous_)); }
  ScopedHost(const ScopedHost&) = delete;
  ScopedHost& operator=(const ScopedHost&) = delete;

  /// The machine behind the installed platform.
  sim::SimHost& sim() { return *sim_; }

 private:
  void install(std::unique_ptr<sim::SimPlatform> loaded, const std::string& error) {
    if (!loaded) {
      ADD_FAILURE() << "simulated host does not load: " << error;
      loaded = sim::loadHost("{}", nullptr);
    }
    sim_ = &loaded->sim();
    previous_ = installPlatform(std::move(loaded));
  }

  sim::SimHost* sim_ = nullptr;
  std::unique_ptr<Platform> previous_;
};

/// "0x..." as the host file writes numbers.
inline std::string hex(uint64_t value) { return textf("0x%llx", static_cast<unsigned long long>(value)); }

/// The router object of route in a host built by hostWithRouters.
inline nlohmann::json& routerOf(nlohmann::json& host, uint64_t route, size_t controller = 0) {
  for (auto& router : host["controllers"][controller]["routers"])
    if (router["route"] == hex(route)) return router;
  throw std::out_of_range("no router at " + hex(route));
}

/// A host file with one controller whose routers sit at the given routes
/// (the host router, route 0, must be among them). Every router below the
/// host router uses adapter 1 as its upstream adapter; every adapter named in
/// a route exists on the router it leaves from. The host switch's "UID" is uid.
inline nlohmann::json hostWithRouters(std::initializer_list<uint64_t> routes, uint64_t uid = 0,
                                      uint32_t interfaceVersion = 2) {
  constexpr uint32_t kUpstreamAdapter = 1;
  nlohmann::json host = {{"controllers", {{{"interface-version", interfaceVersion}, {"routers", nlohmann::json::array()}}}}};
  for (uint64_t route : routes) {
    nlohmann::json router = {{"route", hex(route)}, {"ports", nlohmann::json::object()}};
    if (route == 0) router["registry"] = {{"UID", hex(uid)}};
    host["controllers"][0]["routers"].push_back(router);
  }
  // Each router's downstream adapter towards its children; the route's top
  // byte is the adapter of the parent named by the bytes below it.
  for (uint64_t route : routes) {
    unsigned shift = 0;
    while (route >> (shift + 8)) shift += 8;
    if (route != 0)
      routerOf(host, route & ((uint64_t{1} << shift) - 1))["ports"][std::to_string(route >> shift)] = nlohmann::json::object();
  }
  // Device-space double word 1: depth (bits 22..20), highest adapter (bits
  // 19..14) and upstream adapter (bits 13..8).
  for (auto& router : host["controllers"][0]["routers"]) {
    const uint64_t route = std::stoull(router["route"].get<std::string>(), nullptr, 16);
    uint32_t depth = 0;
    for (uint64_t r = route; r != 0; r >>= 8) ++depth;
    const uint32_t upstream = route == 0 ? 0 : kUpstreamAdapter;
    uint32_t highest = upstream;
    for (auto& [port, unused] : router["ports"].items()) highest = std::max<uint32_t>(highest, std::stoul(port));
    router["device-space"]["1"] = hex(depth << 20 | highest << 14 | upstream << 8);
  }
  return host;
}

/// The n-th "IOThunderboltSwitch" entry (in registry order) whose route is route.
inline RegistryEntry switchEntry(uint64_t route, size_t n = 0) {
  for (const RegistryEntry& entry : registry().matching(kSwitchClass))
    if (routeOfEntry(entry) == route && n-- == 0) return entry;
  return RegistryEntry();
}

}  // namespace tbt::test
