#pragma once
// The host's I/O registry as the toolkit sees it: a tree of entries in the
// service plane, each with a class (and the classes it conforms to), typed
// properties, children and parents. Entry handles are reference-counted
// values; a default-constructed handle is "no entry" (the 0 of the registry).
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/property.h"

namespace tbt {

class RegistryNode;

/// A counted handle to one registry entry; copying retains, destruction releases.
class RegistryEntry {
 public:
  RegistryEntry() = default;
  explicit RegistryEntry(std::shared_ptr<const RegistryNode> node) : node_(std::move(node)) {}

  explicit operator bool() const { return node_ != nullptr; }
  const RegistryNode* operator->() const { return node_.get(); }
  const RegistryNode& operator*() const { return *node_; }
  /// Two handles are equal when they name the same entry.
  bool operator==(const RegistryEntry& other) const { return node_ == other.node_; }

  /// True when the entry exists and conforms to the class.
  bool conformsTo(std::string_view className) const;
  /// The entry's own property, or nullopt (also for a null handle).
  std::optional<Property> property(std::string_view key) const;
  /// Children in the service plane, in registry order (none for a null handle).
  std::vector<RegistryEntry> children() const;
  /// Direct parents in the service plane, nearest first (none for a null handle).
  std::vector<RegistryEntry> parents() const;

 private:
  std::shared_ptr<const RegistryNode> node_;
};

/// One entry, implemented by a backend.
class RegistryNode {
 public:
  virtual ~RegistryNode() = default;
  /// The entry's own class name.
  virtual std::string className() const = 0;
  /// True when the entry's class is the given class or derives from it.
  virtual bool conformsTo(std::string_view className) const = 0;
  virtual std::optional<Property> property(std::string_view key) const = 0;
  /// Every property key of the entry, in a stable order.
  virtual std::vector<std::string> propertyKeys() const = 0;
  virtual std::vector<RegistryEntry> children() const = 0;
  virtual std::vector<RegistryEntry> parents() const = 0;
  /// The entry's path in the service plane ("IOService:/...").
  virtual std::string path() const = 0;
};

/// The registry as a whole.
class Registry {
 public:
  virtual ~Registry() = default;
  virtual RegistryEntry root() const = 0;
  /// Looks an entry up by path, for example "IODeviceTree:/rom"; null when absent.
  virtual RegistryEntry fromPath(std::string_view path) const = 0;
  /// Every entry that conforms to className and, when propertyMatch is given,
  /// holds each of its properties with an equal value; in registry order.
  virtual std::vector<RegistryEntry> matching(std::string_view className,
                                              const PropertyDict* propertyMatch = nullptr) const = 0;
};

/// Search options for searchProperty.
inline constexpr uint32_t kSearchRecursively = 1;

/// The entry's property, or with kSearchRecursively the first found in a
/// depth-first walk of its children (the entry itself first).
std::optional<Property> searchProperty(const RegistryEntry& entry, std::string_view key, uint32_t options);

/// Every ancestor in the service plane, nearest first, each visited once
/// (the entry itself is not included).
std::vector<RegistryEntry> ancestors(const RegistryEntry& entry);

}  // namespace tbt
