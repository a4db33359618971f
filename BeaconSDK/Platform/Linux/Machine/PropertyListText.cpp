#include "BeaconSDK/Platform/Linux/Machine/PropertyListText.h"

#include <glib.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <pugixml.hpp>
#include <sstream>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Http/GLibOwned.h"

namespace ks {

namespace {

constexpr int kDeepest = 64;

/// Whether XML can hold the text.
bool isWritable(const std::string& text) {
  const bool hasControl = std::any_of(text.begin(), text.end(), [](unsigned char character) {
    return character < 0x20 && character != '\t' && character != '\n' && character != '\r';
  });
  return !hasControl && g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr);
}

/// "2026-01-01T08:00:00Z", within the years that the format can tell.
std::string dateText(double seconds) {
  constexpr double kYear1 = -62135596800;
  constexpr double kYear9999 = 253402300799;
  const auto whole = static_cast<gint64>(std::floor(std::clamp(seconds, kYear1, kYear9999)));
  GDateTime* const date = g_date_time_new_from_unix_utc(whole);
  const GLibOwned<gchar> text(g_date_time_format(date, "%Y-%m-%dT%H:%M:%SZ"));
  g_date_time_unref(date);
  return text.get();
}

bool append(pugi::xml_node parent, const Value& value, int depth);

bool appendText(pugi::xml_node parent, const char* name, const std::string& text) {
  if (!isWritable(text)) return false;
  parent.append_child(name).text().set(text.c_str());
  return true;
}

bool appendDate(pugi::xml_node parent, Date date) {
  const double seconds = secondsSince1970(date);
  if (!std::isfinite(seconds)) return false;
  pugi::xml_node node = parent.append_child("date");
  node.append_attribute("seconds").set_value(numberDescription(seconds).c_str());
  node.text().set(dateText(seconds).c_str());
  return true;
}

bool appendDictionary(pugi::xml_node parent, const Dictionary& values, int depth) {
  pugi::xml_node node = parent.append_child("dict");
  return std::all_of(values.begin(), values.end(), [&](const Dictionary::Entry& entry) {
    return appendText(node, "key", entry.first) && append(node, entry.second, depth + 1);
  });
}

bool append(pugi::xml_node parent, const Value& value, int depth) {
  if (depth > kDeepest) return false;
  if (const auto* flag = value.boolean()) return parent.append_child(*flag ? "true" : "false");
  if (value.integer() != nullptr || value.largeInteger() != nullptr) {
    return appendText(parent, "integer", value.description());
  }
  if (const auto* real = value.real()) {
    return std::isfinite(*real) && appendText(parent, "real", numberDescription(*real));
  }
  if (const auto* text = value.string()) return appendText(parent, "string", *text);
  if (const auto* date = value.date()) return appendDate(parent, *date);
  if (const auto* data = value.data()) {
    const GLibOwned<gchar> base64(g_base64_encode(data->data(), data->size()));
    return appendText(parent, "data", base64.get());
  }
  if (const auto* array = value.array()) {
    pugi::xml_node node = parent.append_child("array");
    return std::all_of(array->items.begin(), array->items.end(),
                       [&](const Value& item) { return append(node, item, depth + 1); });
  }
  if (const auto* values = value.dictionary()) return appendDictionary(parent, *values, depth);
  return false;
}

template <class T>
std::optional<T> numberFrom(std::string_view text) {
  T number{};
  const auto end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

std::optional<Value> integerFrom(std::string_view text) {
  if (const auto number = numberFrom<std::int64_t>(text)) return Value(*number);
  if (const auto number = numberFrom<std::uint64_t>(text)) return Value(*number);
  return std::nullopt;
}

std::optional<Value> dateFrom(pugi::xml_node node) {
  if (const auto exact = numberFrom<double>(node.attribute("seconds").value())) {
    return Value(dateFromSecondsSince1970(*exact));
  }
  GDateTime* const date = g_date_time_new_from_iso8601(node.text().get(), nullptr);
  if (date == nullptr) return std::nullopt;
  const auto seconds = static_cast<double>(g_date_time_to_unix(date));
  g_date_time_unref(date);
  return Value(dateFromSecondsSince1970(seconds));
}

Value dataFrom(const char* text) {
  gsize length = 0;
  guchar* const bytes = g_base64_decode(text, &length);
  Data data(bytes, bytes + length);
  g_free(bytes);
  return data;
}

std::optional<Value> valueFrom(pugi::xml_node node, int depth);

std::optional<Dictionary> dictionaryFrom(pugi::xml_node node, int depth) {
  Dictionary values;
  std::optional<std::string> key;
  for (const pugi::xml_node child : node.children()) {
    if (child.type() != pugi::node_element) continue;
    const bool isKey = child.name() == std::string_view("key");
    if (isKey == key.has_value()) return std::nullopt;
    if (isKey) {
      key = child.text().get();
      continue;
    }
    auto value = valueFrom(child, depth + 1);
    if (!value) return std::nullopt;
    values.set(*std::exchange(key, std::nullopt), *std::move(value));
  }
  if (key) return std::nullopt;
  return values;
}

std::optional<Value> arrayFrom(pugi::xml_node node, int depth) {
  Array array;
  for (const pugi::xml_node child : node.children()) {
    if (child.type() != pugi::node_element) continue;
    auto value = valueFrom(child, depth + 1);
    if (!value) return std::nullopt;
    array.items.push_back(*std::move(value));
  }
  return Value(std::move(array));
}

std::optional<Value> valueFrom(pugi::xml_node node, int depth) {
  if (depth > kDeepest) return std::nullopt;
  const std::string_view kind = node.name();
  const char* const text = node.text().get();
  if (kind == "true") return Value(true);
  if (kind == "false") return Value(false);
  if (kind == "integer") return integerFrom(text);
  if (kind == "string") return Value(text);
  if (kind == "date") return dateFrom(node);
  if (kind == "data") return dataFrom(text);
  if (kind == "array") return arrayFrom(node, depth);
  if (kind == "real") {
    const auto number = numberFrom<double>(text);
    return number ? std::optional<Value>(*number) : std::nullopt;
  }
  if (kind == "dict") {
    auto values = dictionaryFrom(node, depth);
    return values ? std::optional<Value>(*std::move(values)) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Data> propertyListText(const Dictionary& values) {
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  pugi::xml_node list = document.append_child("plist");
  list.append_attribute("version") = "1.0";
  if (!appendDictionary(list, values, 0)) return std::nullopt;
  std::ostringstream out;
  document.save(out, "\t", pugi::format_indent, pugi::encoding_utf8);
  const std::string text = out.str();
  return Data(text.begin(), text.end());
}

std::optional<Dictionary> propertyListFromText(const Data& text) {
  pugi::xml_document document;
  // Line ends stay as they are: they belong to the text.
  constexpr unsigned kOptions =
      pugi::parse_cdata | pugi::parse_escapes | pugi::parse_ws_pcdata | pugi::parse_wconv_attribute;
  const auto read = document.load_buffer(text.data(), text.size(), kOptions, pugi::encoding_utf8);
  const pugi::xml_node list = document.child("plist");
  if (!read || !list) return std::nullopt;
  return dictionaryFrom(list.child("dict"), 0);
}

}  // namespace ks
