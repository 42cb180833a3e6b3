#include "platform/registry.h"

#include <algorithm>

namespace tbt {

bool RegistryEntry::conformsTo(std::string_view className) const {
  return node_ && node_->conformsTo(className);
}

std::optional<Property> RegistryEntry::property(std::string_view key) const {
  if (!node_) return std::nullopt;
  return node_->property(key);
}

std::vector<RegistryEntry> RegistryEntry::children() const {
  if (!node_) return {};
  return node_->children();
}

std::vector<RegistryEntry> RegistryEntry::parents() const {
  if (!node_) return {};
  return node_->parents();
}

std::optional<Property> searchProperty(const RegistryEntry& entry, std::string_view key, uint32_t options) {
  if (!entry) return std::nullopt;
  if (auto p = entry.property(key)) return p;
  if (!(options & kSearchRecursively)) return std::nullopt;
  // Iterative depth-first walk: a registry tree of any depth never grows the stack.
  std::vector<RegistryEntry> stack;
  auto kids = entry.children();
  stack.insert(stack.end(), kids.rbegin(), kids.rend());
  while (!stack.empty()) {
    RegistryEntry e = std::move(stack.back());
    stack.pop_back();
    if (auto p = e.property(key)) return p;
    auto more = e.children();
    stack.insert(stack.end(), more.rbegin(), more.rend());
  }
  return std::nullopt;
}

std::vector<RegistryEntry> ancestors(const RegistryEntry& entry) {
  std::vector<RegistryEntry> out;
  std::vector<RegistryEntry> frontier = entry.parents();
  while (!frontier.empty()) {
    std::vector<RegistryEntry> next;
    for (auto& p : frontier) {
      if (std::find(out.begin(), out.end(), p) != out.end()) continue;
      out.push_back(p);
      for (auto& pp : p.parents()) next.push_back(pp);
    }
    frontier = std::move(next);
  }
  return out;
}

}  // namespace tbt
