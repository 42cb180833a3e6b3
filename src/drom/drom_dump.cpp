// Reading the built image out, and printing or rendering byte buffers.
#include "drom/drom.h"
#include "platform/text.h"

namespace tbt {
namespace {

constexpr uint8_t kDefaultDumpWidth = 16;
constexpr uint32_t kSecurityBlockSize = 32;

}  // namespace

std::string hexDumpText(const uint8_t* buffer, uint32_t size, uint8_t width) {
  std::string text;
  if (buffer == nullptr) return text;
  if (width == 0) width = kDefaultDumpWidth;
  appendf(text, "Size of dump: %u bytes\n", size);
  const uint32_t rows = size / width;
  for (uint32_t row = 0; row < rows; ++row) {
    appendf(text, "%03x: ", row * width);
    for (uint32_t i = 0; i < width; ++i) appendf(text, "%02x ", buffer[row * width + i]);
    text += "\n";
  }
  if (rows * width < size) {
    appendf(text, "%03x: ", rows * width);
    for (uint32_t i = rows * width; i < size; ++i) appendf(text, "%02x ", buffer[i]);
  }
  text += "*\n";
  return text;
}

void DROM::hexDumpWidth(const uint8_t* buffer, uint32_t size, uint8_t width) {
  if (buffer == nullptr || !mOutput.print) return;
  mOutput.print(hexDumpText(buffer, size, width));
}

const uint8_t* DROM::getBytesWithSize(uint32_t& size) const {
  size = mROM.empty() ? 0 : static_cast<uint32_t>(mROMOffset);
  return mROM.empty() ? nullptr : mROM.data();
}

const uint8_t* DROM::getBytesPlusSecurityBlockWithSize(uint32_t& size) {
  size = 0;
  if (mROM.empty()) return nullptr;
  size = static_cast<uint32_t>(mROMOffset);
  // The zeroes go in growing steps from the image end; the buffer behind the
  // image is already clear, so the caller gets 32 zero bytes all the same.
  size_t cursor = mROMOffset;
  for (uint32_t i = 0; i < kSecurityBlockSize; ++i) {
    cursor += i;
    mROM[cursor] = 0;
    ++size;
  }
  return mROM.data();
}

Status DROM::dumpTo(uint8_t* destination, uint32_t) {
  // Only printing is offered: a real destination is refused.
  if (destination != nullptr) return status::kGeneralFailure;
  uint32_t size = 0;
  const uint8_t* bytes = getBytesWithSize(size);
  hexDump(bytes, size);
  return status::kSuccess;
}

Status DROM::dumpAsCodeTo(uint8_t*, uint32_t) { return status::kSuccess; }

std::optional<std::string> decodeAsRaw(const uint8_t* buffer, uint32_t size, uint8_t width, uint8_t style,
                                       const DromOutput& output) {
  if (output.log) output.log("decodeAsRaw\n");
  if (buffer == nullptr) return std::nullopt;
  std::string text;
  text.reserve(50);
  // Every byte but the last goes in rows; the last is rendered on its own.
  const uint32_t body = size > 0 ? size - 1 : 0;
  uint32_t rows = 0;
  uint32_t rest = 0;
  if (width != 0 && size > 0) {
    rows = body / width;
    rest = body % width;
  } else if (width == 0) {
    rows = 1;
    width = static_cast<uint8_t>(body);  // one row, its width kept to 8 bits
  }
  const char* byteFormat = style == kRawStylePlain ? "%02x " : "%02x, ";
  auto appendByte = [&](uint8_t byte) {
    if (style == kRawStyleCode) text += "0x";
    appendf(text, byteFormat, byte);
  };
  if (style == kRawStyleDump) appendf(text, "Size: %u bytes\n", size);
  if (style == kRawStyleCode) text += "uint8_t buffer[] = { ";
  for (uint32_t row = 0; row < rows; ++row) {
    if (style == kRawStyleDump) appendf(text, "%03x: ", row * width);
    for (uint32_t i = 0; i < width; ++i) appendByte(buffer[row * width + i]);
    if ((style == kRawStyleDump || style == kRawStyleCode) && rows != 1) text += "\n";
  }
  if (rest > 0) {
    if (style == kRawStyleDump) appendf(text, "%03x: ", rows * width);
    for (uint32_t i = 0; i < rest; ++i) appendByte(buffer[rows * width + i]);
  } else if (style == kRawStyleDump) {
    appendf(text, "%03x: ", rows * width);
  }
  if (size > 0) {
    if (style == kRawStyleDump) appendf(text, "%02x *", buffer[size - 1]);
    if (style == kRawStyleCode) appendf(text, "0x%02x };", buffer[size - 1]);
    if (style == kRawStylePlain) appendf(text, "%02x", buffer[size - 1]);
  }
  return text;
}

}  // namespace tbt
