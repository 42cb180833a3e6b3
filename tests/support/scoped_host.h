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
#include <stdexcept>
#include <functional>
#include <initializer_list>
#include <memory>
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

/// Turns the loaded simulated platform into the platform to install (for a
/// test that wants to observe the calls crossing the platform boundary).
using PlatformWrapper = std::function<std::unique_ptr<Platform>(std::unique_ptr<sim::SimPlatform>)>;

class ScopedHost {
 public:
  /// Loads a host from JSON text; a bad host fails the test with the
  /// loader's message and leaves an empty host installed.
  explicit ScopedHost(std::string_view json, const PlatformWrapper& wrap = nullptr) {
    std::string error;
    std::unique_ptr<sim::SimPlatform> loaded = sim::loadHost(json, &error);
    if (!loaded) {
      ADD_FAILURE() << "simulated host does not load: " << error;
      loaded = sim::loadHost("{}", &error);
    }
    install(std::move(loaded), wrap);
  }

  /// Loads the embedded default host.
  explicit ScopedHost(DefaultHost) {
    std::string error;
    std::unique_ptr<sim::SimPlatform> loaded = sim::loadDefaultHost(&error);
    if (!loaded) {
      ADD_FAILURE() << "default host does not load: " << error;
      loaded = sim::loadHost("{}", &error);
    }
    install(std::move(loaded), nullptr);
  }

  ~ScopedHost() { installPlatform(std::move(previous_)); }
  ScopedHost(const ScopedHost&) = delete;
  ScopedHost& operator=(const ScopedHost&) = delete;

  /// The machine behind the installed platform.
  sim::SimHost& sim() { return *sim_; }

 private:
  void install(std::unique_ptr<sim::SimPlatform> loaded, const PlatformWrapper& wrap) {
    sim_ = &loaded->sim();
    previous_ = installPlatform(wrap ? wrap(std::move(loaded)) : std::move(loaded));
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
  nlohmann::json routers = nlohmann::json::array();
  for (uint64_t route : routes) {
    nlohmann::json router = {{"route", hex(route)}, {"ports", nlohmann::json::object()}};
    if (route == 0)
      router["registry"] = {{"UID", hex(uid)}};
    else
      router["ports"][std::to_string(kUpstreamAdapter)] = nlohmann::json::object();
    routers.push_back(router);
  }
  nlohmann::json host = {{"controllers", {{{"interface-version", interfaceVersion}, {"routers", routers}}}}};
  // Each router's downstream adapter towards its children.
  for (uint64_t route : routes) {
    if (route == 0) continue;
    unsigned shift = 0;
    while (route >> (shift + 8)) shift += 8;
    const uint64_t parent = route & ((uint64_t{1} << shift) - 1);
    const unsigned adapter = static_cast<unsigned>(route >> shift) & 0xFF;
    routerOf(host, parent)["ports"][std::to_string(adapter)] = nlohmann::json::object();
  }
  // Device-space double word 1: depth (bits 22..20), highest adapter (bits
  // 19..14) and upstream adapter (bits 13..8).
  for (auto& router : host["controllers"][0]["routers"]) {
    const uint64_t route = std::stoull(router["route"].get<std::string>(), nullptr, 16);
    uint32_t depth = 0;
    for (uint64_t r = route; r != 0; r >>= 8) ++depth;
    uint32_t highest = route == 0 ? 0 : kUpstreamAdapter;
    for (auto& [port, unused] : router["ports"].items()) highest = std::max<uint32_t>(highest, std::stoul(port));
    const uint32_t upstream = route == 0 ? 0 : kUpstreamAdapter;
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
