#include "sim/sim_platform.h"

#include <nlohmann/json.hpp>

#include "host_loader.h"
#include "platform/file_reader.h"
#include "platform/plist.h"
#include "sim/json_document.h"
#include "sim/sim_parts.h"
#include "sim/sim_registry.h"

namespace tbt::sim {

SimPlatform::SimPlatform(std::unique_ptr<SimHost> host)
    : host_(std::move(host)),
      registry_(std::make_unique<SimRegistry>(*host_)),
      driver_(std::make_unique<SimControllerDriver>(*host_)),
      services_(std::make_unique<SimHostServices>(*host_)) {}

SimPlatform::~SimPlatform() = default;

Registry& SimPlatform::registry() { return *registry_; }
ControllerDriver& SimPlatform::controllerDriver() { return *driver_; }
HostServices& SimPlatform::host() { return *services_; }

std::optional<PropertyDict> SimHostServices::readPropertyList(const std::string& path) {
  return readPropertyListFile(path);
}

namespace {

// Loads a host from its text, which the host then keeps (for saving).
std::unique_ptr<SimPlatform> loadHostText(std::string text, std::string* error) {
  std::string message;
  try {
    nlohmann::json doc;
    message = parseJsonDocument(text, doc);
    if (message.empty()) {
      JsonReader in;
      auto machine = loadMachine(doc, in);
      doc = nlohmann::json();  // the machine holds what it needs
      if (machine) {
        machine->setDocument(std::move(text));
        attachModels(*machine);
        return std::make_unique<SimPlatform>(std::move(machine));
      }
      message = in.error();
    }
  } catch (const std::exception& e) {
    message = std::string("cannot load the host: ") + e.what();
  }
  if (error) *error = message;
  return nullptr;
}

}  // namespace

std::unique_ptr<SimPlatform> loadHost(std::string_view json, std::string* error) {
  return loadHostText(std::string(json), error);
}

std::unique_ptr<SimPlatform> loadHostFile(const std::string& path, std::string* error) {
  std::string text;
  std::string why = readRegularFile(path, kMaxHostFileSize, text);
  if (!why.empty()) {
    if (error) *error = path + ": cannot read the file: " + why;
    return nullptr;
  }
  auto platform = loadHostText(std::move(text), &why);
  if (!platform && error) *error = path + ": " + why;
  return platform;
}

std::unique_ptr<SimPlatform> loadDefaultHost(std::string* error) {
  std::string why;
  auto platform = loadHost(defaultHostJson(), &why);
  if (!platform && error) *error = "embedded default host: " + why;
  return platform;
}

}  // namespace tbt::sim
