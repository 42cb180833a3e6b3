#include "toolkit/iecs_bridge.h"

#include <array>

namespace tbt {
namespace {

// The command form's requests, in the byte order the bridge expects them.
constexpr std::array<uint8_t, 4> kCommandRead = {'C', 'I', 'O', 'r'};
constexpr std::array<uint8_t, 4> kCommandWrite = {'C', 'I', 'O', 'w'};

uint32_t addressWord(uint32_t port, uint32_t space, uint32_t index) {
  return kBridgeSpace.place(space) | kBridgePort.place(port) | kBridgeIndex.place(index);
}

Status readWord(BridgeTransport& transport, uint8_t offset, uint32_t& value) {
  uint8_t bytes[4] = {0, 0, 0, 0};
  Status s = transport.read(offset, sizeof bytes, bytes);
  if (s == status::kSuccess) value = loadLittleEndian(bytes);
  return s;
}

// The direct form moves the data double word and the address word in one
// 8-byte window; reading the window back gives the data the router returned.
Status directAccess(BridgeTransport& transport, uint32_t address, uint32_t data, uint32_t* outData) {
  uint8_t window[8];
  storeLittleEndian(data, window);
  storeLittleEndian(address, window + 4);
  Status s = transport.write(kBridgeWindowOffset, sizeof window, window);
  if (s != status::kSuccess) return s;
  uint8_t back[8] = {};
  s = transport.read(kBridgeWindowOffset, sizeof back, back);
  if (s == status::kSuccess && outData) *outData = loadLittleEndian(back);
  return s;
}

// The command form starts the access with four characters at offset 16 and
// clears them when the far router has answered.
Status runCommand(BridgeTransport& transport, const std::array<uint8_t, 4>& command) {
  Status s = transport.write(kBridgeWindowOffset, static_cast<uint32_t>(command.size()), command.data());
  if (s != status::kSuccess) return s;
  return pollForCompletion([&] {
    uint32_t window = 0;
    return readWord(transport, kBridgeWindowOffset, window) == status::kSuccess && window == 0;
  });
}

}  // namespace

uint32_t loadLittleEndian(const uint8_t* bytes) {
  return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

void storeLittleEndian(uint32_t value, uint8_t* bytes) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(value >> (8 * i));
}

Status bridgeConfigRead(BridgeTransport& transport, uint32_t port, uint32_t space, uint32_t index,
                        uint32_t& outData) {
  uint32_t identity = 0;
  Status s = readWord(transport, kBridgeIdentityOffset, identity);
  if (s != status::kSuccess) return s;
  const uint32_t address = addressWord(port, space, index);
  if (identity == kDirectBridgeIdentity)
    return directAccess(transport, kBridgeStart.place(1) | address, 0, &outData);
  if (identity != kCommandBridgeIdentity) return status::kUnsupported;
  uint8_t request[4];
  storeLittleEndian(address, request);
  s = transport.write(kBridgeCommandAddressOffset, sizeof request, request);
  if (s == status::kSuccess) s = runCommand(transport, kCommandRead);
  if (s == status::kSuccess) s = readWord(transport, kBridgeCommandAddressOffset, outData);
  return s;
}

Status bridgeConfigWrite(BridgeTransport& transport, uint32_t port, uint32_t space, uint32_t index,
                         uint32_t data) {
  uint32_t identity = 0;
  Status s = readWord(transport, kBridgeIdentityOffset, identity);
  if (s != status::kSuccess) return s;
  const uint32_t address = addressWord(port, space, index);
  if (identity == kDirectBridgeIdentity)
    return directAccess(transport, kBridgeStart.place(1) | kBridgeWrite.place(1) | address, data,
                        nullptr);
  if (identity != kCommandBridgeIdentity) return status::kUnsupported;
  uint8_t request[8];
  storeLittleEndian(address, request);
  storeLittleEndian(data, request + 4);
  s = transport.write(kBridgeCommandAddressOffset, sizeof request, request);
  if (s == status::kSuccess) s = runCommand(transport, kCommandWrite);
  return s;
}

}  // namespace tbt
