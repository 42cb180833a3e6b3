#pragma once
// An I/O registry held in memory: a tree of entries in the service plane,
// with the paths of other planes as aliases. A backend builds its registry
// from these entries once it has learnt what its host has.
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace tbt {

/// True when className is or derives from base, by the classes a backend
/// publishes (the Thunderbolt classes, the power and storage classes the host
/// probes read, and their bases).
bool registryClassConformsTo(std::string_view className, std::string_view base);

/// One entry of the tree.
class RegistryTreeNode : public RegistryNode, public std::enable_shared_from_this<RegistryTreeNode> {
 public:
  RegistryTreeNode(std::string className, std::string name) : class_(std::move(className)), name_(std::move(name)) {}

  std::string className() const override { return class_; }
  bool conformsTo(std::string_view className) const override { return registryClassConformsTo(class_, className); }
  std::optional<Property> property(std::string_view key) const override;
  std::vector<std::string> propertyKeys() const override;
  std::vector<RegistryEntry> children() const override;
  std::vector<RegistryEntry> parents() const override;
  std::string path() const override;

  const std::string& name() const { return name_; }
  PropertyDict& properties() { return props_; }
  const PropertyDict& properties() const { return props_; }
  /// Adds a child entry and returns it.
  std::shared_ptr<RegistryTreeNode> addChild(std::string className, std::string name);
  const std::vector<std::shared_ptr<RegistryTreeNode>>& childNodes() const { return children_; }
  /// The backend's number of the controller that a controller entry stands for.
  std::optional<size_t> controllerIndex;

 private:
  std::string class_;
  std::string name_;
  PropertyDict props_;
  std::vector<std::shared_ptr<RegistryTreeNode>> children_;
  std::weak_ptr<RegistryTreeNode> parent_;
};

/// Paths of other planes ("IODeviceTree:/rom") and the entries they name.
using RegistryAliases = std::map<std::string, std::shared_ptr<RegistryTreeNode>, std::less<>>;

class RegistryTree : public Registry {
 public:
  RegistryTree() : root_(std::make_shared<RegistryTreeNode>("IORegistryEntry", "Root")) {}

  RegistryEntry root() const override { return RegistryEntry(root_); }
  RegistryEntry fromPath(std::string_view path) const override;
  std::vector<RegistryEntry> matching(std::string_view className,
                                      const PropertyDict* propertyMatch = nullptr) const override;

 protected:
  std::shared_ptr<RegistryTreeNode> root_;
  RegistryAliases aliases_;
};

}  // namespace tbt
