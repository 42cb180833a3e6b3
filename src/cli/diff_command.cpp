#include "cli/diff_command.h"

#include <map>
#include <memory>
#include <ostream>

#include <nlohmann/json.hpp>

#include "cli/host_capture.h"
#include "cli/host_choice.h"
#include "cli/json_output.h"
#include "compare/host_diff.h"
#include "compare/register_lines.h"
#include "kernel/config_space.h"
#include "kernel/user_client_manager.h"
#include "platform/platform.h"
#include "platform/text.h"
#include "sim/sim_platform.h"

namespace tbt::cli {
namespace {

using compare::RegisterLine;
using compare::RouterDifference;
using compare::WordDifference;
using compare::WordKey;
using json = nlohmann::ordered_json;

// The exit statuses of diff, as those of the diff and cmp tools.
constexpr int kExitEqual = 0;
constexpr int kExitDiffer = 1;
constexpr int kExitTrouble = 2;

constexpr uint64_t kMaxAdapter = 63;

// One side of the comparison: the host as captured, loaded as a simulated host.
struct Side {
  std::string value;
  std::unique_ptr<sim::SimPlatform> capture;
  std::map<compare::RouterPlace, std::map<WordKey, RegisterLine>> lines;
};

// Loads the host value names, captures it (installed only for that) and
// loads the capture, so that every backend is compared alike.
std::string snapshot(Side& side) {
  std::string error;
  std::optional<ChosenHost> chosen = loadHostValue(side.value, &error);
  if (!chosen) return error;
  if (chosen->sim) chosen->sim->setAccessLatencyMicroseconds(0);
  std::unique_ptr<Platform> previous = installPlatform(std::move(chosen->platform));
  const std::string text = captureHost();
  installPlatform(std::move(previous));
  side.capture = sim::loadHost(text, &error);
  if (!side.capture) return "its capture does not load: " + error;
  side.capture->sim().setAddressCountsEnabled(false);
  return std::string();
}

// The lines of every differing double word of one side, its capture installed meanwhile.
void collectLines(Side& side, const std::vector<RouterDifference>& differences) {
  std::unique_ptr<Platform> previous = installPlatform(std::unique_ptr<Platform>(side.capture.release()));
  const auto& clients = ThunderboltUserClientManager::sharedInstance().userClientSet();
  for (const RouterDifference& d : differences) {
    std::vector<compare::WordPlace> wanted;
    for (const auto* words : {&d.words, &d.unreadable})
      for (const WordDifference& w : *words) wanted.push_back(w.where);
    if (wanted.empty()) continue;
    const uint8_t routerID =
        d.place.controller < clients.size() ? clients[d.place.controller]->routerID() : static_cast<uint8_t>(0);
    side.lines[d.place] = compare::registerLines(d.place, routerID, wanted);
  }
  side.capture.reset(static_cast<sim::SimPlatform*>(installPlatform(std::move(previous)).release()));
}

// --ignore: a space, a named group of volatile fields, or one field by name.
class Ignored {
 public:
  explicit Ignored(std::vector<std::string> names) : names_(std::move(names)) {}
  bool counters() const { return has("counters"); }
  // True when every field whose value differs is ignored (and there is one).
  bool covers(const RegisterLine* a, const RegisterLine* b) const {
    if (!a || !b || a->fields.empty() || a->fields.size() != b->fields.size()) return false;
    bool any = false;
    for (size_t i = 0; i < a->fields.size(); ++i) {
      if (a->fields[i].value == b->fields[i].value) continue;
      if (!field(a->fields[i].name)) return false;
      any = true;
    }
    return any;
  }

 private:
  bool has(std::string_view name) const {
    for (const std::string& n : names_)
      if (n == name) return true;
    return false;
  }
  bool field(const std::string& name) const {
    return has(name) || (has("time") && hasWord(name, {"Time", "Timestamp"})) ||
           (has("errors") && hasWord(name, {"Err", "Errs", "Errors"}) && !name.ends_with(" En"));
  }
  // True when one of the name's words (or a bracket group's) is one of words:
  // "Local Time 31:0" and "Errs P4 FC", but not "Config Retry Timeout".
  static bool hasWord(std::string_view name, std::initializer_list<std::string_view> words) {
    while (!name.empty()) {
      const size_t end = std::min(name.find(' '), name.size());
      for (std::string_view w : words)
        if (name.substr(0, end) == w) return true;
      name.remove_prefix(std::min(end + 1, name.size()));
    }
    return false;
  }
  std::vector<std::string> names_;
};

const RegisterLine* lineOf(const Side& side, const RouterDifference& d, const compare::WordPlace& w) {
  auto router = side.lines.find(d.place);
  if (router == side.lines.end()) return nullptr;
  auto line = router->second.find({w.port, w.space, w.index});
  return line == router->second.end() ? nullptr : &line->second;
}

std::string spaceText(const compare::WordPlace& w) {
  return w.space == kDeviceSpace ? std::string("device space")
                                 : textf("adapter %u %s space", w.port, configSpaceName(w.space));
}

// The text a side shows for a double word: its report line, its plain line
// when no report prints it, or why it cannot be read.
std::string answerText(const compare::Answer& answer, const RegisterLine* line, const compare::WordPlace& w) {
  if (!answer.read) return textf("  %03x:  unreadable: %s", w.index, describeStatus(answer.status).c_str());
  return line ? line->text : textf("  %03x:  %08x", w.index, answer.value);
}

std::string capabilityOf(const RegisterLine* a, const RegisterLine* b) {
  if (a && !a->capability.empty()) return a->capability;
  return b ? b->capability : std::string();
}

json answerJson(const compare::Answer& answer, const RegisterLine* line) {
  if (!answer.read) return {{"status", textf("0x%08x", answer.status)}, {"error", describeStatus(answer.status)}};
  json out = {{"raw", answer.value}};
  if (line) {
    out["line"] = line->text;
    json fields = json::array();
    for (const ReportField& f : line->fields) {
      json field = {{"name", f.name}, {"value", f.value}};
      if (!f.valueName.empty()) field["valueName"] = f.valueName;
      fields.push_back(std::move(field));
    }
    out["fields"] = std::move(fields);
  }
  return out;
}

const char* kindName(RouterDifference::Kind kind) {
  switch (kind) {
    case RouterDifference::Kind::OnlyInA: return "only-in-a";
    case RouterDifference::Kind::OnlyInB: return "only-in-b";
    case RouterDifference::Kind::Replaced: return "replaced";
    case RouterDifference::Kind::Registers: break;
  }
  return "registers";
}

// Writes the differences as text or one document; returns whether any remain after --ignore.
bool writeDifferences(CommandContext& context, const Side& a, const Side& b,
                      std::vector<RouterDifference>& differences, const Ignored& ignored) {
  const bool asJson = context.args().has(kJsonOption.name);
  std::ostream& out = context.out();
  json routers = json::array();
  bool differ = false;
  if (!asJson) out << textf("--- A: %s\n+++ B: %s\n", escapeControls(a.value).c_str(), escapeControls(b.value).c_str());
  for (RouterDifference& d : differences) {
    std::erase_if(d.words, [&](const WordDifference& w) {
      return ignored.covers(lineOf(a, d, w.where), lineOf(b, d, w.where));
    });
    if (d.kind == RouterDifference::Kind::Registers && d.words.empty() && d.unreadable.empty()) continue;
    differ = differ || d.kind != RouterDifference::Kind::Registers || !d.words.empty();
    const std::string place = compare::placeText(d.place);
    json router = {{"route", place}, {"controller", d.place.controller}, {"kind", kindName(d.kind)}};
    if (!asJson) out << textf("Router %s (controller %zu)", place.c_str(), d.place.controller);
    switch (d.kind) {
      case RouterDifference::Kind::OnlyInA:
      case RouterDifference::Kind::OnlyInB: {
        const bool inA = d.kind == RouterDifference::Kind::OnlyInA;
        const std::string identity = compare::identityText(inA ? d.a : d.b);
        router["identity"] = identity;
        if (!asJson) out << textf(": only in %s, %s\n", inA ? "A" : "B", identity.c_str());
        break;
      }
      case RouterDifference::Kind::Replaced:
        router["a"] = compare::identityText(d.a);
        router["b"] = compare::identityText(d.b);
        if (!asJson)
          out << textf(": another router\n- %s\n+ %s\n", compare::identityText(d.a).c_str(),
                       compare::identityText(d.b).c_str());
        break;
      case RouterDifference::Kind::Registers: {
        if (!asJson) out << ":\n";
        for (const auto* words : {&d.words, &d.unreadable}) {
          const bool oneSided = words == &d.unreadable;
          json list = json::array();
          std::string group;
          for (const WordDifference& w : *words) {
            const RegisterLine* lineA = lineOf(a, d, w.where);
            const RegisterLine* lineB = lineOf(b, d, w.where);
            const std::string capability = capabilityOf(lineA, lineB);
            std::string heading = spaceText(w.where);
            if (!capability.empty()) heading += ", " + capability;
            if (oneSided) heading = "read on one side only: " + heading;
            if (!asJson) {
              if (heading != group) out << "  " << heading << "\n";
              group = heading;
              out << "- " << answerText(w.a, lineA, w.where) << "\n+ " << answerText(w.b, lineB, w.where) << "\n";
              continue;
            }
            list.push_back({{"adapter", w.where.port},
                            {"space", configSpaceName(w.where.space)},
                            {"index", w.where.index},
                            {"capability", capability},
                            {"a", answerJson(w.a, lineA)},
                            {"b", answerJson(w.b, lineB)}});
          }
          if (asJson) router[oneSided ? "unreadable" : "differences"] = std::move(list);
        }
        break;
      }
    }
    if (asJson) routers.push_back(std::move(router));
    if (!out) return differ;
  }
  if (asJson) {
    const json document = {{"a", a.value}, {"b", b.value}, {"equal", !differ}, {"routers", std::move(routers)}};
    out << document.dump(-1, ' ', false, json::error_handler_t::replace) << "\n";
  } else if (!differ) {
    out << "no differences\n";
  }
  return differ;
}

int runDiff(CommandContext& context) {
  const ParsedArgs& args = context.args();
  compare::DiffScope scope;
  uint64_t route = 0, port = 0;
  uint8_t routerID = 0;
  if (args.has("route")) {
    if (!context.router("route", route, routerID)) return kExitTrouble;
    scope.route = route;
  }
  if (args.has("port")) {
    if (!context.number("port", kMaxAdapter, port)) return kExitTrouble;
    scope.port = static_cast<uint32_t>(port);
  }
  const Ignored ignored(args.values("ignore"));
  scope.counters = !ignored.counters();
  Side a{args.operands()[0], nullptr, {}};
  Side b{args.operands()[1], nullptr, {}};
  for (Side* side : {&a, &b}) {
    const std::string error = snapshot(*side);
    if (!error.empty()) {
      // A host file's errors name it already.
      context.failure(error.starts_with(side->value) ? error : textf("%s: %s", side->value.c_str(), error.c_str()));
      return kExitTrouble;
    }
  }
  std::vector<RouterDifference> differences = compare::compareHosts(a.capture->sim(), b.capture->sim(), scope);
  collectLines(a, differences);
  collectLines(b, differences);
  const bool differ = writeDifferences(context, a, b, differences, ignored);
  if (!context.out().flush()) return kExitTrouble;
  return differ ? kExitDiffer : kExitEqual;
}

const OptionSpec kDiffOptions[] = {
    {.name = "route", .valueName = "R", .help = "compare only the router at route R (and the routers behind its bridges)"},
    {.name = "port", .valueName = "P", .help = "compare only adapter P's spaces (0: the device space)"},
    {.name = "ignore",
     .valueName = "WHAT",
     .help = "leave out: counters (the counter spaces), time (fields of clocks and time stamps), errors (error "
             "counts), or a field by the name the reports give it",
     .repeatable = true},
    kJsonOption,
};

constexpr const char* kDiffDetails =
    "A and B are hosts as --host takes them (sim, sim:FILE, linux, linux:ROOT) or\n"
    "host files such as captures. Each is captured, then routers are matched by\n"
    "controller and route (and by bridge for the routers behind one): a router on\n"
    "one side only, or another router at the same place (vendor, device or UID\n"
    "differ), is named; otherwise every double word either side lists in each space\n"
    "is compared, and each that differs is shown as its report line from A (\"-\") and\n"
    "from B (\"+\"), grouped by router, space and capability. Double words one side\n"
    "cannot read are listed apart and are not differences. Exit status 0 when the\n"
    "hosts are equal, 1 when they differ, 2 on trouble.\n";

const Command kDiffCommands[] = {{.name = "diff",
                                  .operands = "A B",
                                  .summary = "compare two hosts register by register, decoded",
                                  .details = kDiffDetails,
                                  .options = kDiffOptions,
                                  .minOperands = 2,
                                  .maxOperands = 2,
                                  .run = runDiff}};

const CommandFamily kDiffFamily = {"diff", "two hosts compared register by register", kDiffCommands};

}  // namespace

const CommandFamily& diffFamily() { return kDiffFamily; }

}  // namespace tbt::cli
