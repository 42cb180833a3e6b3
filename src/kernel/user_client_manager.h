#pragma once
// The process-wide owner of one user client per host controller, and the
// configuration access by router ID that every router handle ends in.
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "kernel/user_client.h"
#include "platform/registry.h"
#include "platform/status.h"

namespace tbt {

class ThunderboltUserClientManager {
 public:
  /// The shared manager, created from the installed platform on first use
  /// (which opens a user client for every controller present). It lives until
  /// the platform is replaced.
  static ThunderboltUserClientManager& sharedInstance();

  ThunderboltUserClientManager();
  /// Stops matching, then closes every user client.
  ~ThunderboltUserClientManager();
  ThunderboltUserClientManager(const ThunderboltUserClientManager&) = delete;
  ThunderboltUserClientManager& operator=(const ThunderboltUserClientManager&) = delete;

  /// The first user client (in order of creation) whose router ID is routerID,
  /// or null. Nothing is opened or retried here.
  ThunderboltKernelUserClient* userClientForRouterID(uint8_t routerID) const;

  /// The open user clients in the order in which they were created.
  const std::vector<std::unique_ptr<ThunderboltKernelUserClient>>& userClientSet() const { return userClientSet_; }

  /// Matches the controllers of the registry and opens a user client for each.
  /// Returns the status of the registration (0).
  Status startUserClientMatching();
  /// Forgets the matching; the user clients stay.
  void stopUserClientMatching();

  /// Opens a user client for every controller the iterator yields, from its start.
  void controllerAdded(const std::vector<RegistryEntry>& iterator);

  /// Opens a user client for one controller and keeps it when that succeeded.
  /// Returns the opening's status.
  Status createUserClientForService(const RegistryEntry& service);

  /// Reads one double word through the user client of routerID (low 8 bits);
  /// not found when no user client serves it.
  Status configReadWithRouterID(uint32_t routerID, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                                uint32_t& outData) const;
  /// Writes one double word through the user client of routerID (low 8 bits);
  /// not found when no user client serves it.
  Status configWriteWithRouterID(uint32_t routerID, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                                 uint32_t data) const;

 private:
  std::vector<std::unique_ptr<ThunderboltKernelUserClient>> userClientSet_;
  // Controller-matched notifications would arrive on a run loop, which this
  // program never runs: the matching is the set of controllers present when
  // it started, kept for as long as the notification is armed.
  std::optional<std::vector<RegistryEntry>> matchingIterator_;
};

}  // namespace tbt
