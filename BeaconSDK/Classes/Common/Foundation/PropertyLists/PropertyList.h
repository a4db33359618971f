#pragma once

#include <bit>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"

namespace ks {

/// A property list as one flat table of nodes that refer to each other by number.
///
/// The intermediate form between the two file formats and the values or archives stored in them.
/// The table itself is flat, so a deep or cyclic file cannot exhaust the stack; code that walks it
/// limits the depth to `kMaximumNesting`.
class PropertyList {
 public:
  using NodeId = std::uint32_t;
  enum class Kind : std::uint8_t {
    null,
    boolean,
    integer,
    largeInteger,
    real,
    date,
    data,
    string,
    uid,
    array,
    set,
    dictionary,
  };
  /// One entry of the table. `payload` is the number itself or the offset of the content in the
  /// table's bytes or references; `count` is the length of that content.
  struct Node {
    Kind kind = Kind::null;
    std::uint32_t count = 0;
    std::uint64_t payload = 0;
  };

  /// Maximum depth of nested containers. The library's own files stay below ten; the limit keeps a
  /// hostile file from exhausting the stack when its values are created or destroyed.
  static constexpr std::uint32_t kMaximumNesting = 512;
  /// Writers store equal texts once if they have at most this many bytes.
  static constexpr std::size_t kLongestSharedText = 256;
  /// Maximum number of text bytes that may be copied out of this table in total: 128 MiB plus 64
  /// bytes per reference, enough for hundreds of thousands of records. Values share their texts,
  /// but keys, records and XML copy them, so one long text that is referenced everywhere would
  /// otherwise multiply.
  std::size_t textLimit() const;

  /// Reserves memory for `factor` times the present content.
  void reserveTimes(std::size_t factor) {
    nodes_.reserve(factor * nodes_.size());
    references_.reserve(factor * references_.size());
    bytes_.reserve(factor * bytes_.size());
  }
  NodeId addNull() { return add({}); }
  NodeId addBoolean(bool value) { return add({Kind::boolean, 0, value}); }
  NodeId addInteger(std::int64_t value) { return add(integerNode(value)); }
  /// An integer above the signed range becomes a `largeInteger`.
  NodeId addUnsigned(std::uint64_t value) { return add(unsignedNode(value)); }
  NodeId addReal(double value) { return add(realNode(Kind::real, value)); }
  NodeId addDate(Date value) { return add(realNode(Kind::date, secondsSince1970(value))); }
  NodeId addUid(std::uint64_t value) { return add({Kind::uid, 0, value}); }
  NodeId addString(std::string_view text) {
    return addBytes(Kind::string, text.data(), text.size());
  }
  NodeId addData(std::span<const std::uint8_t> bytes) {
    return addBytes(Kind::data, bytes.data(), bytes.size());
  }
  NodeId addArray(std::span<const NodeId> items) { return addList(Kind::array, items); }
  NodeId addSet(std::span<const NodeId> items) { return addList(Kind::set, items); }
  /// Requires as many values as keys; every key is a string.
  NodeId addDictionary(std::span<const NodeId> keys, std::span<const NodeId> values);
  NodeId add(Node node);

  static Node integerNode(std::int64_t value) {
    return {Kind::integer, 0, std::bit_cast<std::uint64_t>(value)};
  }
  static Node unsignedNode(std::uint64_t value) {
    return {value > INT64_MAX ? Kind::largeInteger : Kind::integer, 0, value};
  }
  static Node realNode(Kind kind, double value) {
    return {kind, 0, std::bit_cast<std::uint64_t>(value)};
  }

  void setRoot(NodeId node) { root_ = node; }
  NodeId root() const { return root_; }
  std::size_t size() const { return nodes_.size(); }
  /// Total number of items, keys and values in all containers.
  std::size_t referenceCount() const { return references_.size(); }
  const Node& node(NodeId node) const { return nodes_[node]; }
  Kind kind(NodeId node) const { return nodes_[node].kind; }
  bool isContainer(NodeId node) const { return kind(node) >= Kind::array; }

  /// Require a node of the matching kind.
  bool boolean(NodeId node) const { return nodes_[node].payload != 0; }
  std::int64_t integer(NodeId node) const {
    return std::bit_cast<std::int64_t>(nodes_[node].payload);
  }
  std::uint64_t largeInteger(NodeId node) const { return nodes_[node].payload; }
  std::uint64_t uid(NodeId node) const { return nodes_[node].payload; }
  double real(NodeId node) const { return std::bit_cast<double>(nodes_[node].payload); }
  Date date(NodeId node) const { return dateFromSecondsSince1970(real(node)); }
  /// Valid, like the spans below, until the table changes.
  std::string_view text(NodeId node) const {
    return std::string_view(bytes_).substr(nodes_[node].payload, nodes_[node].count);
  }
  std::span<const std::uint8_t> data(NodeId node) const {
    const std::string_view bytes = text(node);
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
  }
  /// The items of an array or set, the keys of a dictionary.
  std::span<const NodeId> items(NodeId node) const {
    return std::span(references_).subspan(nodes_[node].payload, nodes_[node].count);
  }
  std::span<const NodeId> dictionaryValues(NodeId node) const {
    return std::span(references_)
        .subspan(nodes_[node].payload + nodes_[node].count, nodes_[node].count);
  }

  /// The keys of all dictionaries by their text; the views are valid until the next change.
  using KeyNodes = boost::unordered_flat_map<std::string_view, NodeId>;
  /// Replaces equal keys by one node, so that keys can be looked up by node.
  KeyNodes shareKeys();
  /// Returns the value of the key with this node; searches as below.
  std::optional<NodeId> find(NodeId dictionary, NodeId key, std::size_t& start) const;
  /// Returns the value of `key` in a dictionary. Searches from entry `start`, wraps around, and
  /// sets `start` behind the found entry, so reading the keys in stored order is linear.
  std::optional<NodeId> find(NodeId dictionary, std::string_view key, std::size_t& start) const;
  std::optional<NodeId> find(NodeId dictionary, std::string_view key) const {
    std::size_t start = 0;
    return find(dictionary, key, start);
  }

 private:
  NodeId addBytes(Kind kind, const void* bytes, std::size_t count);
  NodeId addList(Kind kind, std::span<const NodeId> items);
  template <class IsKey>
  std::optional<NodeId> findWhere(NodeId dictionary, std::size_t& start, IsKey isKey) const;

  std::vector<Node> nodes_;
  std::vector<NodeId> references_;
  std::string bytes_;
  NodeId root_ = 0;
};

}  // namespace ks
