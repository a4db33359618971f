#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyListValues.h"

#include <boost/unordered/unordered_flat_map.hpp>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/NSCocoaError.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/Nesting.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/UniqueNodes.h"

namespace ks {

namespace {

using Kind = PropertyList::Kind;
using NodeId = PropertyList::NodeId;

/// Each operation answers nothing after a failure; `reason_` then tells why.
class FromValue {
 public:
  Result<PropertyList> read(const Value& value) {
    const auto root = nodeOf(value);
    if (!root) return cocoaError(NSCocoaError::propertyListWriteInvalid, reason_);
    list_.setRoot(*root);
    return std::move(list_);
  }

 private:
  struct Container {
    NodeId node;
    std::uint32_t height;
  };

  std::optional<NodeId> fail(std::string reason) {
    reason_ = std::move(reason);
    return std::nullopt;
  }

  std::optional<NodeId> nodeOf(const Value& value) {
    if (const auto plain = uniquePlainNode(value, unique_)) return plain;
    if (value.isNull()) return unique_.scalar({});
    if (const auto* date = value.date()) {
      return unique_.scalar(PropertyList::realNode(Kind::date, secondsSince1970(*date)));
    }
    if (value.isAbsent() || value.uuid() || value.object()) {
      return fail("A property list cannot hold " + value.className());
    }
    const auto known = containers_.find(value.identity());
    if (known != containers_.end()) {
      if (!nesting_.meet(known->second.height)) return fail("The value nests too deep");
      return known->second.node;
    }
    return containerOf(value);
  }

  std::optional<NodeId> containerOf(const Value& value) {
    if (!nesting_.enter()) return fail("The value nests too deep");
    std::optional<NodeId> node;
    std::vector<NodeId> items;
    if (const auto* data = value.data()) {
      node = list_.addData(*data);
    } else if (const auto* array = value.array()) {
      if (addItems(array->items, items)) node = list_.addArray(items);
    } else if (const auto* set = value.set()) {
      if (addItems(set->items, items)) node = list_.addSet(items);
    } else if (const auto* dictionary = value.dictionary()) {
      node = dictionaryOf(*dictionary);
    }
    const std::uint32_t height = nesting_.leave();
    if (node) containers_.emplace(value.identity(), Container{*node, height});
    return node;
  }

  bool addItems(const std::vector<Value>& values, std::vector<NodeId>& items) {
    items.reserve(values.size());
    for (const auto& value : values) {
      const auto node = nodeOf(value);
      if (!node) return false;
      items.push_back(*node);
    }
    return true;
  }

  std::optional<NodeId> dictionaryOf(const Dictionary& dictionary) {
    std::vector<NodeId> keys;
    std::vector<NodeId> values;
    for (const auto& [key, value] : dictionary) {
      const auto node = nodeOf(value);
      if (!node) return std::nullopt;
      keys.push_back(unique_.string(key));
      values.push_back(*node);
    }
    return list_.addDictionary(keys, values);
  }

  PropertyList list_;
  UniqueNodes unique_{list_};
  Nesting nesting_;
  boost::unordered_flat_map<const void*, Container> containers_;
  std::string reason_;
};

/// After a failure every value is absent and `reason_` tells why.
class ToValue {
 public:
  explicit ToValue(const PropertyList& list)
      : list_(list), heights_(list.size()), values_(list.size()), textLeft_(list.textLimit()) {}

  Result<Value> read() {
    Value value = valueOf(list_.root());
    if (reason_.empty()) return value;
    return cocoaError(NSCocoaError::propertyListReadCorrupt, reason_);
  }

 private:
  /// The height of a container that is being read.
  static constexpr std::uint32_t kUnderWay = UINT32_MAX;

  Value fail(std::string reason) {
    if (reason_.empty()) reason_ = std::move(reason);
    return {};
  }

  bool takeText(std::size_t size) {
    if (size > textLeft_) {
      fail("The property list repeats its texts too often");
      return false;
    }
    textLeft_ -= size;
    return true;
  }

  Value valueOf(NodeId node) {
    if (!reason_.empty()) return {};
    if (!list_.isContainer(node) && list_.kind(node) != Kind::data) {
      if (list_.kind(node) == Kind::string) return sharedText(node);
      if (list_.kind(node) == Kind::uid) {
        return Dictionary{{"CF$UID", Value(list_.uid(node))}};
      }
      return plainValue(list_, node);
    }
    if (heights_[node] == kUnderWay) return fail("A container of the property list holds itself");
    if (heights_[node] == 0) return makeContainer(node);
    if (!nesting_.meet(heights_[node])) return fail("The property list nests too deep");
    return values_[node];
  }

  Value sharedText(NodeId node) {
    if (values_[node].isAbsent()) values_[node] = plainValue(list_, node);
    return values_[node];
  }

  Value makeContainer(NodeId node) {
    if (!nesting_.enter()) return fail("The property list nests too deep");
    heights_[node] = kUnderWay;
    values_[node] = contentOf(node);
    heights_[node] = nesting_.leave();
    return values_[node];
  }

  Value contentOf(NodeId node) {
    if (list_.kind(node) == Kind::dictionary) return dictionaryOf(node);
    if (list_.kind(node) == Kind::data) return plainValue(list_, node);
    const auto items = list_.items(node);
    std::vector<Value> values;
    values.reserve(items.size());
    for (const NodeId item : items) values.push_back(valueOf(item));
    if (list_.kind(node) == Kind::array) return Array(std::move(values));
    return Set{std::move(values), false};
  }

  Value dictionaryOf(NodeId node) {
    Dictionary dictionary;
    const auto keys = list_.items(node);
    const auto values = list_.dictionaryValues(node);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const std::string_view key = list_.text(keys[i]);
      if (!takeText(key.size())) return {};
      dictionary.set(std::string(key), valueOf(values[i]));
    }
    return dictionary;
  }

  const PropertyList& list_;
  Nesting nesting_;
  /// By node; 0 for a container that was not read yet.
  std::vector<std::uint32_t> heights_;
  std::vector<Value> values_;
  std::size_t textLeft_;
  std::string reason_;
};

}  // namespace

Result<PropertyList> propertyListFromValue(const Value& value) { return FromValue().read(value); }

Result<Value> valueFromPropertyList(const PropertyList& list) { return ToValue(list).read(); }

Value plainValue(const PropertyList& list, NodeId node) {
  switch (list.kind(node)) {
    case Kind::null:
      return Null{};
    case Kind::boolean:
      return list.boolean(node);
    case Kind::integer:
      return list.integer(node);
    case Kind::largeInteger:
      return list.largeInteger(node);
    case Kind::real:
      return list.real(node);
    case Kind::date:
      return list.date(node);
    case Kind::string:
      return list.text(node);
    case Kind::data: {
      const auto bytes = list.data(node);
      return Data(bytes.begin(), bytes.end());
    }
    default:
      return {};
  }
}

std::optional<NodeId> uniquePlainNode(const Value& value, UniqueNodes& nodes) {
  if (const auto* text = value.string()) return nodes.string(*text);
  if (const auto* number = value.integer()) {
    return nodes.scalar(PropertyList::integerNode(*number));
  }
  if (const auto* flag = value.boolean()) return nodes.scalar({Kind::boolean, 0, *flag});
  if (const auto* number = value.real()) {
    return nodes.scalar(PropertyList::realNode(Kind::real, *number));
  }
  if (const auto* number = value.largeInteger()) {
    return nodes.scalar(PropertyList::unsignedNode(*number));
  }
  return std::nullopt;
}

}  // namespace ks
