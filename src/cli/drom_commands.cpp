#include "cli/drom_commands.h"

#include <ostream>

#include "cli/json_output.h"
#include "drom/drom.h"
#include "drom/port_maps.h"
#include "platform/text.h"

namespace tbt::cli {
namespace {

// Images are a few kilobytes at most; anything far larger is not one.
constexpr size_t kMaxImageFile = 1 << 20;
// The builder's length field holds 10 bits of the length counted from offset 13.
constexpr uint32_t kMaxBuiltImage = 1023 + drom_header::kCrc32Start;
// An entry's length byte counts its 2-byte head: a name keeps room for its
// terminator, generic data does not need one.
constexpr size_t kMaxNameLength = 255 - 2 - 1;
constexpr size_t kMaxGenericData = 255 - 2;
constexpr uint64_t kMaxEntryPort = 0x3F;
constexpr uint64_t kMaxGenericType = 0x3F;
constexpr uint8_t kDefaultWidth = 16;
// The map parse uses without --port-map (its help names it too).
constexpr const char* kDefaultParseMap = "lane6-pcie4-dp3";

// Parser and builder lines go to the command's output (builder lines only
// when verbose); log lines go to the error stream when verbose.
DromOutput commandOutput(CommandContext& context, bool printAlways) {
  DromOutput output;
  std::ostream& out = context.out();
  std::ostream& err = context.err();
  if (printAlways || context.verbose()) output.print = [&out](std::string_view text) { out << text; };
  if (context.verbose())
    output.log = [&err](std::string_view text) { err << text << (text.ends_with('\n') ? "" : "\n"); };
  return output;
}

std::string portMapNames() {
  std::string names;
  for (const NamedPortMap& map : namedPortMaps()) appendf(names, "%s%s", names.empty() ? "" : ", ", map.name);
  return names;
}

std::string parsePortMapPair(std::string_view item, PortMapPair& pair) {
  const size_t colon = item.find(':');
  if (colon == std::string_view::npos)
    return textf("'%.*s' is not port:type", static_cast<int>(item.size()), item.data());
  uint64_t port = 0;
  uint64_t type = 0;
  std::string error = parseNumber(item.substr(0, colon), kMaxEntryPort, port);
  if (error.empty()) error = parseNumber(item.substr(colon + 1), UINT32_MAX, type);
  if (error.empty() && port == 0) error = "port 0 does not exist (ports count from 1)";
  pair = PortMapPair{static_cast<uint32_t>(port), static_cast<uint32_t>(type)};
  return error;
}

// Resolves a --port-map value: the name of a constant map or a list
// "port:type,port:type,...". Returns "" or a one-line error.
std::string parsePortMapArgument(std::string_view text, std::vector<PortMapPair>& pairs) {
  if (text.find(':') == std::string_view::npos) {
    const NamedPortMap* map = findNamedPortMap(text);
    if (map == nullptr)
      return textf("'%.*s' is neither a port map (%s) nor a port:type list", static_cast<int>(text.size()), text.data(),
                   portMapNames().c_str());
    pairs.assign(map->pairs.begin(), map->pairs.end());
    return std::string();
  }
  std::vector<PortMapPair> result;
  size_t start = 0;
  while (start <= text.size()) {
    size_t comma = text.find(',', start);
    std::string_view item =
        text.substr(start, comma == std::string_view::npos ? std::string_view::npos : comma - start);
    PortMapPair pair;
    std::string error = parsePortMapPair(item, pair);
    if (!error.empty()) return error;
    for (const PortMapPair& earlier : result)
      if (earlier.port == pair.port) return textf("port %u is given twice", pair.port);
    result.push_back(pair);
    if (comma == std::string_view::npos) break;
    start = comma + 1;
  }
  pairs = std::move(result);
  return std::string();
}

bool readImage(CommandContext& context, std::vector<uint8_t>& bytes) {
  std::string error = readFileBytes(context.args().operands()[0], kMaxImageFile, bytes);
  if (!error.empty()) context.failure(error);
  return error.empty();
}

bool portMapOption(CommandContext& context, std::vector<PortMapPair>& pairs) {
  const std::string* text = context.args().value("port-map");
  return context.checkOption("port-map", parsePortMapArgument(text != nullptr ? *text : kDefaultParseMap, pairs));
}

// The parser and decodeAsRaw take an empty file as an empty buffer, not as none.
const uint8_t* bytesOf(const std::vector<uint8_t>& bytes) {
  static const uint8_t kNoByte = 0;
  return bytes.empty() ? &kNoByte : bytes.data();
}

int runParse(CommandContext& context) {
  std::vector<PortMapPair> pairs;
  std::vector<uint8_t> image;
  if (!portMapOption(context, pairs)) return kExitUsage;
  if (!readImage(context, image)) return kExitFailure;
  const bool json = context.args().has(kJsonOption.name);
  DROM drom(json ? DromOutput::silent() : commandOutput(context, true));
  drom.setPortMap(pairs);
  Status status = drom.parseROMDataIgnoreCRCs(bytesOf(image), static_cast<uint32_t>(image.size()),
                                              context.args().has("ignore-crcs"));
  if (json) context.out() << dromParseJson(image, pairs, status);
  if (status != status::kSuccess)
    return context.failure(
        textf("%s: parse failed: %s", context.args().operands()[0].c_str(), describeStatus(status).c_str()));
  return kExitSuccess;
}

bool nameOption(CommandContext& context, const char* option, std::string& name) {
  const std::string* text = context.args().value(option);
  if (text == nullptr) return true;
  if (text->size() > kMaxNameLength)
    return context.checkOption(option, textf("at most %zu characters fit in a name entry", kMaxNameLength));
  name = *text;
  return true;
}

bool genericOptions(CommandContext& context, DROM& drom) {
  for (const std::string& text : context.args().values("generic")) {
    const size_t colon = text.find(':');
    uint64_t type = 0;
    std::vector<uint8_t> data;
    std::string error = colon == std::string::npos ? textf("'%s' is not TYPE:HEX", text.c_str())
                                                   : parseNumber(text.substr(0, colon), kMaxGenericType, type);
    if (error.empty()) error = parseHexBytes(text.substr(colon + 1), data);
    if (error.empty() && data.size() > kMaxGenericData)
      error = textf("at most %zu data bytes fit in a generic entry", kMaxGenericData);
    if (!context.checkOption("generic", error)) return false;
    drom.addGenericType(static_cast<uint32_t>(type), std::move(data));
  }
  return true;
}

int runBuild(CommandContext& context) {
  std::vector<PortMapPair> pairs;
  uint64_t uid = 0;
  uint64_t vendorId = 0;
  uint64_t modelId = 0;
  std::string vendorName;
  std::string modelName;
  if (!portMapOption(context, pairs) || !context.number("uid", UINT64_MAX, uid) ||
      !context.number("vendor-id", UINT16_MAX, vendorId) || !context.number("model-id", UINT16_MAX, modelId) ||
      !nameOption(context, "vendor-name", vendorName) || !nameOption(context, "model-name", modelName))
    return kExitUsage;
  DROM drom(commandOutput(context, false));
  if (!genericOptions(context, drom)) return kExitUsage;
  ParsedROM& values = drom.genericROM();
  values.uid = uid;
  values.version = 1;
  values.vendorID = static_cast<uint16_t>(vendorId);
  values.modelID = static_cast<uint16_t>(modelId);
  if (context.args().has("vendor-name")) drom.setVendorName(vendorName.c_str());
  if (context.args().has("model-name")) drom.setModelName(modelName.c_str());
  drom.setPortMap(pairs);
  Status status = drom.buildROM(kBuildFullImage);
  if (status != status::kSuccess) return context.failure("build failed: " + describeStatus(status));
  uint32_t size = 0;
  const uint8_t* image = drom.getBytesWithSize(size);
  if (size > kMaxBuiltImage)
    return context.failure(
        textf("the image of %u bytes is longer than its length field can say (%u)", size, kMaxBuiltImage));
  const std::string* path = context.args().value("output");
  if (path == nullptr) {
    context.out() << hexDumpText(image, size, kDefaultWidth);
    return kExitSuccess;
  }
  // "-" writes the image itself to standard output, with nothing around it,
  // through the checked output (quiet on a broken pipe).
  if (*path == "-") {
    context.out().write(reinterpret_cast<const char*>(image), size);
    return kExitSuccess;
  }
  std::string error = writeFileAtomically(*path, std::span<const uint8_t>(image, size));
  if (!error.empty()) return context.failure(error);
  context.out() << textf("wrote %u bytes to %s\n", size, escapeControls(*path).c_str());
  return kExitSuccess;
}

int runDump(CommandContext& context) {
  static constexpr const char* kStyles[] = {"dump", "code", "plain"};
  uint8_t style = kRawStyleDump;
  if (const std::string* text = context.args().value("style")) {
    size_t i = 0;
    while (i < std::size(kStyles) && *text != kStyles[i]) ++i;
    if (i == std::size(kStyles))
      return context.usageError(textf("--style: '%s' is not dump, code or plain", text->c_str()));
    style = static_cast<uint8_t>(i);
  }
  uint64_t width = kDefaultWidth;
  if (!context.number("width", UINT8_MAX, width)) return kExitUsage;
  if (width == 0) return context.usageError("--width: 0 is not a row width (1 to 255)");
  std::vector<uint8_t> bytes;
  if (!readImage(context, bytes)) return kExitFailure;
  std::optional<std::string> text = decodeAsRaw(bytesOf(bytes), static_cast<uint32_t>(bytes.size()),
                                                static_cast<uint8_t>(width), style, commandOutput(context, true));
  context.out() << text.value_or("") << "\n";
  return kExitSuccess;
}

const OptionSpec kParseOptions[] = {
    {.name = "port-map", .valueName = "NAME|LIST", .help = "what each port is (default: lane6-pcie4-dp3)"},
    {.name = "ignore-crcs", .help = "report checksum mismatches but parse on"},
    kJsonOption,
};

const OptionSpec kBuildOptions[] = {
    {.name = "port-map", .valueName = "NAME|LIST", .help = "the ports to describe", .required = true},
    {.name = "uid", .valueName = "U", .help = "the switch UID (64 bits)", .required = true},
    {.name = "vendor-id", .valueName = "V", .help = "the vendor ID (16 bits)", .required = true},
    {.name = "model-id", .valueName = "M", .help = "the model ID (16 bits)", .required = true},
    {.name = "vendor-name", .valueName = "S", .help = "the vendor name"},
    {.name = "model-name", .valueName = "S", .help = "the model name"},
    {.name = "generic",
     .valueName = "TYPE:HEX",
     .help = "a generic entry: type 0-63 and its data bytes in hex",
     .repeatable = true},
    {.name = "output",
     .shortName = 'o',
     .valueName = "FILE",
     .help = "write the image to FILE, - for standard output (default: print its hex dump)"},
};

const OptionSpec kDumpOptions[] = {
    {.name = "style",
     .valueName = "dump|code|plain",
     .help = "offsets and hex, a C initialiser, or plain hex (default: dump)"},
    {.name = "width", .valueName = "N", .help = "bytes per row, 1 to 255 (default: 16)"},
};

constexpr const char* kPortMapDetails =
    "NAME is one of the port maps below; LIST is port:type,port:type,... with the\n"
    "adapter type word of each port (bits 23..8: 0x000000 lane, 0x100100 PCIe,\n"
    "0x0E0100 DisplayPort). Numbers are decimal or 0x-hex.\n";

std::string portMapHelp() {
  std::string text = kPortMapDetails;
  text += "\nport maps:\n";
  for (const NamedPortMap& map : namedPortMaps()) appendf(text, "  %-16s %s\n", map.name, map.description);
  return text;
}

const std::string& parseDetails() {
  static const std::string text = "Prints the image's hex dump and every field it decodes.\n" + portMapHelp();
  return text;
}

const std::string& buildDetails() {
  static const std::string text =
      "Builds a version-1 image: the header, one entry per port of the map (from\n"
      "empty port records), the vendor and model names and the generic entries.\n" +
      portMapHelp();
  return text;
}

const Command kDromCommands[] = {
    {.name = "parse",
     .operands = "FILE",
     .summary = "parse a DROM image and print its fields",
     .details = parseDetails().c_str(),
     .options = kParseOptions,
     .minOperands = 1,
     .maxOperands = 1,
     .run = runParse},
    {.name = "build",
     .summary = "build a DROM image from a port map, IDs, names and entries",
     .details = buildDetails().c_str(),
     .options = kBuildOptions,
     .run = runBuild},
    {.name = "dump",
     .operands = "FILE",
     .summary = "render a file's bytes as a dump, C code or plain hex",
     .options = kDumpOptions,
     .minOperands = 1,
     .maxOperands = 1,
     .run = runDump},
};

const CommandFamily kDromFamily = {"drom", "device ROM images: parse, build and dump", kDromCommands};

}  // namespace

const CommandFamily& dromFamily() { return kDromFamily; }

}  // namespace tbt::cli
