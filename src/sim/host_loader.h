#pragma once
// Building a SimHost from a parsed host file (internal to the simulation).
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "sim/json_reader.h"
#include "sim/sim_host.h"

namespace tbt::sim {

/// What one host file describes at most. A router ID has eight bits; no
/// real fabric comes near the router and adapter counts, which keep the
/// memory of a loaded host within ten times its file.
inline constexpr size_t kMaxControllers = 256;
inline constexpr size_t kMaxHostRouters = 4096;   // bridged routers included
inline constexpr size_t kMaxHostAdapters = 32768;

/// A router read from the host file, with the key path of its object.
struct LoadedRouter {
  std::unique_ptr<Router> router;
  std::string path;
};

/// Reads the whole host file into a machine; null with in.error() on bad input.
std::unique_ptr<SimHost> loadMachine(const nlohmann::json& doc, JsonReader& in);

/// Reads one router object of a controller of host (everything but its
/// place in the topology; its configuration bridges are attached).
std::unique_ptr<Router> readRouter(JsonReader& in, const nlohmann::json& v, const std::string& path, SimHost& host,
                                   size_t controller);

/// Places a controller's routers by route: checks that each hangs from an
/// existing lane adapter of an existing router, fills in what the file leaves
/// to derivation (device-space DW1, lane adapter types), and moves them into
/// the controller.
bool placeRouters(JsonReader& in, std::vector<LoadedRouter>& routers, Controller& controller);

}  // namespace tbt::sim
