// tbkit drom parse --json. The fields are decoded with the same layout rows
// as the parser's text, so the two name and read every field alike.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

#include <nlohmann/json.hpp>

#include "cli/json_output.h"
#include "drom/checksums.h"
#include "drom/entry_layout.h"

namespace tbt::cli {
namespace {

using json = nlohmann::ordered_json;
using drom_layout::readLE;

// Adds the "name: value" lines that decoding rows prints as members of
// fields, the first letter of each name made lower case.
void addLines(const std::string& text, json& fields) {
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(start, end - start);
    const size_t colon = line.find(": ");
    if (colon != std::string::npos && colon > 0) {
      std::string name = line.substr(0, colon);
      name[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[0])));
      fields[name] = std::strtoull(line.c_str() + colon + 2, nullptr, 0);
    }
    start = end + 1;
  }
}

template <class Fields>
bool decodeInto(std::span<const drom_layout::EntryField<Fields>> rows, const uint8_t* entry, size_t available,
                uint8_t entryLength, Fields& fields, json& out) {
  std::string text;
  const bool inside = drom_layout::decodeFields(rows, entry, available, entryLength, fields, text);
  addLines(text, out);
  return inside;
}

json checksum(uint32_t stored, uint32_t computed) {
  return {{"stored", stored}, {"computed", computed}, {"status", stored == computed ? "valid" : "mismatch"}};
}

json header(std::span<const uint8_t> image, json& checksums) {
  using namespace drom_header;
  const uint8_t* bytes = image.data();
  const uint64_t uid = readLE(bytes + kUid, 8);
  json head = {{"uid", textf("0x%016llx", static_cast<unsigned long long>(uid))}, {"rid", uid & 0xF}};
  ParsedROM parsed;
  std::string text;
  drom_layout::decodeFields(drom_layout::headerFields(), bytes, image.size(), 0, parsed, text);
  addLines(text, head);
  const uint32_t length = static_cast<uint32_t>(readLE(bytes + kLength, 2));
  head["length"] = length;
  const uint32_t covered = std::min<uint32_t>(length, static_cast<uint32_t>(image.size()) - kCrc32Start);
  checksums["crc8"] = checksum(bytes[kCrc8], crc8(bytes + kUid, 8));
  checksums["crc32"] = checksum(static_cast<uint32_t>(readLE(bytes + kCrc32, 4)),
                                crc32c(bytes + kCrc32Start, static_cast<int32_t>(covered)));
  checksums["crc32"]["covered"] = covered;
  return head;
}

// One adapter entry: its port, the type the port map gives it and its fields.
json adapterEntry(const uint8_t* entry, size_t available, std::span<const PortMapPair> pairs) {
  using namespace drom_layout;
  const uint8_t port = entry[1] & kPortOrTypeMask;
  const bool disabled = (entry[1] & kDisabledBit) != 0;
  json out = {{"kind", "adapter"}, {"port", port}, {"disabled", disabled}};
  auto pair = std::find_if(pairs.begin(), pairs.end(), [&](const PortMapPair& p) { return p.port == port; });
  if (pair == pairs.end()) {
    out["adapterType"] = nullptr;
    return out;
  }
  out["adapterType"] = pair->type;
  if (disabled) return out;
  json fields = json::object();
  const uint8_t length = entry[0];
  PortRecord record;
  switch (pair->type & kAdapterClassMask) {
    case kLaneAdapterClass: decodeInto(laneFields(), entry, available, length, record.lane, fields); break;
    case kPCIeAdapterClass:
      if (decodeInto(pcieHeadFields(), entry, available, length, record.pci, fields)) {
        fields["isUpAdapter"] = length >= kPCIeUpMinLength ? 1 : 0;
        decodeInto(pcieUpFields(), entry, available, length, record.pci, fields);
      }
      break;
    case kDPAdapterClass: decodeInto(dpFields(), entry, available, length, record.dp, fields); break;
    default: return out;
  }
  out["fields"] = std::move(fields);
  return out;
}

json genericEntry(const uint8_t* entry, size_t dataSize) {
  const uint8_t type = entry[1] & drom_layout::kPortOrTypeMask;
  const uint8_t* data = entry + drom_layout::kEntryHeadSize;
  json out = {{"kind", "generic"}, {"type", type}};
  std::string hex;
  for (size_t i = 0; i < dataSize; ++i) appendf(hex, "%02x", data[i]);
  out["data"] = hex;
  if (type == kGenericVendorName || type == kGenericModelName) {
    const char* text = reinterpret_cast<const char*>(data);
    out[type == kGenericVendorName ? "vendorName" : "modelName"] = std::string(text, strnlen(text, dataSize));
  }
  return out;
}

// The entries from the end of the header up to the length field's end, as
// far as the image holds them whole.
json entries(std::span<const uint8_t> image, std::span<const PortMapPair> pairs) {
  json list = json::array();
  const size_t end = std::min<size_t>(readLE(image.data() + drom_header::kLength, 2) + drom_header::kCrc32Start,
                                      image.size());
  size_t offset = drom_header::kSize;
  while (offset + drom_layout::kEntryHeadSize <= end) {
    const uint8_t* entry = image.data() + offset;
    const size_t length = entry[0];
    if (length < drom_layout::kEntryHeadSize || offset + length > image.size()) break;
    json item = (entry[1] & drom_layout::kAdapterEntryBit)
                    ? adapterEntry(entry, image.size() - offset, pairs)
                    : genericEntry(entry, length - drom_layout::kEntryHeadSize);
    item["offset"] = offset;
    item["length"] = length;
    list.push_back(std::move(item));
    offset += length;
  }
  return list;
}

}  // namespace

std::string dromParseJson(std::span<const uint8_t> image, std::span<const PortMapPair> pairs, Status parseStatus) {
  json document = {{"size", image.size()},
                   {"result", parseStatus == status::kSuccess ? std::string("success") : describeStatus(parseStatus)}};
  if (image.size() >= drom_header::kSize) {
    json checksums;
    document["header"] = header(image, checksums);
    document["checksums"] = std::move(checksums);
    document["entries"] = entries(image, pairs);
  }
  return document.dump(2) + "\n";
}

}  // namespace tbt::cli
