#include "sim/memory.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace tbt::sim {

const DwordStore::Word* DwordStore::find(uint32_t index) const {
  auto it = std::lower_bound(words_.begin(), words_.end(), index,
                             [](const Word& w, uint32_t i) { return w.first < i; });
  return it != words_.end() && it->first == index ? &*it : nullptr;
}

uint32_t DwordStore::read(uint32_t index) const {
  const Word* w = find(index);
  return w ? w->second : 0;
}

void DwordStore::write(uint32_t index, uint32_t value) {
  auto it = std::lower_bound(words_.begin(), words_.end(), index,
                             [](const Word& w, uint32_t i) { return w.first < i; });
  if (it != words_.end() && it->first == index) it->second = value;
  else words_.insert(it, {index, value});
}

std::optional<size_t> DwordStore::writeAll(std::vector<Word> words) {
  // Positions sorted by index, the earlier occurrence first among equal ones.
  std::vector<uint32_t> order(words.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = static_cast<uint32_t>(i);
  std::stable_sort(order.begin(), order.end(),
                   [&](uint32_t a, uint32_t b) { return words[a].first < words[b].first; });
  for (size_t i = 0; i < order.size(); ++i) {
    const uint32_t index = words[order[i]].first;
    if ((i > 0 && words[order[i - 1]].first == index) || isSet(index)) return order[i];
  }
  std::vector<Word> merged;
  merged.reserve(words_.size() + words.size());
  auto old = words_.begin();
  for (uint32_t at : order) {
    while (old != words_.end() && old->first < words[at].first) merged.push_back(*old++);
    merged.push_back(words[at]);
  }
  merged.insert(merged.end(), old, words_.end());
  words_ = std::move(merged);
  return std::nullopt;
}

uint8_t ByteMemory::read(uint64_t address) const {
  if (!contains(address)) return fill_;
  auto it = std::upper_bound(runs_.begin(), runs_.end(), address,
                             [](uint64_t a, const Run& r) { return a < r.start; });
  if (it == runs_.begin()) return fill_;
  --it;
  return address < it->end() ? it->bytes[address - it->start] : fill_;
}

std::vector<uint8_t> ByteMemory::read(uint64_t address, size_t length) const {
  std::vector<uint8_t> out(length);
  for (size_t i = 0; i < length; ++i) out[i] = read(address + i);
  return out;
}

bool ByteMemory::write(uint64_t address, std::span<const uint8_t> bytes) {
  if (bytes.empty()) return true;
  if (!contains(address) || !contains(address + bytes.size() - 1)) return false;
  const uint64_t begin = address, end = address + bytes.size();
  // The runs that the new bytes overlap or touch: [first, last).
  auto first = std::lower_bound(runs_.begin(), runs_.end(), begin,
                                [](const Run& r, uint64_t a) { return r.end() < a; });
  auto last = first;
  while (last != runs_.end() && last->start <= end) ++last;
  if (first == last) {
    runs_.insert(first, Run{begin, std::vector<uint8_t>(bytes.begin(), bytes.end())});
    return true;
  }
  const uint64_t start = std::min(first->start, begin);
  const uint64_t stop = std::max(std::prev(last)->end(), end);
  if (std::next(first) == last && first->start <= begin) {
    // Inside one run or growing it at its end (the common sequential write).
    if (stop > first->end()) first->bytes.resize(stop - first->start);
  } else {
    std::vector<uint8_t> merged(stop - start);
    for (auto it = first; it != last; ++it)
      std::memcpy(merged.data() + (it->start - start), it->bytes.data(), it->bytes.size());
    first->start = start;
    first->bytes = std::move(merged);
    runs_.erase(std::next(first), last);
  }
  std::memcpy(first->bytes.data() + (begin - first->start), bytes.data(), bytes.size());
  return true;
}

}  // namespace tbt::sim
