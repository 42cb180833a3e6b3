#include "cli/json_report_sink.h"

#include <nlohmann/json.hpp>

#include "kernel/config_space.h"
#include "platform/status.h"
#include "platform/text.h"

namespace tbt::cli {
namespace {

using json = nlohmann::ordered_json;

std::string routeText(uint64_t route) { return textf("0x%llx", static_cast<unsigned long long>(route)); }

// The place of a double word: its router, space, adapter and index.
json place(uint64_t route, uint32_t port, uint32_t space, uint32_t index) {
  json where = {{"route", routeText(route)}};
  if (space == kLinkControllerMemorySpace) {
    where["space"] = "lc-memory";
    where["address"] = index;
    return where;
  }
  const char* name = configSpaceName(space);
  where["space"] = name ? json(name) : json(space);
  where["adapter"] = port;
  where["index"] = index;
  return where;
}

// Text from a device is not always UTF-8: invalid bytes become U+FFFD rather than failing the document.
std::string dump(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

}  // namespace

JsonReportSink::JsonReportSink(std::ostream& out, std::string_view report, Progress* progress)
    : out_(out), progress_(progress) {
  out_ << "{\"report\":" << dump(json(std::string(report))) << ",\"items\":[";
}

void JsonReportSink::item(const std::string& text) {
  if (!out_) return;
  out_ << (first_ ? "\n" : ",\n") << text;
  first_ = false;
}

void JsonReportSink::flushText() {
  if (pending_.empty()) return;
  item(dump(json{{"text", pending_}}));
  pending_.clear();
}

void JsonReportSink::write(std::string_view text) {
  outcome_.add(text);
  pending_.append(text);
}

void JsonReportSink::writeRegister(const ReportRegister& reg) {
  outcome_.add(reg.text);
  flushText();
  json doc = place(reg.route, reg.port, reg.space, reg.index);
  if (reg.space == kLinkControllerMemorySpace) {
    doc["value"] = reg.raw;
    item(dump(doc));
    return;
  }
  doc["printedIndex"] = reg.printedIndex;
  doc["raw"] = reg.raw;
  json fields = json::array();
  for (const ReportField& f : reg.fields) {
    json field = {{"name", f.name}, {"value", f.value}};
    if (!f.valueName.empty()) field["valueName"] = f.valueName;
    fields.push_back(std::move(field));
  }
  doc["fields"] = std::move(fields);
  item(dump(doc));
}

void JsonReportSink::readFailed(uint64_t route, uint32_t port, uint32_t space, uint32_t index, uint32_t status) {
  flushText();
  json doc = place(route, port, space, index);
  doc["status"] = textf("0x%08x", status);
  doc["error"] = describeStatus(status);
  item(dump(doc));
}

void JsonReportSink::finish() {
  flushText();
  uint32_t status = 0;
  json end;
  if (outcome_.empty()) {
    end["outcome"] = "empty";
  } else if (outcome_.closesWithError(status)) {
    end["outcome"] = "error";
    end["status"] = textf("0x%08x", status);
  } else {
    end["outcome"] = "complete";
  }
  const std::string tail = dump(end);  // {"outcome": ...}: its members close the document
  out_ << "\n],"<< std::string_view(tail).substr(1) << "\n";
}

}  // namespace tbt::cli
