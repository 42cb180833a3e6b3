#pragma once
// A path of the paths report as data: where it starts, the links it crosses
// with the hop ID it uses on each, and how it ends. The paths report records
// one for every line it writes (see ThunderboltUserClientUtils::tracedPaths).
#include <cstdint>
#include <string>
#include <vector>

namespace tbt {

/// One link a path crosses: from an adapter of one router to an adapter of
/// the next, with the hop ID it uses on the link.
struct TracedLink {
  uint64_t fromRoute = 0;
  uint32_t fromAdapter = 0;
  uint64_t toRoute = 0;
  uint32_t toAdapter = 0;
  uint64_t hopID = 0;
};

struct TracedPath {
  uint8_t routerID = 0;
  bool fromEFI = false;  // the boot firmware set it up ("EFI"), else the OS
  // The first adapter: its router, number, the report's name for it and its
  // hop ID; xdomainAdapter is the adapter of the XDomain link it comes from
  // (the lower one of an EDM pair) when it comes from another host.
  uint64_t startRoute = 0;
  uint32_t startAdapter = 0;
  std::string startName;
  uint64_t startHopID = 0;
  bool startsAtXDomain = false;
  uint32_t startXDomainAdapter = 0;
  std::vector<TracedLink> links;
  // How it ends: at an adapter (named as the report names it), or in an
  // ERROR after the last link (or before the first).
  bool error = false;
  uint64_t endRoute = 0;
  uint32_t endAdapter = 0;
  std::string endName;
  uint64_t endHopID = 0;  // the hop ID it leaves by at its last adapter, or fails with
  bool endsAtXDomain = false;
  uint32_t endXDomainAdapter = 0;
};

}  // namespace tbt
