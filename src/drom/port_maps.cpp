#include "drom/port_maps.h"

#include "kernel/config_space.h"

namespace tbt {
namespace {

// The adapter type words are those of the configuration space. Two more
// null-port kinds appear in the maps; only the low byte tells them from a
// lane adapter, which the entry format does not look at.
constexpr uint32_t kLaneKind0 = 0x000000;
constexpr uint32_t kLaneKind2 = 0x000002;

// A table written with an end marker keeps it as its last pair; the maps
// handed out stop before it, so no walk ever sees the marker.
// clang-format off
constexpr PortMapPair kThirteenPortSwitch[] = {
    {1, kLaneAdapterType},     {2, kLaneAdapterType},     {3, kLaneAdapterType},     {4, kLaneAdapterType},
    {5, kLaneKind0},           {6, kLaneKind2},           {7, kPCIDownAdapterType},  {8, kPCIDownAdapterType},
    {9, kPCIDownAdapterType},  {10, kPCIDownAdapterType}, {11, kDPOutAdapterType},   {12, kDPInAdapterType},
    {13, kDPInAdapterType},    {0, 0},
};

constexpr PortMapPair kLanePCIeUpDevice[] = {
    {1, kLaneAdapterType},     {2, kPCIUpAdapterType},
};

constexpr PortMapPair kTwelvePortSwitch[] = {
    {1, kLaneAdapterType},     {2, kLaneAdapterType},     {3, kLaneAdapterType},     {4, kLaneAdapterType},
    {5, kLaneKind2},           {6, kPCIDownAdapterType},  {7, kPCIDownAdapterType},  {8, kPCIDownAdapterType},
    {9, kPCIDownAdapterType},  {10, kDPOutAdapterType},   {11, kDPInAdapterType},    {12, kDPInAdapterType},
    {0xFFFFFFFF, 0xFFFFFFFF},
};
// clang-format on

template <size_t N>
constexpr std::span<const PortMapPair> withoutEndMarker(const PortMapPair (&table)[N]) {
  return std::span<const PortMapPair>(table, N - 1);
}

const NamedPortMap kNamedMaps[] = {
    {"lane6-pcie4-dp3", "13 ports: 6 lane adapters, 4 PCIe down, DP out (11), DP in (12, 13)",
     withoutEndMarker(kThirteenPortSwitch)},
    {"lane5-pcie4-dp3", "12 ports: 5 lane adapters, 4 PCIe down, DP out (10), DP in (11, 12)",
     withoutEndMarker(kTwelvePortSwitch)},
    {"lane1-pcieup1", "2 ports: a lane adapter and a PCIe up adapter", kLanePCIeUpDevice},
};

}  // namespace

std::span<const NamedPortMap> namedPortMaps() { return kNamedMaps; }

const NamedPortMap* findNamedPortMap(std::string_view name) {
  for (const NamedPortMap& map : kNamedMaps)
    if (name == map.name) return &map;
  return nullptr;
}

}  // namespace tbt
