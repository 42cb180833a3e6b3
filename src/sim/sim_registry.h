#pragma once
// The simulated host's I/O registry: a tree of entries in the service plane,
// derived from the machine when the platform is built (internal).
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/registry.h"

namespace tbt::sim {

class SimHost;

/// One registry entry.
class SimNode : public RegistryNode, public std::enable_shared_from_this<SimNode> {
 public:
  SimNode(std::string className, std::string name) : class_(std::move(className)), name_(std::move(name)) {}

  std::string className() const override { return class_; }
  bool conformsTo(std::string_view className) const override;
  std::optional<Property> property(std::string_view key) const override;
  std::vector<std::string> propertyKeys() const override;
  std::vector<RegistryEntry> children() const override;
  std::vector<RegistryEntry> parents() const override;
  std::string path() const override;

  const std::string& name() const { return name_; }
  PropertyDict& properties() { return props_; }
  /// Adds a child entry and returns it.
  std::shared_ptr<SimNode> addChild(std::string className, std::string name);
  const std::vector<std::shared_ptr<SimNode>>& childNodes() const { return children_; }
  /// The controller (index in the machine) that a controller entry stands for.
  std::optional<size_t> controllerIndex;

 private:
  std::string class_;
  std::string name_;
  PropertyDict props_;
  std::vector<std::shared_ptr<SimNode>> children_;
  std::weak_ptr<SimNode> parent_;
};

/// True when className is or derives from base, by the simulation's class table.
bool classConformsTo(std::string_view className, std::string_view base);

class SimRegistry : public Registry {
 public:
  /// Derives the registry of a loaded machine.
  explicit SimRegistry(const SimHost& host);

  RegistryEntry root() const override { return RegistryEntry(root_); }
  RegistryEntry fromPath(std::string_view path) const override;
  std::vector<RegistryEntry> matching(std::string_view className,
                                      const PropertyDict* propertyMatch = nullptr) const override;

 private:
  std::shared_ptr<SimNode> root_;
  std::map<std::string, std::shared_ptr<SimNode>, std::less<>> aliases_;  // other planes' paths
};

}  // namespace tbt::sim
