#include "tools/ksbeacon/inspect/ArchiveView.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiveForm.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/NSData+Base64.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/NSPropertyListSerialization.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyListValues.h"
#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "tools/ksbeacon/output/JsonText.h"

namespace ks::tool {

namespace {

using Kind = PropertyList::Kind;
using NodeId = PropertyList::NodeId;

constexpr const char* kClass = "$class";
constexpr const char* kObject = "$object";
constexpr const char* kItems = "$items";
constexpr const char* kReference = "$ref";
/// Of a key that is a collection, in bytes of JSON.
constexpr std::size_t kLongestKey = 65536;

/// A key of the file under which nothing of ours can be taken for it.
std::string keyOf(const std::string& name) { return name.starts_with('$') ? "$" + name : name; }
/// The same key as the file has it.
std::string nameOf(const std::string& key) { return key.starts_with("$$") ? key.substr(1) : key; }

/// Walks the table once; `problem` tells what ended the walk early.
class Walk {
 public:
  explicit Walk(const PropertyList& list) : list_(list), textLeft_(list.textLimit()) {
    const auto part = [&](std::string_view key, Kind kind) {
      const auto found = list.find(list.root(), key);
      return found && list.kind(*found) == kind ? found : std::nullopt;
    };
    if (NSKeyedUnarchiver::isArchive(list)) {
      const auto objects = part(keyed_archive::kObjectsKey, Kind::array);
      const auto top = part(keyed_archive::kTopKey, Kind::dictionary);
      isArchive_ = objects && top;
      objects_ = objects.value_or(0);
      top_ = top.value_or(0);
    }
    countReferences();
  }

  ArchiveView view() {
    if (!isArchive_) return {"property list", valueOf(list_.root())};
    const auto keys = list_.items(top_);
    const bool onlyRoot = keys.size() == 1 && textOf(keys[0]) == NSKeyedArchiveRootObjectKey;
    return {"keyed archive",
            onlyRoot ? valueOf(list_.dictionaryValues(top_)[0]) : dictionaryOf(top_, {})};
  }
  const std::string& problem() const { return problem_; }

 private:
  /// What a node stands for: in an archive a reference stands for an object.
  std::optional<NodeId> target(NodeId node) const {
    if (!isArchive_ || list_.kind(node) != Kind::uid) return node;
    const auto objects = list_.items(objects_);
    if (list_.uid(node) >= objects.size()) return std::nullopt;
    return objects[list_.uid(node)];
  }

  void countReferences() {
    references_.resize(list_.size());
    numbers_.resize(list_.size());
    for (NodeId node = 0; node < list_.size(); ++node) {
      if (!list_.isContainer(node) || (isArchive_ && node == objects_)) continue;
      for (const NodeId item : list_.items(node)) count(item);
      if (list_.kind(node) != Kind::dictionary) continue;
      for (const NodeId value : list_.dictionaryValues(node)) count(value);
    }
  }
  void count(NodeId node) {
    if (const auto found = target(node)) ++references_[*found];
  }

  /// Counts bytes against what may be told in all.
  void charge(std::size_t bytes) {
    if (bytes > textLeft_) problem_ = "its texts are repeated too often";
    textLeft_ -= std::min(bytes, textLeft_);
  }

  std::string textOf(NodeId node) {
    const std::string_view text = list_.text(node);
    charge(text.size());
    return problem_.empty() ? std::string(text) : "";
  }

  Value dataOf(NodeId node) {
    charge(list_.data(node).size());
    return plainValue(list_, node);
  }

  Value valueOf(NodeId reference) {
    if (!problem_.empty()) return {};
    const auto found = target(reference);
    if (!found) return Dictionary{{kReference, list_.uid(reference)}};
    const NodeId node = *found;
    if (list_.kind(node) == Kind::string) {
      std::string text = textOf(node);
      return isArchive_ && text == keyed_archive::kNothing ? Value(Null{}) : Value(text);
    }
    if (list_.kind(node) == Kind::uid) return Dictionary{{"CF$UID", list_.uid(node)}};
    if (list_.kind(node) == Kind::data) return dataOf(node);
    if (!list_.isContainer(node)) return plainValue(list_, node);
    if (numbers_[node] != 0) return Dictionary{{kReference, numbers_[node]}};
    const std::string className = classOf(node);
    if (auto plain = plainInstance(node, kindOf(className))) return *plain;
    if (references_[node] > 1) numbers_[node] = ++lastNumber_;
    if (++depth_ > PropertyList::kMaximumNesting) problem_ = "it nests too deep";
    Value value = containerOf(node, className);
    --depth_;
    return value;
  }

  Value containerOf(NodeId node, const std::string& className) {
    if (list_.kind(node) != Kind::dictionary) return listOf(node, node, {});
    return className.empty() ? dictionaryOf(node, {}) : collectionOf(node, className);
  }

  /// The name of an archived object's class; empty for anything else.
  std::string classOf(NodeId node) {
    if (!isArchive_ || list_.kind(node) != Kind::dictionary) return "";
    const auto reference = list_.find(node, keyed_archive::kClassKey);
    const auto entry = reference ? target(*reference) : std::nullopt;
    if (!entry || list_.kind(*entry) != Kind::dictionary) return "";
    const auto name = list_.find(*entry, keyed_archive::kClassNameKey);
    const auto text = name ? target(*name) : std::nullopt;
    return text && list_.kind(*text) == Kind::string ? textOf(*text) : "";
  }

  static std::string kindOf(std::string className) {
    if (className.starts_with("NSMutable")) className.erase(2, 7);
    return className;
  }

  /// The value of an object that only wraps one; never referred to by number.
  std::optional<Value> plainInstance(NodeId node, const std::string& kind) {
    if (kind == "NSNull") return Value(Null{});
    if (kind == "NSString") {
      const auto text = field(node, keyed_archive::kStringKey, Kind::string);
      return text ? std::optional<Value>(textOf(*text)) : std::nullopt;
    }
    if (kind == "NSData") {
      const auto data = field(node, keyed_archive::kDataKey, Kind::data);
      return data ? std::optional(dataOf(*data)) : std::nullopt;
    }
    if (kind == "NSDate") {
      const auto time = field(node, keyed_archive::kTimeKey, Kind::real);
      if (!time) return std::nullopt;
      return dateFromSecondsSinceReference(list_.real(*time));
    }
    if (kind != "NSUUID") return std::nullopt;
    const auto bytes = field(node, keyed_archive::kUuidKey, Kind::data);
    UUID uuid;
    if (!bytes || list_.data(*bytes).size() != uuid.bytes.size()) return std::nullopt;
    std::ranges::copy(list_.data(*bytes), uuid.bytes.begin());
    return uuid.UUIDString();
  }

  Value collectionOf(NodeId node, const std::string& className) {
    const std::string kind = kindOf(className);
    const auto items = field(node, keyed_archive::kItemsKey, Kind::array);
    const auto keys = field(node, keyed_archive::kKeysKey, Kind::array);
    if (kind == "NSArray" && items) return listOf(node, *items, {});
    if (kind == "NSSet" && items) return listOf(node, *items, className);
    if (kind != "NSDictionary" || !items || !keys ||
        list_.items(*items).size() != list_.items(*keys).size()) {
      return dictionaryOf(node, className);
    }
    Dictionary dictionary = beginOf(node, {});
    for (std::size_t i = 0; i < list_.items(*keys).size(); ++i) {
      Value key = valueOf(list_.items(*keys)[i]);
      dictionary.set(keyOf(nameFor(key)), valueOf(list_.items(*items)[i]));
    }
    return dictionary;
  }

  /// A key that is no text by its JSON. Keys in keys are quoted again at each level, which doubles
  /// them.
  std::string nameFor(const Value& key) {
    if (key.string() != nullptr) return *key.string();
    if (!problem_.empty()) return "";
    std::string text = archiveJson(key);
    if (text.size() > kLongestKey) problem_ = "a key is too long";
    return text;
  }

  std::optional<NodeId> field(NodeId node, std::string_view key, Kind kind) const {
    const auto value = list_.find(node, key);
    const auto found = value ? target(*value) : std::nullopt;
    return found && list_.kind(*found) == kind ? found : std::nullopt;
  }

  Dictionary beginOf(NodeId node, const std::string& className) const {
    Dictionary dictionary;
    if (!className.empty()) dictionary.set(kClass, className);
    if (numbers_[node] != 0) dictionary.set(kObject, numbers_[node]);
    return dictionary;
  }

  Value listOf(NodeId node, NodeId items, const std::string& className) {
    Dictionary outer = beginOf(node, className);
    std::vector<Value> values;
    for (const NodeId item : list_.items(items)) values.push_back(valueOf(item));
    if (outer.empty()) return Array(std::move(values));
    outer.set(kItems, Array(std::move(values)));
    return outer;
  }

  Value dictionaryOf(NodeId node, const std::string& className) {
    Dictionary dictionary = beginOf(node, className);
    const auto keys = list_.items(node);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (!className.empty() && list_.text(keys[i]) == keyed_archive::kClassKey) continue;
      dictionary.set(keyOf(textOf(keys[i])), valueOf(list_.dictionaryValues(node)[i]));
    }
    return dictionary;
  }

  const PropertyList& list_;
  bool isArchive_ = false;
  NodeId objects_ = 0;
  NodeId top_ = 0;
  std::vector<std::uint32_t> references_;
  /// The numbers given to nodes that are referred to more than once; 0 for none.
  std::vector<std::uint32_t> numbers_;
  std::uint32_t lastNumber_ = 0;
  std::uint32_t depth_ = 0;
  std::size_t textLeft_;
  std::string problem_;
};

std::string dataText(const Data& data) {
  constexpr std::size_t kMostShown = 32;
  std::string text = fmt::format("{} bytes", data.size());
  for (std::size_t i = 0; i < std::min(data.size(), kMostShown); ++i) {
    text += fmt::format("{}{:02x}", i == 0 ? ": " : i % 4 == 0 ? " " : "", data[i]);
  }
  return data.size() > kMostShown ? text + " ..." : text;
}

/// Quoted where it could be taken for something else or would reach the terminal's controls.
std::string plainText(const std::string& text) {
  const bool isPlain = printable(text) == text;
  if (!text.empty() && isPlain && text.front() != ' ' && text.back() != ' ') return text;
  return jsonText(text);
}

std::string scalarText(const Value& value) {
  if (value.date() != nullptr) return dateDescription(*value.date());
  if (value.data() != nullptr) return dataText(*value.data());
  if (value.string() != nullptr) return plainText(*value.string());
  return jsonText(value);
}

/// "KSPrivateBeacon #3", what an object's first line says of it.
std::string headOf(const Dictionary& dictionary) {
  std::string head;
  if (dictionary.contains(kClass)) head = plainText(*dictionary[kClass].stringValue());
  if (dictionary.contains(kObject)) {
    head += fmt::format("{}#{}", head.empty() ? "" : " ", dictionary[kObject].integerValue());
  }
  return head;
}

void write(const Value& value, const std::string& label, const std::string& indent,
           std::string& out) {
  const auto line = [&](const std::string& text) {
    out += indent + label + (label.empty() || text.empty() ? "" : " ") + text + "\n";
  };
  const bool labelled = !label.empty();
  const std::string inner = labelled ? indent + "  " : indent;
  if (const Dictionary* const dictionary = value.dictionary()) {
    if (dictionary->size() == 1 && dictionary->contains(kReference)) {
      return line(fmt::format("-> #{}", (*dictionary)[kReference].integerValue()));
    }
    const std::string head = headOf(*dictionary);
    if (labelled || !head.empty() || dictionary->empty()) {
      line(dictionary->empty() ? "{}" : head);
    }
    for (const auto& [name, member] : *dictionary) {
      if (name == kClass || name == kObject) continue;
      if (name == kItems && member.array() != nullptr) {
        for (const Value& item : member.array()->items) write(item, "-", inner, out);
      } else {
        write(member, plainText(nameOf(name)) + ":", inner, out);
      }
    }
  } else if (const Array* const array = value.array()) {
    if (labelled || array->items.empty()) line(array->items.empty() ? "[]" : "");
    for (const Value& item : array->items) write(item, "-", inner, out);
  } else if (const Set* const set = value.set()) {
    if (labelled || set->items.empty()) line(set->items.empty() ? "[]" : "");
    for (const Value& item : set->items) write(item, "-", inner, out);
  } else {
    line(scalarText(value));
  }
}

std::string base64(const Data& data) {
  std::size_t length = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(
      NewBase64Encode(data.data(), data.size(), false, &length), &std::free);
  return text ? std::string(text.get(), length) : "";
}

Value jsonReady(const Value& value) {
  if (value.date() != nullptr) return dateDescription(*value.date());
  if (value.data() != nullptr) return base64(*value.data());
  const auto listed = [](const std::vector<Value>& items) {
    std::vector<Value> list;
    std::ranges::transform(items, std::back_inserter(list), jsonReady);
    return Array(std::move(list));
  };
  if (value.array() != nullptr) return listed(value.array()->items);
  if (value.set() != nullptr) return listed(value.set()->items);
  if (value.dictionary() == nullptr) return value;
  Dictionary dictionary;
  for (const auto& [name, member] : *value.dictionary()) dictionary.set(name, jsonReady(member));
  return dictionary;
}

}  // namespace

Result<ArchiveView> viewArchive(std::span<const std::uint8_t> bytes) {
  const auto list = NSPropertyListSerialization::parse(bytes);
  if (!list) return list.error();
  Walk walk(*list);
  ArchiveView view = walk.view();
  if (!walk.problem().empty()) return Error("org.ksbeacon.inspect", 1, walk.problem());
  return view;
}

std::string archiveText(const Value& content) {
  std::string text;
  write(content, "", "", text);
  return text;
}

std::string archiveJson(const Value& content) { return jsonText(jsonReady(content)); }

}  // namespace ks::tool
