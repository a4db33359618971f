#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"

#include <cassert>
#include <limits>
#include <stdexcept>

namespace ks {

namespace {

std::uint32_t checkedCount(std::size_t count) {
  if (count > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("A property list holds at most 4 Gi items");
  }
  return static_cast<std::uint32_t>(count);
}

}  // namespace

PropertyList::NodeId PropertyList::add(Node node) {
  const auto identifier = checkedCount(nodes_.size());
  nodes_.push_back(node);
  return identifier;
}

PropertyList::NodeId PropertyList::addBytes(Kind kind, const void* bytes, std::size_t count) {
  const Node node{kind, checkedCount(count), bytes_.size()};
  bytes_.append(static_cast<const char*>(bytes), count);
  return add(node);
}

PropertyList::NodeId PropertyList::addList(Kind kind, std::span<const NodeId> items) {
  const Node node{kind, checkedCount(items.size()), references_.size()};
  references_.insert(references_.end(), items.begin(), items.end());
  return add(node);
}

PropertyList::NodeId PropertyList::addDictionary(std::span<const NodeId> keys,
                                                 std::span<const NodeId> values) {
  assert(keys.size() == values.size());
  const NodeId node = addList(Kind::dictionary, keys);
  references_.insert(references_.end(), values.begin(), values.end());
  return node;
}

std::size_t PropertyList::textLimit() const {
  constexpr std::size_t kFree = std::size_t{128} * 1024 * 1024;
  constexpr std::size_t kForReference = 64;
  return kFree + bytes_.size() + kForReference * references_.size();
}

PropertyList::KeyNodes PropertyList::shareKeys() {
  constexpr auto kUnknown = std::numeric_limits<NodeId>::max();
  KeyNodes shared;
  std::vector<NodeId> same(nodes_.size(), kUnknown);
  for (const Node& dictionary : nodes_) {
    if (dictionary.kind != Kind::dictionary) continue;
    for (NodeId& key : std::span(references_).subspan(dictionary.payload, dictionary.count)) {
      if (same[key] == kUnknown) same[key] = shared.try_emplace(text(key), key).first->second;
      key = same[key];
    }
  }
  return shared;
}

template <class IsKey>
std::optional<PropertyList::NodeId> PropertyList::findWhere(NodeId dictionary, std::size_t& start,
                                                            IsKey isKey) const {
  const auto keys = items(dictionary);
  for (std::size_t step = 0; step < keys.size(); ++step) {
    std::size_t index = start + step;
    if (index >= keys.size()) index -= keys.size();
    if (isKey(keys[index])) {
      start = index + 1 == keys.size() ? 0 : index + 1;
      return dictionaryValues(dictionary)[index];
    }
  }
  return std::nullopt;
}

std::optional<PropertyList::NodeId> PropertyList::find(NodeId dictionary, NodeId key,
                                                       std::size_t& start) const {
  return findWhere(dictionary, start, [&](NodeId each) { return each == key; });
}

std::optional<PropertyList::NodeId> PropertyList::find(NodeId dictionary, std::string_view key,
                                                       std::size_t& start) const {
  return findWhere(dictionary, start, [&](NodeId each) { return text(each) == key; });
}

}  // namespace ks
