#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/NSCocoaError.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/XMLPropertyList.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/XMLPropertyListText.h"
#include "BeaconSDK/Classes/Common/Foundation/UnicodeText.h"

namespace ks {

namespace {

using namespace xml_property_list;
using NodeId = PropertyList::NodeId;
using Answer = std::optional<NodeId>;

bool isElement(const pugi::xml_node& node) { return node.type() == pugi::node_element; }

std::vector<pugi::xml_node> elementsOf(const pugi::xml_node& parent) {
  std::vector<pugi::xml_node> elements;
  for (const auto& child : parent.children()) {
    if (isElement(child)) elements.push_back(child);
  }
  return elements;
}

std::string textOf(const pugi::xml_node& element) {
  std::string text;
  for (const auto& child : element.children()) text += child.value();
  return text;
}

/// Each reading operation answers nothing when the document is no property list; `reason_` then
/// tells why.
class Reader {
 public:
  Result<PropertyList> read(std::span<const std::uint8_t> bytes) {
    constexpr unsigned kOptions = pugi::parse_default | pugi::parse_ws_pcdata_single;
    pugi::xml_document document;
    const auto parsed = document.load_buffer(bytes.data(), bytes.size(), kOptions);
    if (!parsed) return damaged(parsed.description());
    const auto elements = elementsOf(document.child("plist"));
    if (elements.size() != 1) return damaged("there is no single root object");
    const Answer root = readElement(elements[0]);
    if (!root) return damaged(reason_);
    list_.setRoot(*root);
    return std::move(list_);
  }

 private:
  static Error damaged(const std::string& reason) {
    return cocoaError(NSCocoaError::propertyListReadCorrupt,
                      "The XML property list is damaged: " + reason);
  }
  Answer fail(std::string reason) {
    reason_ = std::move(reason);
    return std::nullopt;
  }

  Answer readElement(const pugi::xml_node& element) {
    const std::string_view name = element.name();
    if (name == "dict" || name == "array") {
      if (++depth_ > PropertyList::kMaximumNesting) return fail("it nests too deep");
      const Answer container = name == "dict" ? readDictionary(element) : readArray(element);
      --depth_;
      return container;
    }
    if (name == "true" || name == "false") return list_.addBoolean(name == "true");
    return readText(name, textOf(element));
  }

  Answer readText(std::string_view name, const std::string& text) {
    if (!isValidUtf8(text)) return fail("a text is not valid Unicode");
    if (name == "string") return list_.addString(text);
    if (name == "integer") {
      if (const auto node = integerFromText(text)) return list_.add(*node);
    } else if (name == "real") {
      if (const auto value = realFromText(text)) return list_.addReal(*value);
    } else if (name == "date") {
      if (const auto date = dateFromText(text)) return list_.addDate(*date);
    } else if (name == "data") {
      if (const auto data = dataFromText(text)) return list_.addData(*data);
    }
    return fail("an element <" + std::string(name) + "> is unknown or malformed");
  }

  Answer readArray(const pugi::xml_node& element) {
    std::vector<NodeId> items;
    for (const auto& child : element.children()) {
      if (!isElement(child)) continue;
      const Answer item = readElement(child);
      if (!item) return std::nullopt;
      items.push_back(*item);
    }
    return list_.addArray(items);
  }

  Answer readDictionary(const pugi::xml_node& element) {
    const auto elements = elementsOf(element);
    if (elements.size() % 2 != 0) return fail("a dictionary has a key without a value");
    std::vector<NodeId> keys;
    std::vector<NodeId> values;
    for (std::size_t i = 0; i < elements.size(); i += 2) {
      if (std::string_view(elements[i].name()) != "key") return fail("a key is missing");
      const Answer key = readText("string", textOf(elements[i]));
      const Answer value = key ? readElement(elements[i + 1]) : std::nullopt;
      if (!value) return std::nullopt;
      keys.push_back(*key);
      values.push_back(*value);
    }
    const bool isReference = keys.size() == 1 && list_.text(keys[0]) == "CF$UID" &&
                             list_.kind(values[0]) == PropertyList::Kind::integer &&
                             list_.integer(values[0]) >= 0;
    if (isReference) return list_.addUid(static_cast<std::uint64_t>(list_.integer(values[0])));
    return list_.addDictionary(keys, values);
  }

  PropertyList list_;
  std::uint32_t depth_ = 0;
  std::string reason_;
};

}  // namespace

Result<PropertyList> readXMLPropertyList(std::span<const std::uint8_t> bytes) {
  return Reader().read(bytes);
}

}  // namespace ks
