#include "sim/memory.h"

namespace tbt::sim {

uint32_t DwordStore::read(uint32_t index) const {
  auto it = words_.find(index);
  return it == words_.end() ? 0 : it->second;
}

uint8_t ByteMemory::read(uint64_t address) const {
  if (!contains(address)) return fill_;
  auto it = bytes_.find(static_cast<uint32_t>(address));
  return it == bytes_.end() ? fill_ : it->second;
}

std::vector<uint8_t> ByteMemory::read(uint64_t address, size_t length) const {
  std::vector<uint8_t> out(length);
  for (size_t i = 0; i < length; ++i) out[i] = read(address + i);
  return out;
}

bool ByteMemory::write(uint64_t address, uint8_t value) {
  if (!contains(address)) return false;
  bytes_[static_cast<uint32_t>(address)] = value;
  return true;
}

bool ByteMemory::write(uint64_t address, std::span<const uint8_t> bytes) {
  if (!bytes.empty() && !contains(address + bytes.size() - 1)) return false;
  for (size_t i = 0; i < bytes.size(); ++i) bytes_[static_cast<uint32_t>(address + i)] = bytes[i];
  return true;
}

}  // namespace tbt::sim
