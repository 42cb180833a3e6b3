#pragma once
// Registry classes and property keys of the Thunderbolt fabric, as the
// controller driver spells them in the service plane.
#include <string_view>

namespace tbt {

/// Classes: a host controller, a router (switch), one of its adapters
/// (ports), and a link from a lane adapter to another host.
inline constexpr std::string_view kControllerClass = "IOThunderboltController";
inline constexpr std::string_view kSwitchClass = "IOThunderboltSwitch";
inline constexpr std::string_view kPortClass = "IOThunderboltPort";
inline constexpr std::string_view kXDomainLinkClass = "IOThunderboltXDomainLink";

/// Properties of a switch entry.
inline constexpr std::string_view kRouteStringKey = "Route String";
inline constexpr std::string_view kUIDKey = "UID";
inline constexpr std::string_view kDepthKey = "Depth";
/// The router's DROM bytes as the host read them, where the host publishes them (data).
inline constexpr std::string_view kDromKey = "DROM";
/// The router's vendor and model names (strings), where the host knows them.
inline constexpr std::string_view kVendorNameKey = "Device Vendor Name";
inline constexpr std::string_view kModelNameKey = "Device Model Name";

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

}  // namespace tbt
