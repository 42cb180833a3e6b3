// Feeds arbitrary bytes to the DROM parser as an image of one of the
// constant port maps (chosen by the input's size), with the checksums
// enforced and ignored, then rebuilds an image from whatever was parsed and
// parses that too. The lenient parse formats every line it would print; the
// other steps run silent, which keeps the fuzzer fast.
#include <cstddef>
#include <cstdint>

#include "drom/drom.h"
#include "drom/port_maps.h"

namespace {

// An EEPROM holds a few kilobytes; larger inputs only slow the search down.
constexpr size_t kMaxInput = 4096;

tbt::DromOutput discardingOutput() {
  auto drop = [](std::string_view) {};
  return tbt::DromOutput{drop, drop};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > kMaxInput) return 0;
  const auto maps = tbt::namedPortMaps();
  const tbt::NamedPortMap& map = maps[size % maps.size()];
  const uint32_t length = static_cast<uint32_t>(size);

  tbt::DROM strict(tbt::DromOutput::silent());
  strict.setPortMap(map.pairs);
  strict.parseROMData(data, length);

  tbt::DROM lenient(discardingOutput());
  lenient.setPortMap(map.pairs);
  lenient.parseROMDataIgnoreCRCs(data, length, true);

  tbt::DROM builder(tbt::DromOutput::silent());
  builder.setPortMap(map.pairs);
  builder.loadParsedForm(lenient.getParsedROM(), lenient.genericsCount());
  builder.buildROM(tbt::kBuildFullImage);
  uint32_t built = 0;
  const uint8_t* bytes = builder.getBytesPlusSecurityBlockWithSize(built);
  strict.parseROMDataIgnoreCRCs(bytes, built, true);
  return 0;
}
