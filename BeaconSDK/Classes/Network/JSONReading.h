#pragma once

#include <boost/json/basic_parser_impl.hpp>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"

namespace ks {

/// What the handlers of `readJSON` share: texts and numbers of any length are taken, comments never
/// come.
struct JSONHandlerBase {
  static constexpr std::size_t max_object_size = std::numeric_limits<std::size_t>::max();
  static constexpr std::size_t max_array_size = max_object_size;
  static constexpr std::size_t max_key_size = max_object_size;
  static constexpr std::size_t max_string_size = max_object_size;

  using Code = boost::json::error_code;
  using Text = boost::json::string_view;

  bool on_document_begin(Code&) { return true; }
  bool on_document_end(Code&) { return true; }
  bool on_comment_part(Text, Code&) { return true; }
  bool on_comment(Text, Code&) { return true; }
};

/// Sends the events of one whole JSON document to `Parser`'s handler, by the rules of
/// `NSJSONSerialization`; returns what is wrong with the document.
template <class Parser>
std::optional<Error> readJSON(std::string_view text, Parser& parser) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  const std::size_t start = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  text.remove_prefix(start);
  boost::json::error_code error;
  const std::size_t consumed = parser.write_some(false, text.data(), text.size(), error);
  if (!error && consumed < text.size()) error = boost::json::error::extra_data;
  if (!error) return std::nullopt;
  return NSErrorHelpers::errorWithDescription("The document is not valid JSON: " + error.message() +
                                              " at byte " + std::to_string(start + consumed));
}

inline boost::json::parse_options jsonOptions(std::size_t maximumDepth) {
  boost::json::parse_options options;
  options.max_depth = maximumDepth;
  return options;
}

}  // namespace ks
