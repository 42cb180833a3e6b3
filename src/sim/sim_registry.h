#pragma once
// The simulated host's I/O registry: a tree of entries in the service plane,
// derived from the machine when the platform is built (internal).
#include "platform/registry_tree.h"

namespace tbt::sim {

class SimHost;

/// One registry entry; a controller entry's controllerIndex is the
/// controller's index in the machine.
using SimNode = RegistryTreeNode;

class SimRegistry : public RegistryTree {
 public:
  /// Derives the registry of a loaded machine.
  explicit SimRegistry(const SimHost& host);
};

}  // namespace tbt::sim
