#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "BeaconSDK/Classes/Common/Foundation/NSCocoaError.h"
#include "BeaconSDK/Classes/Common/Foundation/NSData+Base64.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/XMLPropertyList.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/XMLPropertyListText.h"
#include "BeaconSDK/Classes/Common/Foundation/UnicodeText.h"

namespace ks {

namespace {

using namespace xml_property_list;
using Kind = PropertyList::Kind;
using NodeId = PropertyList::NodeId;

constexpr std::string_view kPrologue =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '\r':
        result += "&#13;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

bool canBeWritten(std::string_view text) {
  constexpr std::string_view kAllowed = "\t\n\r";
  return isValidUtf8(text) && std::all_of(text.begin(), text.end(), [&](char c) {
           return static_cast<unsigned char>(c) >= 0x20 || kAllowed.find(c) != kAllowed.npos;
         });
}

std::string base64(std::span<const std::uint8_t> bytes) {
  std::size_t length = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(
      NewBase64Encode(bytes.data(), bytes.size(), false, &length), &std::free);
  return text ? std::string(text.get(), length) : std::string();
}

/// Each writing operation answers false when there is no XML for a node; `reason_` then tells why.
class Writer {
 public:
  explicit Writer(const PropertyList& list) : list_(list), limit_(list.textLimit()) {}

  Result<Data> write() {
    text_ = kPrologue;
    if (!writeNode(list_.root())) {
      return cocoaError(NSCocoaError::propertyListWriteInvalid, "XML cannot hold " + reason_);
    }
    text_ += "</plist>\n";
    return Data(text_.begin(), text_.end());
  }

 private:
  bool fail(std::string reason) {
    reason_ = std::move(reason);
    return false;
  }

  void writeIndent() { text_.append(depth_, '\t'); }

  bool count(std::size_t characters) {
    written_ += characters;
    return written_ <= limit_ || fail("containers that are shared so often");
  }

  bool writeElement(std::string_view name, std::string_view content) {
    writeIndent();
    text_.append("<").append(name).append(">").append(content);
    text_.append("</").append(name).append(">\n");
    return true;
  }

  bool writeText(std::string_view name, std::string_view text) {
    if (!count(text.size())) return false;
    if (!canBeWritten(text)) return fail("control characters or invalid text");
    return writeElement(name, escaped(text));
  }

  bool writeNode(NodeId node) {
    if (!count(1)) return false;
    switch (list_.kind(node)) {
      case Kind::boolean:
        writeIndent();
        text_ += list_.boolean(node) ? "<true/>\n" : "<false/>\n";
        return true;
      case Kind::integer:
        return writeElement("integer", std::to_string(list_.integer(node)));
      case Kind::largeInteger:
        return writeElement("integer", std::to_string(list_.largeInteger(node)));
      case Kind::real:
        return writeElement("real", realText(list_.real(node)));
      case Kind::date:
        return writeDate(list_.date(node));
      case Kind::data:
        return count(list_.data(node).size()) && writeElement("data", base64(list_.data(node)));
      case Kind::string:
        return writeText("string", list_.text(node));
      case Kind::uid:
        return writeReference(list_.uid(node));
      case Kind::array:
      case Kind::dictionary:
        return writeContainer(node);
      case Kind::null:
        return fail("null");
      case Kind::set:
        return fail("sets");
    }
    return false;
  }

  bool writeDate(Date date) {
    const auto text = dateText(date);
    return text ? writeElement("date", *text) : fail("a date outside the years 0 to 9999");
  }

  bool writeReference(std::uint64_t number) {
    open("dict");
    const bool written =
        writeElement("key", "CF$UID") && writeElement("integer", std::to_string(number));
    close("dict");
    return written;
  }

  void open(std::string_view name) {
    writeIndent();
    text_.append("<").append(name).append(">\n");
    ++depth_;
  }
  void close(std::string_view name) {
    --depth_;
    writeIndent();
    text_.append("</").append(name).append(">\n");
  }

  bool writeContainer(NodeId node) {
    if (depth_ >= PropertyList::kMaximumNesting) return fail("containers that nest so deep");
    const bool isDictionary = list_.kind(node) == Kind::dictionary;
    const std::string_view name = isDictionary ? "dict" : "array";
    const auto items = list_.items(node);
    open(name);
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (isDictionary && !writeText("key", list_.text(items[i]))) return false;
      if (!writeNode(isDictionary ? list_.dictionaryValues(node)[i] : items[i])) return false;
    }
    close(name);
    return true;
  }

  const PropertyList& list_;
  /// Elements and bytes of text and data, at most and so far.
  std::size_t limit_;
  std::size_t written_ = 0;
  std::size_t depth_ = 0;
  std::string text_;
  std::string reason_;
};

}  // namespace

Result<Data> writeXMLPropertyList(const PropertyList& list) { return Writer(list).write(); }

}  // namespace ks
