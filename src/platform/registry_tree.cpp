#include "platform/registry_tree.h"

#include <utility>

namespace tbt {
namespace {

// Each registry class a backend publishes and the class it derives from.
constexpr std::pair<std::string_view, std::string_view> kClassTable[] = {
    {"IOService", "IORegistryEntry"},
    {"IOPlatformDevice", "IOService"},
    {"IOPMrootDomain", "IOService"},
    {"IOPMPowerSource", "IOService"},
    {"KelvoSmartBattery", "IOPMPowerSource"},
    {"IOStorage", "IOService"},
    {"IOMedia", "IOStorage"},
    {"IOThunderboltController", "IOService"},
    {"IOThunderboltSwitch", "IOService"},
    {"IOThunderboltPort", "IOService"},
    {"IOThunderboltXDomainLink", "IOService"},
};

std::string_view superclassOf(std::string_view name) {
  for (const auto& [cls, super] : kClassTable)
    if (cls == name) return super;
  return {};
}

constexpr std::string_view kServicePlane = "IOService:/";

}  // namespace

bool registryClassConformsTo(std::string_view className, std::string_view base) {
  for (std::string_view c = className; !c.empty(); c = superclassOf(c))
    if (c == base) return true;
  return false;
}

std::optional<Property> RegistryTreeNode::property(std::string_view key) const {
  const Property* p = props_.find(key);
  return p ? std::optional<Property>(*p) : std::nullopt;
}

std::vector<std::string> RegistryTreeNode::propertyKeys() const {
  std::vector<std::string> keys;
  for (const auto& [k, v] : props_.items()) keys.push_back(k);
  return keys;
}

std::vector<RegistryEntry> RegistryTreeNode::children() const {
  std::vector<RegistryEntry> out;
  for (const auto& c : children_) out.emplace_back(c);
  return out;
}

std::vector<RegistryEntry> RegistryTreeNode::parents() const {
  if (auto p = parent_.lock()) return {RegistryEntry(p)};
  return {};
}

std::string RegistryTreeNode::path() const {
  std::vector<const RegistryTreeNode*> chain;
  for (auto p = shared_from_this(); p; p = p->parent_.lock()) chain.push_back(p.get());
  std::string out(kServicePlane);
  // The root itself is not named in a path.
  for (size_t i = chain.size() - 1; i-- > 0;) {
    out += chain[i]->name_;
    if (i) out += '/';
  }
  return out;
}

std::shared_ptr<RegistryTreeNode> RegistryTreeNode::addChild(std::string className, std::string name) {
  auto child = std::make_shared<RegistryTreeNode>(std::move(className), std::move(name));
  child->parent_ = weak_from_this();
  children_.push_back(child);
  return child;
}

RegistryEntry RegistryTree::fromPath(std::string_view path) const {
  if (auto it = aliases_.find(path); it != aliases_.end()) return RegistryEntry(it->second);
  if (path.substr(0, kServicePlane.size()) != kServicePlane) return {};
  std::shared_ptr<RegistryTreeNode> node = root_;
  std::string_view rest = path.substr(kServicePlane.size());
  while (node && !rest.empty()) {
    size_t slash = rest.find('/');
    std::string_view name = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    std::shared_ptr<RegistryTreeNode> next;
    for (const auto& c : node->childNodes())
      if (c->name() == name) next = c;
    node = next;
  }
  return node ? RegistryEntry(node) : RegistryEntry();
}

std::vector<RegistryEntry> RegistryTree::matching(std::string_view className,
                                                  const PropertyDict* propertyMatch) const {
  std::vector<RegistryEntry> out;
  // Registry order: depth first, parents before children, children in order.
  std::vector<std::shared_ptr<RegistryTreeNode>> stack{root_};
  while (!stack.empty()) {
    auto node = std::move(stack.back());
    stack.pop_back();
    bool match = node->conformsTo(className);
    if (match && propertyMatch) {
      for (const auto& [k, v] : propertyMatch->items()) {
        const Property* have = node->properties().find(k);
        if (!have || !(*have == v)) match = false;
      }
    }
    if (match) out.emplace_back(node);
    const auto& kids = node->childNodes();
    stack.insert(stack.end(), kids.rbegin(), kids.rend());
  }
  return out;
}

}  // namespace tbt
