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
/// It stands between the two file formats and what is stored in them (values or keyed archives).
/// Nothing in it is nested, so neither a deep nor a cyclic file can exhaust the stack; whoever
/// walks it bounds the depth by `kMaximumNesting`.
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
  /// One entry of the table. `payload` is the number itself or where the content begins in the
  /// table's bytes or references; `count` is the length of that content.
  struct Node {
    Kind kind = Kind::null;
    std::uint32_t count = 0;
    std::uint64_t payload = 0;
  };

  /// Containers within containers, at most. Our own files nest below ten; the bound keeps a hostile
  /// file from exhausting the stack when its values are made or destroyed.
  static constexpr std::uint32_t kMaximumNesting = 512;
  /// Writers store equal texts up to this many bytes once, longer ones as often as they occur.
  static constexpr std::size_t kLongestSharedText = 256;
  /// How many bytes of text may be copied out of this table in all. Values share their texts, but
  /// keys, records and XML have copies of their own, so one long text that is referenced everywhere
  /// would otherwise multiply. 128 MiB, and 64 for each reference: room for hundreds of thousands
  /// of records whose texts our writers share.
  std::size_t textLimit() const;

  /// Makes room for `factor` times what it holds.
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
  /// As many values as keys; every key is a string.
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
  /// How many items, keys and values all containers hold together.
  std::size_t referenceCount() const { return references_.size(); }
  const Node& node(NodeId node) const { return nodes_[node]; }
  Kind kind(NodeId node) const { return nodes_[node].kind; }
  bool isContainer(NodeId node) const { return kind(node) >= Kind::array; }

  /// Each only for a node of the kind.
  bool boolean(NodeId node) const { return nodes_[node].payload != 0; }
  std::int64_t integer(NodeId node) const {
    return std::bit_cast<std::int64_t>(nodes_[node].payload);
  }
  std::uint64_t largeInteger(NodeId node) const { return nodes_[node].payload; }
  std::uint64_t uid(NodeId node) const { return nodes_[node].payload; }
  double real(NodeId node) const { return std::bit_cast<double>(nodes_[node].payload); }
  Date date(NodeId node) const { return dateFromSecondsSince1970(real(node)); }
  /// Valid until the next change of the table, as are the spans below.
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
  /// Makes equal keys one node, so that a key can be looked for by its node.
  KeyNodes shareKeys();
  /// The value of the key that is this very node, looked for as below.
  std::optional<NodeId> find(NodeId dictionary, NodeId key, std::size_t& start) const;
  /// The value of `key` in a dictionary, looked for from entry `start` on and around; `start` is
  /// left behind the entry that was found. So asking for the keys in their order is linear.
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
