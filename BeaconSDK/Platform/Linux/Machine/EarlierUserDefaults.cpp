#include "BeaconSDK/Platform/Linux/Machine/EarlierUserDefaults.h"

#include <glib.h>

#include <charconv>
#include <pugixml.hpp>
#include <string_view>
#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Storage/DiskFileStore.h"

namespace ks {

namespace {

constexpr std::size_t kLongestFile = std::size_t{16} * 1024 * 1024;
constexpr int kDeepest = 64;

template <class T>
Value numberFrom(std::string_view text) {
  T number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? Value(number) : Value();
}

/// The exact moment stands beside the format's own text, which has whole seconds.
Value dateFrom(pugi::xml_node node) {
  const Value seconds = numberFrom<double>(node.attribute("seconds").value());
  return seconds.isAbsent() ? Value() : Value(dateFromSecondsSince1970(seconds.doubleValue()));
}

Value dataFrom(const char* text) {
  gsize length = 0;
  guchar* const bytes = g_base64_decode(text, &length);
  Data data(bytes, bytes + length);
  g_free(bytes);
  return data;
}

Dictionary dictionaryFrom(pugi::xml_node node, int depth);

/// Absent for what is no value.
Value valueFrom(pugi::xml_node node, int depth) {
  const std::string_view kind = node.name();
  const char* const text = node.text().get();
  if (kind == "true" || kind == "false") return kind == "true";
  if (kind == "string") return text;
  if (kind == "real") return numberFrom<double>(text);
  if (kind == "date") return dateFrom(node);
  if (kind == "data") return dataFrom(text);
  if (kind == "dict") return dictionaryFrom(node, depth + 1);
  if (kind == "integer") {
    const Value number = numberFrom<std::int64_t>(text);
    return number.isAbsent() ? numberFrom<std::uint64_t>(text) : number;
  }
  if (kind != "array" || depth >= kDeepest) return {};
  Array array;
  for (const pugi::xml_node child : node.children()) {
    array.items.push_back(valueFrom(child, depth + 1));
  }
  return array;
}

Dictionary dictionaryFrom(pugi::xml_node node, int depth) {
  Dictionary values;
  if (depth >= kDeepest) return values;
  for (const pugi::xml_node key : node.children("key")) {
    Value value = valueFrom(key.next_sibling(), depth);
    if (!value.isAbsent()) values.set(key.text().get(), std::move(value));
  }
  return values;
}

}  // namespace

void adoptEarlierUserDefaults(const std::filesystem::path& state, const std::filesystem::path& file,
                              NSUserDefaults& defaults) {
  std::error_code error;
  if (std::filesystem::exists(file, error) || error) return;
  const auto content = DiskFileStore().read(state / "UserDefaults.plist", kLongestFile);
  pugi::xml_document document;
  // Blanks belong to the texts.
  constexpr unsigned kOptions = pugi::parse_cdata | pugi::parse_escapes |
                                pugi::parse_wconv_attribute | pugi::parse_ws_pcdata_single;
  const auto& bytes = content.bytes;
  if (!document.load_buffer(bytes.data(), bytes.size(), kOptions, pugi::encoding_utf8)) return;
  for (const auto& [key, value] : dictionaryFrom(document.child("plist").child("dict"), 0)) {
    defaults.setObject(key, value);
  }
  defaults.synchronize();
}

}  // namespace ks
