#pragma once
// The toolkit object through which the rest of the system reaches router
// configuration spaces, I2C and IECS: one process-wide instance bound to
// the host's controllers through the user client manager.
//
// The class is declared here in full; its operations are defined by family
// in separate files of this folder (access in utilities.cpp, capability
// search in capability_search.cpp, ...).
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/router_handle.h"
#include "platform/registry.h"
#include "platform/status.h"
#include "toolkit/report_sink.h"
#include "toolkit/traced_path.h"

namespace tbt {

class ThunderboltUserClientUtils {
 public:
  // ---- The shared instance (utilities.cpp) ----

  /// The shared instance, created on first use from the installed platform;
  /// creating it opens a user client for every controller. It lives until the
  /// platform is replaced.
  static ThunderboltUserClientUtils& sharedInstance();
  /// The shared instance; when it existed already, the user client of rid is
  /// made active first (its result ignored).
  static ThunderboltUserClientUtils& sharedInstanceForRID(uint8_t rid);
  /// The shared instance after making active the user client of the host
  /// switch above entry (result ignored); null when entry has no host switch
  /// among its ancestors.
  static ThunderboltUserClientUtils* sharedInstanceForEntry(const RegistryEntry& entry);

  ThunderboltUserClientUtils();

  /// Makes the user client of rid active. True when it is active, and also
  /// when no user client serves rid (callers that care look it up themselves).
  bool makeUserClientActiveForRID(uint8_t rid);

  // ---- Configuration access (utilities.cpp) ----

  /// Reads one double word at (route, port, space, index) through the user
  /// client of routerID (its low 8 bits count); not found without one.
  Status configReadWithRouterID(uint32_t routerID, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                                uint32_t& outData);
  /// Writes one double word; as configReadWithRouterID.
  Status configWriteWithRouterID(uint32_t routerID, uint64_t route, uint32_t port, uint32_t space, uint32_t index,
                                 uint32_t data);
  /// Reads one double word through the router handle (local or remote).
  Status configReadWithRouterHandle(RouterHandle& routerHandle, uint32_t port, uint32_t space, uint32_t index,
                                    uint32_t& outData);
  /// Writes one double word through the router handle (local or remote).
  Status configWriteWithRouterHandle(RouterHandle& routerHandle, uint32_t port, uint32_t space, uint32_t index,
                                     uint32_t data);

  // ---- I2C and IECS through the handle's controller (utilities.cpp) ----
  // Without a user client for the handle's router ID nothing is done and 0
  // comes back.

  /// Writes length bytes to register offset of the I2C device at address.
  Status i2cWriteWithLocalRouterHandle(const LocalRouterHandle& localRouterHandle, uint8_t address, uint8_t offset,
                                       uint32_t length, const uint8_t* data);
  /// Reads length bytes from register offset of the I2C device at address.
  Status i2cReadWithLocalRouterHandle(const LocalRouterHandle& localRouterHandle, uint8_t address, uint8_t offset,
                                      uint32_t length, uint8_t* data);
  /// Writes length bytes at offset of IECS device `device` on link-controller bus `bus`.
  Status iecsWriteWithLocalRouterHandle(const LocalRouterHandle& localRouterHandle, uint32_t bus, uint32_t device,
                                        uint8_t offset, uint32_t length, const uint8_t* data);
  /// Reads length bytes at offset of IECS device `device` on bus `bus`.
  Status iecsReadWithLocalRouterHandle(const LocalRouterHandle& localRouterHandle, uint32_t bus, uint32_t device,
                                       uint8_t offset, uint32_t length, uint8_t* data);

  // ---- Registry (utilities.cpp) ----

  /// Reads the numeric property key of entry into outValue, 0 when it is
  /// absent. Always returns 0.
  Status unsignedLongForRegistryEntry(const RegistryEntry& entry, std::string_view andKey, uint64_t& outValue);
  /// Reads the numeric property key of entry into outValue. When it is absent
  /// outValue is left as it was and general failure comes back, so a caller
  /// can tell a missing route string from route 0.
  Status unsignedLongLongForRegistryEntry(const RegistryEntry& entry, std::string_view andKey, uint64_t& outValue);
  /// A local handle for a switch entry: its own "Route String" (all ones when
  /// missing) and the router ID of the host switch above it. Null when entry
  /// is null or has no host switch among its ancestors.
  std::unique_ptr<LocalRouterHandle> routerHandleFromRegistryEntry(const RegistryEntry& entry);

  /// When set, reports print capability double-word indexes relative to the
  /// capability's first double word. No access depends on it.
  bool relativeAddressing() const { return relativeAddressing_; }
  void setRelativeAddressing(bool on) { relativeAddressing_ = on; }

  // ---- Configuration-space reports (reports/*.cpp) ----
  // Human-readable text of a router's configuration spaces and capabilities.
  // Each operation has two forms: one writes the text into sink as it is
  // read, the other returns the whole text (a thin wrapper over the first).
  // Nothing is printed; a failure shows in the text as each report states.

  /// The device space header and every capability of its chain.
  void deviceSpaceForRouterHandle(RouterHandle& routerHandle, ReportSink& sink);
  std::string deviceSpaceForRouterHandle(RouterHandle& routerHandle);
  /// The one device-space capability whose header is at double word index.
  void deviceCapabilityAtIndex(uint32_t index, RouterHandle& andRouterHandle, ReportSink& sink);
  std::string deviceCapabilityAtIndex(uint32_t index, RouterHandle& andRouterHandle);
  /// The register block of one link controller: forLength double words of
  /// device space from index.
  void linkControllerCapabilityAtIndex(uint32_t index, RouterHandle& andRouterHandle, uint32_t forLength,
                                       ReportSink& sink);
  std::string linkControllerCapabilityAtIndex(uint32_t index, RouterHandle& andRouterHandle, uint32_t forLength);
  /// The port space header of port and every capability of its chain.
  void portSpaceForPort(uint32_t port, RouterHandle& andRouterHandle, ReportSink& sink);
  std::string portSpaceForPort(uint32_t port, RouterHandle& andRouterHandle);
  /// The one port-space capability of port whose header is at double word index.
  void portCapabilityForPort(uint32_t port, uint32_t index, RouterHandle& andRouterHandle, ReportSink& sink);
  std::string portCapabilityForPort(uint32_t port, uint32_t index, RouterHandle& andRouterHandle);
  /// The adapter capability (ID 4) of port at index, decoded by adapter type.
  void adapterCapabilityForPort(uint32_t port, uint32_t index, RouterHandle& andRouterHandle, ReportSink& sink);
  std::string adapterCapabilityForPort(uint32_t port, uint32_t index, RouterHandle& andRouterHandle);
  /// Every hop entry of port's path space.
  void pathSpaceForPort(uint32_t port, RouterHandle& andRouterHandle, ReportSink& sink);
  std::string pathSpaceForPort(uint32_t port, RouterHandle& andRouterHandle);
  /// Every counter of port's counter space.
  void counterSpaceForPort(uint32_t port, RouterHandle& andRouterHandle, ReportSink& sink);
  std::string counterSpaceForPort(uint32_t port, RouterHandle& andRouterHandle);
  /// Everything the router holds and, for a local handle, every router below it.
  void allSpacesForRouterHandle(RouterHandle& routerHandle, ReportSink& sink);
  std::string allSpacesForRouterHandle(RouterHandle& routerHandle);
  /// allSpacesForRouterHandle of the host router of every controller. The
  /// sink's progress hears of the routers reported, out of those the
  /// registry lists.
  void allSpaces(ReportSink& sink);
  std::string allSpaces();
  /// Link controller lc's memory, 0x8000 to 0xEFFC, through its register
  /// window. The sink's progress hears of the addresses read.
  void memoryDumpForLC(uint32_t lc, RouterHandle& andRouterHandle, ReportSink& sink);
  std::string memoryDumpForLC(uint32_t lc, RouterHandle& andRouterHandle);

  // ---- Capability search and adapter type (capability_search.cpp) ----

  /// The adapter type (port-space double word 2, bits 23..0) of port at route
  /// under the controller of routerID; 0 on any failure.
  uint32_t adapterTypeForRoute(uint64_t route, uint32_t andPort, uint8_t andRouterID);
  /// Finds the first capability of (port, space) whose first double word
  /// masked with andMask equals forValue, reading through the handle. On
  /// success outOffset is its double-word index; not found (outOffset
  /// untouched) or the failing read's status otherwise.
  Status findCapabilityAtRouterHandle(uint8_t& outOffset, uint32_t forValue, uint32_t andMask,
                                      RouterHandle& atRouterHandle, uint32_t forPort, uint32_t inSpace);
  /// findCapabilityAtRouterHandle on a new local handle for atRoute; its router
  /// ID stays at the handle's default of 0.
  Status findCapabilityAtRoute(uint8_t& outOffset, uint32_t forValue, uint32_t andMask, uint64_t atRoute,
                               uint32_t forPort, uint32_t inSpace);

  // ---- EEPROM bit-bang (eeprom/ee_pins.cpp, eeprom/ee_transactions.cpp) ----
  // The switch's serial EEPROM is reached through one pin register of its DFT
  // capability: every operation takes the router handle of the switch and
  // withDFTOffset, the DFT capability's double-word index in device space (as
  // getDROMOffsetWithRouterHandle finds it). Each returns 0 or the status of
  // the first failing step.

  /// Reads the EEPROM pin register into outValue.
  Status eeRead(uint32_t& outValue, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Writes the whole EEPROM pin register.
  Status eeWrite(uint32_t value, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Read-modify-write of the pin register: the mask bits are cleared and value
  /// is ORed in (value is not itself masked). A failed read skips the write.
  Status eeWriteWithMask(uint32_t value, uint32_t mask, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Waits (about a second at most) for the bit-bang ownership bit to be
  /// clear, then sets it; exclusive access when another agent keeps it.
  Status eeBB1forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Clears the bit-bang ownership bit.
  Status eeBB0forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Raises chip select (deselects the EEPROM).
  Status eeCS1forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Lowers chip select (selects the EEPROM).
  Status eeCS0forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Raises the serial clock.
  Status eeSK1forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Lowers the serial clock.
  Status eeSK0forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Sets data-in high and clocks it in (one clock pulse).
  Status eeDI1forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Sets data-in low and clocks it in (one clock pulse).
  Status eeDI0forRouterHandle(RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Clocks the 8 bits of byte out to the EEPROM, most significant first.
  Status eeDataWrite(uint8_t byte, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Clocks the 16 bits of address out to the EEPROM, most significant first.
  Status eeAddressWrite(uint16_t address, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Clocks 8 bits in from the EEPROM's data-out into ioByte, shifting it left
  /// once per bit (after 8 bits none of its earlier content is left).
  Status eeDataRead(uint8_t& ioByte, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Sends one instruction as a complete transaction of its own.
  Status eeCommandWrite(uint8_t instruction, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Reads the byte at address into outByte (unverified).
  Status eeByteRead(uint8_t& outByte, uint16_t address, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Writes byte at address (unverified), between write enable and disable.
  Status eeByteWrite(uint8_t byte, uint16_t address, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Reads the EEPROM's status register into outValue and prints it.
  Status eeReadStatusRegister(uint8_t& outValue, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Writes the EEPROM's status register, between write enable and disable.
  Status eeWriteStatusRegister(uint8_t value, RouterHandle& forRouterHandle, uint8_t withDFTOffset);
  /// Reads count bytes from startAddress upward (wrapping at 0xFFFF) into
  /// buffer, each read twice until both reads agree (10 attempts per byte).
  /// Not readable when they never agree; bytes before the failing one are in buffer.
  /// progress, when given, hears of every byte read (out of count).
  Status eeMultiByteRead(uint8_t* buffer, uint32_t count, uint16_t startAddress, RouterHandle& forRouterHandle,
                         uint8_t withDFTOffset, Progress* progress = nullptr);
  /// Writes count bytes of buffer from startAddress upward (wrapping at 0xFFFF),
  /// each read back (10 attempts per byte). Not writable when the read-back
  /// differs, not readable when it fails.
  Status eeMultiByteWrite(const uint8_t* buffer, uint32_t count, uint16_t startAddress,
                          RouterHandle& forRouterHandle, uint8_t withDFTOffset);

  // ---- NVM (eeprom/nvm.cpp) ----

  /// Finds the switch's DFT capability and the DROM's byte offset in its
  /// EEPROM. Both outputs are written only on success; aborted when the
  /// switch has no DROM (offset 0).
  Status getDROMOffsetWithRouterHandle(RouterHandle& routerHandle, uint32_t& outDROMOffset, uint8_t& outDFTOffset);
  /// One NVM read through the link controller's mailbox at mailboxBase (a
  /// double-word index of device space): dwordCount (at most 16) double words
  /// from NVM byte offset nvmOffset (dword-aligned, first 64 KiB) into outDwords.
  /// Unsupported on controllers without the mailbox; not readable when the
  /// controller reports an error; not responding when it never completes.
  Status nvmReadLCTunneled(RouterHandle& routerHandle, uint32_t nvmOffset, uint32_t dwordCount, uint32_t* outDwords,
                           uint32_t mailboxBase);
  /// Reads size bytes of the switch's NVM from startAddress into buffer
  /// through the link-controller mailbox, or from its EEPROM when the switch
  /// has no link-controller capability.
  /// progress, when given, hears of the bytes read so far (out of size).
  Status nvmRead(uint8_t* buffer, uint32_t size, uint16_t startAddress, RouterHandle& routerHandle,
                 Progress* progress = nullptr);

  // ---- Topology (toolkit/topology.cpp) ----
  // Switches and ports of the fabric as registry entries of the service
  // plane. Each returns an entry the caller owns, a null entry for none. The
  // router ID is carried along; only nhiForRouterID uses it.

  /// The host-interface port of the controller of routerID: the first port
  /// child of its controller entry. Null without a user client for routerID.
  RegistryEntry nhiForRouterID(uint8_t routerID);
  /// The switch of port: its registry parent when that is a switch, else the
  /// last switch among its children (a router's switch hangs from its
  /// upstream port). Null when port has no parent.
  RegistryEntry switchFromPort(const RegistryEntry& port, uint8_t andRouterID);
  /// The port at the far end of a lane adapter's link (the last port child);
  /// null for a port that is not a lane adapter.
  RegistryEntry childPortFromPort(const RegistryEntry& port, uint8_t andRouterID);
  /// The link to another host of a lane adapter (the last XDomain link
  /// child); null for a port that is not a lane adapter.
  RegistryEntry childXDomainLinkFromPort(const RegistryEntry& port, uint8_t andRouterID);
  /// The port numbered index of onSwitch: the switch's registry parent (its
  /// upstream port) when that carries the number, else the first such child.
  RegistryEntry portAtIndex(uint32_t index, const RegistryEntry& onSwitch, uint8_t andRouterID);
  /// The first switch whose "Route String" is route, depth first in registry
  /// order from fromSwitch (itself included) across the links. Null when
  /// fromSwitch has no route string or nothing matches.
  RegistryEntry switchForRouteFromSwitch(uint64_t route, const RegistryEntry& fromSwitch, uint8_t andRouterID);
  /// switchForRouteFromSwitch from the host switch of the controller of
  /// andRouterID; route 0 gives the host switch.
  RegistryEntry switchForRouteAndRouterID(uint64_t route, uint8_t andRouterID);
  /// The adapter at the other end of a lane adapter's link, from the registry
  /// shape (the last match wins) or else from the port's "Peer Port Route
  /// String" and "Peer Port Number". Null when neither finds it.
  RegistryEntry peerForNULLPort(const RegistryEntry& port, uint8_t andRouterID);
  /// The other lane of a dual-lane link; no lookup exists, always null.
  RegistryEntry dualLinkPortForNULLPort(const RegistryEntry& port, uint8_t andRouterID);

  // ---- Paths (toolkit/paths.cpp) ----
  // Text of the paths report; nothing is printed.

  /// The whole report: for every controller in the manager's order, the
  /// paths of all its routers.
  std::string paths();
  /// The same paths as data, one for each line of the report, in its order.
  std::vector<TracedPath> tracedPaths();
  /// The paths that start at port, at the other ports of port's switch and,
  /// depth first, at every router below it. With record, each line's path
  /// is also appended there.
  std::string pathsFromSwitchWithUpstreamPort(const RegistryEntry& port, uint8_t andRouterID,
                                              std::vector<TracedPath>* record = nullptr);
  /// One line per "Hop Table" entry of port (paths starting there); empty for
  /// a lane adapter that leads to no other host.
  std::string pathsFromPort(const RegistryEntry& port, uint8_t andRouterID,
                            std::vector<TracedPath>* record = nullptr);
  /// The rest of a line: the path entering port's router by port with hop ID
  /// hop, traced across links until it ends, or until it enters an adapter
  /// with a hop ID it entered before (a loop: an ERROR ending). checkForEDM also treats a lane
  /// adapter as an XDomain end when the adapter below it has the link. With
  /// record, the links crossed and the ending are added to it.
  std::string pathFromPort(const RegistryEntry& port, uint64_t hop, uint8_t andRouterID, bool checkForEDM,
                           TracedPath* record = nullptr);

  // ---- Remote access by route (toolkit/remote_by_route.cpp) ----
  // A router behind the configuration bridge (IECS device 3) on bus of the
  // router at route, reached with the first controller's (router ID 0) own
  // IECS transfers.

  /// Reads double word (port, space, index) of the router behind the bridge
  /// into outData (written only on success). Returns 0, general failure
  /// without a user client for router ID 0, unsupported for an unknown
  /// bridge, time-out when the bridge never finishes, or the transfer's status.
  Status iecsRemoteConfigReadWithRoute(uint64_t route, uint32_t bus, uint32_t port, uint32_t space, uint32_t index,
                                       uint32_t& outData);
  /// Writes double word (port, space, index) of the router behind the bridge;
  /// statuses as iecsRemoteConfigReadWithRoute.
  Status iecsRemoteConfigWriteWithRoute(uint64_t route, uint32_t bus, uint32_t port, uint32_t space, uint32_t index,
                                        uint32_t data);

 private:
  bool relativeAddressing_ = false;
};

}  // namespace tbt
