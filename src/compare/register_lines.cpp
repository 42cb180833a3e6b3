#include "compare/register_lines.h"

#include <memory>
#include <set>

#include "kernel/config_space.h"
#include "kernel/router_handle.h"
#include "platform/text.h"
#include "toolkit/remote_router_handle.h"
#include "toolkit/utilities.h"

namespace tbt::compare {
namespace {

// Keeps the lines of wanted double words; a line printed after a blank line
// heads a capability, and the lines after it belong to it.
class LineSink final : public ReportSink {
 public:
  LineSink(const std::set<WordKey>& wanted, std::map<WordKey, RegisterLine>& lines) : wanted_(wanted), lines_(lines) {}
  void write(std::string_view) override {}
  bool wantsFields() const override { return true; }
  void writeRegister(const ReportRegister& reg) override {
    std::string_view text = reg.text;
    const bool header = text.starts_with('\n');
    while (text.starts_with('\n')) text.remove_prefix(1);
    while (text.ends_with('\n')) text.remove_suffix(1);
    // The header's own text after its index and raw value names the capability.
    if (header) capability_ = trimmed(text.substr(std::min(text.size(), kIndexAndRaw)));
    const WordKey key{reg.port, reg.space, reg.index};
    if (!wanted_.count(key) || lines_.count(key)) return;
    lines_[key] = {std::string(text), header ? std::string() : capability_,
                   std::vector<ReportField>(reg.fields.begin(), reg.fields.end())};
  }
  void startSpace() { capability_.clear(); }

 private:
  // "  %03x:  %08x", before the blanks that follow it.
  static constexpr size_t kIndexAndRaw = 16;
  static std::string trimmed(std::string_view s) {
    while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
    return std::string(s);
  }

  const std::set<WordKey>& wanted_;
  std::map<WordKey, RegisterLine>& lines_;
  std::string capability_;
};

}  // namespace

std::map<WordKey, RegisterLine> registerLines(const RouterPlace& place, uint8_t routerID,
                                              const std::vector<WordPlace>& wanted) {
  std::map<WordKey, RegisterLine> lines;
  if (wanted.empty()) return lines;
  std::set<WordKey> keys;
  std::set<std::pair<uint32_t, uint32_t>> spaces;
  for (const WordPlace& w : wanted) {
    keys.insert({w.port, w.space, w.index});
    spaces.insert({w.port, w.space});
  }
  ThunderboltUserClientUtils& utils = ThunderboltUserClientUtils::sharedInstance();
  const bool relative = utils.relativeAddressing();
  utils.setRelativeAddressing(false);
  std::shared_ptr<RouterHandle> handle = routerHandleChain(routerID, place.route, place.buses);
  LineSink sink(keys, lines);
  for (auto [port, space] : spaces) {
    sink.startSpace();
    switch (space) {
      case kDeviceSpace: utils.deviceSpaceForRouterHandle(*handle, sink); break;
      case kPortSpace: utils.portSpaceForPort(port, *handle, sink); break;
      case kPathSpace: utils.pathSpaceForPort(port, *handle, sink); break;
      case kCounterSpace: utils.counterSpaceForPort(port, *handle, sink); break;
      default: break;
    }
  }
  utils.setRelativeAddressing(relative);
  return lines;
}

}  // namespace tbt::compare
