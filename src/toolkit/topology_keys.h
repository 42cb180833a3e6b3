#pragma once
// Registry classes and property keys of the Thunderbolt topology, as the
// controller driver spells them in the service plane.
#include <cstdint>
#include <string_view>

#include "platform/registry.h"

namespace tbt {

inline constexpr std::string_view kPortClass = "IOThunderboltPort";
inline constexpr std::string_view kXDomainLinkClass = "IOThunderboltXDomainLink";

/// Properties of a port entry.
inline constexpr std::string_view kPortNumberKey = "Port Number";
inline constexpr std::string_view kAdapterTypeKey = "Adapter Type";
inline constexpr std::string_view kPeerPortRouteStringKey = "Peer Port Route String";
inline constexpr std::string_view kPeerPortNumberKey = "Peer Port Number";
inline constexpr std::string_view kLaneKey = "Lane";
inline constexpr std::string_view kHopTableKey = "Hop Table";

/// Keys of one "Hop Table" entry.
inline constexpr std::string_view kHopIDKey = "Hop ID";
inline constexpr std::string_view kDstPortKey = "Dst Port";
inline constexpr std::string_view kDstHopIDKey = "Dst Hop ID";
inline constexpr std::string_view kInheritedFromEFIKey = "Inherited From EFI";

/// "Adapter Type" values the topology names.
inline constexpr uint64_t kLaneAdapterType = 1;  // a lane (link) adapter
inline constexpr uint64_t kNHIAdapterType = 2;
inline constexpr uint64_t kDPInAdapterType = 0x0E0101;
inline constexpr uint64_t kDPOutAdapterType = 0x0E0102;
inline constexpr uint64_t kPCIDownAdapterType = 0x100101;
inline constexpr uint64_t kPCIUpAdapterType = 0x100102;

/// The name of an "Adapter Type" ("Port" for a lane adapter, "NHI", "DP In",
/// "DP Out", "PCI Down", "PCI Up"), "?" for any other.
const char* adapterTypeName(uint64_t type);

/// The port's "Adapter Type", 0 when it has none.
uint64_t adapterTypeOfPort(const RegistryEntry& port);

}  // namespace tbt
