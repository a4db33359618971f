#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/serialize.hpp>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"
#include "BeaconSDK/Classes/Network/PortalNumber.h"

namespace ks::NSJSONSerialization {

namespace {

using boost::json::error_code;
using boost::json::string_view;

/// Receives the parser's events and grows the value directly, without a tree in between.
class ValueBuilder {
 public:
  static constexpr std::size_t max_object_size = std::numeric_limits<std::size_t>::max();
  static constexpr std::size_t max_array_size = max_object_size;
  static constexpr std::size_t max_key_size = max_object_size;
  static constexpr std::size_t max_string_size = max_object_size;

  Value take() { return std::move(root_); }

  bool on_document_begin(error_code&) { return true; }
  bool on_document_end(error_code&) { return true; }
  bool on_object_begin(error_code&) { return begin(true); }
  bool on_object_end(std::size_t, error_code&) {
    Dictionary entries = std::move(open_.back().entries);
    open_.pop_back();
    return add(std::move(entries));
  }
  bool on_array_begin(error_code&) { return begin(false); }
  bool on_array_end(std::size_t, error_code&) {
    Array list(std::move(open_.back().items));
    open_.pop_back();
    return add(std::move(list));
  }
  bool on_key_part(string_view part, std::size_t, error_code&) { return collect(part); }
  bool on_key(string_view part, std::size_t, error_code&) {
    collect(part);
    open_.back().key = std::exchange(text_, {});
    return true;
  }
  bool on_string_part(string_view part, std::size_t, error_code&) { return collect(part); }
  bool on_string(string_view part, std::size_t, error_code&) {
    collect(part);
    return add(std::exchange(text_, {}));
  }
  bool on_number_part(string_view part, error_code&) { return collect(part); }
  bool on_int64(std::int64_t number, string_view, error_code&) { return addNumber(number); }
  bool on_uint64(std::uint64_t number, string_view, error_code&) { return addNumber(number); }
  /// Boost.JSON's own conversion can be off in the last digit, which would show in the decimal
  /// text.
  bool on_double(double, string_view part, error_code& error) {
    collect(part);
    if (const auto number = PortalNumber::nearestDouble(text_)) return addNumber(*number);
    error = boost::json::error::exponent_overflow;
    return false;
  }
  bool on_bool(bool value, error_code&) { return add(value); }
  bool on_null(error_code&) { return add(Null{}); }
  bool on_comment_part(string_view, error_code&) { return true; }
  bool on_comment(string_view, error_code&) { return true; }

 private:
  /// A container whose end has not been read yet.
  struct Open {
    bool isObject;
    std::string key;
    Dictionary entries;
    std::vector<Value> items;
  };

  bool begin(bool isObject) {
    open_.push_back({isObject, {}, {}, {}});
    return true;
  }
  bool collect(string_view part) {
    text_.append(part.data(), part.size());
    return true;
  }
  bool addNumber(Value number) {
    text_.clear();
    return add(std::move(number));
  }
  bool add(Value value) {
    if (open_.empty()) {
      root_ = std::move(value);
    } else if (open_.back().isObject) {
      open_.back().entries.set(std::move(open_.back().key), std::move(value));
    } else {
      open_.back().items.push_back(std::move(value));
    }
    return true;
  }

  std::vector<Open> open_;
  std::string text_;
  Value root_;
};

boost::json::value boxed(const Value& value);

boost::json::object boxedMembers(const Dictionary& dictionary) {
  boost::json::object members;
  members.reserve(dictionary.size());
  for (const auto& [key, value] : dictionary) members.insert_or_assign(key, boxed(value));
  return members;
}

boost::json::value boxed(const Value& value) {
  if (value.isAbsent() || value.isNull()) return nullptr;
  if (const bool* flag = value.boolean()) return *flag;
  if (const auto* number = value.integer()) return *number;
  if (const auto* number = value.largeInteger()) return *number;
  if (const double* number = value.real()) {
    return std::isfinite(*number) ? boost::json::value(*number) : boost::json::value(nullptr);
  }
  if (const Dictionary* dictionary = value.dictionary()) return boxedMembers(*dictionary);
  if (const Array* array = value.array()) {
    boost::json::array list;
    list.reserve(array->items.size());
    for (const auto& item : array->items) list.push_back(boxed(item));
    return list;
  }
  return boost::json::value(boost::json::string(value.description()));
}

Error syntaxError(const error_code& reason, std::size_t position) {
  return NSErrorHelpers::errorWithDescription(
      "The document is not valid JSON: " + reason.message() + " at byte " +
      std::to_string(position));
}

}  // namespace

Result<Value> JSONObjectWithData(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  const std::size_t start = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  text.remove_prefix(start);

  boost::json::parse_options options;
  options.max_depth = kMaximumDepth;
  boost::json::basic_parser<ValueBuilder> parser(options);
  error_code error;
  const std::size_t consumed = parser.write_some(false, text.data(), text.size(), error);
  if (!error && consumed < text.size()) error = boost::json::error::extra_data;
  if (error) return syntaxError(error, start + consumed);
  return parser.handler().take();
}

std::string dataWithJSONObject(const Dictionary& dictionary) {
  return boost::json::serialize(boxedMembers(dictionary));
}

}  // namespace ks::NSJSONSerialization
