#include "drom/entry_layout.h"

namespace tbt::drom_layout {
namespace {

using Header = ParsedROM;
using Lane = LanePortFields;
using PCIe = PCIePortFields;
using DP = DPPortFields;

// The version is printed before the length and checksum checks, the IDs after.
const EntryField<Header> kHeaderFields[] = {
    {"Version: %u\n", drom_header::kVersion, 1, {7, 0}, &Header::version},
    {"vendorID: 0x%x\n", drom_header::kVendorId, 2, {15, 0}, &Header::vendorID},
    {"modelID: 0x%x\n", drom_header::kModelId, 2, {15, 0}, &Header::modelID},
    {"modelRev: 0x%x\n", drom_header::kModelRev, 1, {7, 0}, &Header::modelRev},
    {"firmwareRev: 0x%x\n", drom_header::kFirmwareRev, 1, {7, 0}, &Header::firmwareRev},
};

// A lane adapter's dual-link, micro-controller and peer groups are each
// written only when the group is present (its flag or type is set). The two
// port numbers own their whole byte when written, though only bits 5..0 are
// read back.
const EntryField<Lane> kLaneFields[] = {
    {"hasDualLinkPort: %u\n", 2, 1, {7, 7}, &Lane::hasDualLinkPort, 0, nullptr, &Lane::hasDualLinkPort},
    {nullptr, 2, 1, {4, 4}, &Lane::dualLinkBit4, 0, nullptr, &Lane::hasDualLinkPort},
    {"dualLinkPortRID: 0x%x\n", 2, 1, {3, 0}, &Lane::dualLinkPortRID, 0, nullptr, &Lane::hasDualLinkPort},
    {"dualLinkPortNum: 0x%x\n", 3, 1, {5, 0}, &Lane::dualLinkPortNum, 0, nullptr, &Lane::hasDualLinkPort, 7},
    {"microType: 0x%x\n", 4, 1, {7, 5}, &Lane::microType, 0, nullptr, &Lane::microType},
    {"microRID: 0x%x\n", 4, 1, {3, 0}, &Lane::microRID, 0, nullptr, &Lane::microType},
    {"microAID: 0x%x\n", 5, 1, {7, 0}, &Lane::microAID, 0, nullptr, &Lane::microType},
    {"hasPeerPort: %u\n", 6, 1, {7, 7}, &Lane::hasPeerPort, 0, nullptr, &Lane::hasPeerPort},
    {"peerPortRID: 0x%x\n", 6, 1, {3, 0}, &Lane::peerPortRID, 0, nullptr, &Lane::hasPeerPort},
    {"peerPortNum: 0x%x\n", 7, 1, {5, 0}, &Lane::peerPortNum, 0, nullptr, &Lane::hasPeerPort, 7},
};

const EntryField<PCIe> kPCIeHeadFields[] = {
    {"pciDeviceNum: 0x%x\n", 2, 1, {7, 5}, &PCIe::pciDeviceNum},
    {"pciFunctionNum: 0x%x\n", 2, 1, {2, 0}, &PCIe::pciFunctionNum},
};

// Only an up adapter's entry (4 bytes or more) carries bandwidths; the
// inbound pair only when the bandwidth is asymmetric.
const EntryField<PCIe> kPCIeUpFields[] = {
    {"requiredBandwidth: 0x%x\n", 3, 2, {11, 0}, &PCIe::requiredBandwidth, kPCIeUpMinLength},
    {"isSlotDevice: 0x%x\n", 3, 2, {15, 15}, &PCIe::isSlotDevice, kPCIeUpMinLength},
    {"isLeafDevice: 0x%x\n", 3, 2, {14, 14}, &PCIe::isLeafDevice, kPCIeUpMinLength},
    {"hasAsymBandwidth: 0x%x\n", 3, 2, {13, 13}, &PCIe::hasAsymBandwidth, kPCIeUpMinLength},
    {"maxBandwidth: 0x%x\n", 5, 2, {11, 0}, &PCIe::maxBandwidth, kPCIeUpMinLength},
    {"requiredBandIn: 0x%x\n", 7, 2, {11, 0}, &PCIe::requiredBandIn, kPCIeUpMinLength, &PCIe::hasAsymBandwidth,
     &PCIe::hasAsymBandwidth},
    {"maxBandIn: 0x%x\n", 9, 2, {11, 0}, &PCIe::maxBandIn, kPCIeUpMinLength, &PCIe::hasAsymBandwidth,
     &PCIe::hasAsymBandwidth},
};

// The preferred-port byte exists only in the longer (v2) form of the entry.
const EntryField<DP> kDPFields[] = {
    {"isCaptive: 0x%x\n", 2, 2, {15, 15}, &DP::isCaptive},
    {"bandwidth: 0x%x\n", 2, 2, {11, 0}, &DP::bandwidth},
    {"hasPreferredPort: 0x%x\n", 4, 1, {7, 7}, &DP::hasPreferredPort, kDPv1EntryLength + 1},
    {"preferredNullPort: 0x%x\n", 4, 1, {5, 0}, &DP::preferredNullPort, kDPv1EntryLength + 1, &DP::hasPreferredPort},
};

}  // namespace

std::span<const EntryField<ParsedROM>> headerFields() { return kHeaderFields; }
std::span<const EntryField<LanePortFields>> laneFields() { return kLaneFields; }
std::span<const EntryField<PCIePortFields>> pcieHeadFields() { return kPCIeHeadFields; }
std::span<const EntryField<PCIePortFields>> pcieUpFields() { return kPCIeUpFields; }
std::span<const EntryField<DPPortFields>> dpFields() { return kDPFields; }

}  // namespace tbt::drom_layout
