#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/UniqueNodes.h"

#include <boost/container_hash/hash.hpp>
#include <functional>

namespace ks {

UniqueNodes::Content UniqueNodes::contentOf(const PropertyList& list, NodeId node) {
  const auto& entry = list.node(node);
  if (entry.kind != PropertyList::Kind::string) return {entry, {}};
  return {{PropertyList::Kind::string, 0, 0}, list.text(node)};
}

std::size_t UniqueNodes::Hash::operator()(const Content& content) const {
  auto hash = std::hash<std::string_view>{}(content.text);
  boost::hash_combine(hash, content.node.payload);
  boost::hash_combine(hash, static_cast<unsigned>(content.node.kind));
  return hash;
}

bool UniqueNodes::Equal::operator()(const Content& content, NodeId node) const {
  const Content other = contentOf(*list, node);
  return content.node.kind == other.node.kind && content.node.payload == other.node.payload &&
         content.text == other.text;
}

UniqueNodes::NodeId UniqueNodes::string(std::string_view text) {
  if (text.size() > PropertyList::kLongestSharedText) return list_.addString(text);
  return found({{PropertyList::Kind::string, 0, 0}, text});
}

UniqueNodes::NodeId UniqueNodes::found(const Content& content) {
  if (const auto known = known_.find(content); known != known_.end()) return *known;
  const NodeId added = content.node.kind == PropertyList::Kind::string
                           ? list_.addString(content.text)
                           : list_.add(content.node);
  known_.insert(added);
  return added;
}

}  // namespace ks
