// The DROM object's port map: its copy, its logged rendering and the lookup
// the parser uses.
#include "drom/drom.h"
#include "drom/entry_layout.h"

namespace tbt {
namespace {

// The port map's pairs as the little-endian bytes of its table.
std::vector<uint8_t> portMapBytes(std::span<const PortMapPair> pairs) {
  std::vector<uint8_t> bytes(pairs.size() * 8);  // two 32-bit words a pair
  uint8_t* out = bytes.data();
  for (const PortMapPair& pair : pairs) {
    drom_layout::writeLE(out, pair.port, 4);
    drom_layout::writeLE(out + 4, pair.type, 4);
    out += 8;
  }
  return bytes;
}

}  // namespace

void DROM::setPortMap(std::span<const PortMapPair> pairs) {
  mPortMap.assign(pairs.begin(), pairs.end());
  logPortMap();
}

std::span<const PortMapPair> DROM::getPortMap() {
  logPortMap();
  return mPortMap;
}

void DROM::logPortMap() const {
  if (!mOutput.log) return;
  std::vector<uint8_t> bytes = portMapBytes(mPortMap);
  std::optional<std::string> text = decodeAsRaw(bytes.empty() ? nullptr : bytes.data(),
                                                static_cast<uint32_t>(bytes.size()), 0, kRawStyleCode, mOutput);
  logLine("Port Map:\n %s", text ? text->c_str() : "(null)");
}

const PortMapPair* DROM::findPort(uint32_t port) const {
  // The map is normally in port order, so the pair at port - 1 is tried first.
  if (port >= 1 && port <= mPortMap.size() && mPortMap[port - 1].port == port) return &mPortMap[port - 1];
  for (const PortMapPair& pair : mPortMap)
    if (pair.port == port) return &pair;
  return nullptr;
}

}  // namespace tbt
