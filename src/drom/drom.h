#pragma once
// The device ROM (DROM) of a Thunderbolt switch: parsing an image into its
// decoded form, building an image from a port map, names and generic
// entries, and dumping images as text. Every step prints diagnostic lines
// through the object's DromOutput.
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "drom/drom_output.h"
#include "drom/rom_record.h"
#include "platform/status.h"

namespace tbt {

/// buildROM modes.
inline constexpr uint32_t kBuildFullImage = 0;
inline constexpr uint32_t kBuildHeaderOnly = 1;

/// decodeAsRaw styles.
inline constexpr uint8_t kRawStyleDump = 0;
inline constexpr uint8_t kRawStyleCode = 1;
inline constexpr uint8_t kRawStylePlain = 2;

class DROM {
 public:
  /// A DROM object printing through output (the host or standard streams by default).
  explicit DROM(DromOutput output = DromOutput::standard());

  // ---- Parsing (drom_parse.cpp) ----

  /// Parses size bytes of an image into the parsed form, printing every field.
  /// A checksum mismatch fails unless ignoreCRCs. Returns 0, kBadArgument
  /// (null buffer), kNotReady (no port map), kChecksumMismatch, or
  /// kGeneralFailure (image larger than the buffer, an entry past the buffer
  /// or malformed, an unknown adapter class or a port outside the records;
  /// the last two let the walk go on).
  Status parseROMDataIgnoreCRCs(const uint8_t* buffer, uint32_t size, bool ignoreCRCs);
  /// parseROMDataIgnoreCRCs with the checksums enforced.
  Status parseROMData(const uint8_t* buffer, uint32_t size);
  /// The parsed form of the last parse (port n at index n - 1).
  const ParsedROM& getParsedROM() const { return fParsedROM; }
  /// Generic records filled by parses of this object (never reset).
  uint32_t genericsCount() const { return mGenericsCount; }

  /// Copies the port map, replacing any earlier one, and logs its rendering.
  void setPortMap(std::span<const PortMapPair> pairs);
  /// Logs the port map's rendering and returns the object's copy.
  std::span<const PortMapPair> getPortMap();

  // ---- Building (drom_build.cpp) ----

  /// The values the builder encodes: the header fields and the port records,
  /// the record of port n at index n (a port past the records encodes as an
  /// all-zero record).
  ParsedROM& genericROM() { return mGenericROM; }
  /// Fills the builder's values, names and generic entries from a parsed
  /// form (genericsCount records of it), so that building reproduces the
  /// image it was parsed from.
  void loadParsedForm(const ParsedROM& parsed, uint32_t genericsCount);

  /// Builds the image: kBuildFullImage encodes the port map's entries, the
  /// names and the generic entries; kBuildHeaderOnly only the header and
  /// needs no port map; other modes need a port map but encode the header
  /// only. Returns 0 or kNotReady (no port map).
  Status buildROM(uint32_t mode);
  /// Appends one entry for the port from its record.
  void encodeSimplePort(const PortRecord& record, uint8_t port, bool disabled);
  void encodeNullPort(const PortRecord& record, uint8_t port);
  void encodePCIPort(const PortRecord& record, uint8_t port);
  void encodeDPPort(const PortRecord& record, uint8_t port);
  /// Appends bytes to the image, printing them; what does not fit in the
  /// buffer is dropped with "ROM overrun!".
  void romCopy(const uint8_t* source, size_t count);
  /// Stores a name (at most 253 characters are kept).
  void setVendorName(const char* name);
  void setModelName(const char* name);
  /// Appends a generic entry of the given type (bits 5..0) and data.
  void addGenericType(uint32_t type, std::vector<uint8_t> data);
  /// The image size so far.
  uint16_t getSize() const { return static_cast<uint16_t>(mROMOffset); }
  /// True after a complete buildROM.
  bool isReady() const { return mROMReady; }

  // ---- Read-out and dumps (drom_dump.cpp) ----

  /// Prints size bytes as rows of width bytes (0 means 16); null prints nothing.
  void hexDumpWidth(const uint8_t* buffer, uint32_t size, uint8_t width);
  void hexDump(const uint8_t* buffer, uint32_t size) { hexDumpWidth(buffer, size, 0); }
  /// The built image; size receives its length. Null (size 0) before a build.
  const uint8_t* getBytesWithSize(uint32_t& size) const;
  /// The built image followed by a zeroed 32-byte security block; size
  /// receives the image length + 32. Null (size 0) before a build.
  const uint8_t* getBytesPlusSecurityBlockWithSize(uint32_t& size);
  /// With a null destination prints the image's hex dump and returns 0; any
  /// other destination returns kGeneralFailure. The size is not used.
  Status dumpTo(uint8_t* destination, uint32_t size);
  /// Reserved; returns 0 and does nothing.
  Status dumpAsCodeTo(uint8_t* destination, uint32_t size);

 private:
  void print(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void logLine(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void logPortMap() const;

  // Parsing steps.
  Status parseHeader(const uint8_t* buffer, uint32_t size, bool ignoreCRCs);
  Status walkEntries(const uint8_t* buffer, uint32_t size);
  bool parseGenericEntry(const uint8_t* entry, size_t available);
  bool parseAdapterEntry(const uint8_t* entry, size_t available, Status& result);
  bool decodeAdapterFields(uint32_t adapterClass, const uint8_t* entry, size_t available, PortRecord& record);
  const PortMapPair* findPort(uint32_t port) const;

  // Building steps.
  void appendHeader();
  void encodePorts();
  void encodeNames();
  void encodeGenerics();
  void finishHeader();
  void appendEntry(std::span<const uint8_t> entry) { romCopy(entry.data(), entry.size()); }
  // A generic entry's head (length byte kept to 8 bits, type) and count data bytes.
  void appendGenericEntry(size_t length, uint32_t type, const uint8_t* data, size_t count);
  const PortRecord& builderRecord(uint32_t port) const;

  DromOutput mOutput;
  std::vector<uint8_t> mROM;  // mROMAllocSize bytes plus room for the security block
  uint32_t mROMAllocSize = 0;
  size_t mROMOffset = 0;
  bool mROMReady = false;
  std::array<char, kDromGenericDataSize> mVendorName{};
  uint16_t mVendorNameLength = 0;
  std::array<char, kDromGenericDataSize> mModelName{};
  uint16_t mModelNameLength = 0;
  uint32_t mGenericsCount = 0;
  ParsedROM mGenericROM;
  ParsedROM fParsedROM;
  std::vector<std::pair<uint32_t, std::vector<uint8_t>>> mGenericsArray;
  std::vector<PortMapPair> mPortMap;
};

/// Renders size bytes as text: style 0 a dump with offsets, 1 a C
/// initialiser, 2 plain hex; rows of width bytes (0: one row). The last byte
/// is rendered on its own at the end. Logs "decodeAsRaw" through output.
/// Returns no text for a null buffer.
std::optional<std::string> decodeAsRaw(const uint8_t* buffer, uint32_t size, uint8_t width, uint8_t style,
                                       const DromOutput& output = DromOutput::standard());

/// The text hexDumpWidth prints: "Size of dump" line, rows, then "*\n".
std::string hexDumpText(const uint8_t* buffer, uint32_t size, uint8_t width);

}  // namespace tbt
