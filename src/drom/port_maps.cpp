#include "drom/port_maps.h"

namespace tbt {
namespace {

// Adapter type words: lane (null-port) adapters of three kinds (0x000000 to
// 0x000002), PCIe down and up (0x100101, 0x100102), DisplayPort in and out
// (0x0E0101, 0x0E0102).
constexpr uint32_t kLane = 0x1;
constexpr uint32_t kLaneKind0 = 0x0;
constexpr uint32_t kLaneKind2 = 0x2;
constexpr uint32_t kPCIeDown = 0x100101;
constexpr uint32_t kPCIeUp = 0x100102;
constexpr uint32_t kDPIn = 0x0E0101;
constexpr uint32_t kDPOut = 0x0E0102;

// A table written with an end marker keeps it as its last pair; the maps
// handed out stop before it, so no walk ever sees the marker.
// clang-format off
constexpr PortMapPair kThirteenPortSwitch[] = {
    {1, kLane},      {2, kLane},      {3, kLane},      {4, kLane},      {5, kLaneKind0},
    {6, kLaneKind2}, {7, kPCIeDown},  {8, kPCIeDown},  {9, kPCIeDown},  {10, kPCIeDown},
    {11, kDPOut},    {12, kDPIn},     {13, kDPIn},     {0, 0},
};

constexpr PortMapPair kLanePCIeUpDevice[] = {
    {1, kLane},      {2, kPCIeUp},
};

constexpr PortMapPair kTwelvePortSwitch[] = {
    {1, kLane},      {2, kLane},      {3, kLane},      {4, kLane},      {5, kLaneKind2},
    {6, kPCIeDown},  {7, kPCIeDown},  {8, kPCIeDown},  {9, kPCIeDown},  {10, kDPOut},
    {11, kDPIn},     {12, kDPIn},     {0xFFFFFFFF, 0xFFFFFFFF},
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
