#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <string_view>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"

namespace ks {

/// Adds scalar and text nodes to a table so that each content is stored once: keys and names recur
/// in every record. Compares only nodes added here. Must not outlive the table.
class UniqueNodes {
 public:
  using NodeId = PropertyList::NodeId;

  explicit UniqueNodes(PropertyList& list) : list_(list), known_(64, Hash{&list}, Equal{&list}) {}

  /// Returns the node with this content, adding it if there is none. `node` must be neither text
  /// nor a container.
  NodeId scalar(PropertyList::Node node) { return found({node, {}}); }
  void reserveTimes(std::size_t factor) { known_.reserve(factor * known_.size()); }
  /// A text longer than `PropertyList::kLongestSharedText` is always a new node.
  NodeId string(std::string_view text);

 private:
  struct Content {
    PropertyList::Node node;
    std::string_view text;
  };
  struct Hash {
    using is_transparent = void;
    const PropertyList* list;
    std::size_t operator()(const Content& content) const;
    std::size_t operator()(NodeId node) const { return (*this)(contentOf(*list, node)); }
  };
  struct Equal {
    using is_transparent = void;
    const PropertyList* list;
    bool operator()(NodeId a, NodeId b) const { return a == b; }
    bool operator()(const Content& content, NodeId node) const;
    bool operator()(NodeId node, const Content& content) const { return (*this)(content, node); }
  };
  static Content contentOf(const PropertyList& list, NodeId node);
  NodeId found(const Content& content);

  PropertyList& list_;
  boost::unordered_flat_set<NodeId, Hash, Equal> known_;
};

}  // namespace ks
