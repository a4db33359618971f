#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"

#include <boost/json/serialize.hpp>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Network/JSONReading.h"
#include "BeaconSDK/Classes/Network/PortalNumber.h"

namespace ks::NSJSONSerialization {

namespace {

/// Receives the parser's events and grows the value directly, without a tree in between.
class ValueBuilder : public JSONHandlerBase {
 public:
  Value take() { return std::move(root_); }

  bool on_object_begin(Code&) { return begin(true); }
  bool on_object_end(std::size_t, Code&) {
    Dictionary entries = std::move(open_.back().entries);
    open_.pop_back();
    return add(std::move(entries));
  }
  bool on_array_begin(Code&) { return begin(false); }
  bool on_array_end(std::size_t, Code&) {
    Array list(std::move(open_.back().items));
    open_.pop_back();
    return add(std::move(list));
  }
  bool on_key_part(Text part, std::size_t, Code&) { return collect(part); }
  bool on_key(Text part, std::size_t, Code&) {
    collect(part);
    open_.back().key = std::exchange(text_, {});
    return true;
  }
  bool on_string_part(Text part, std::size_t, Code&) { return collect(part); }
  bool on_string(Text part, std::size_t, Code&) {
    collect(part);
    return add(std::exchange(text_, {}));
  }
  bool on_number_part(Text part, Code&) { return collect(part); }
  bool on_int64(std::int64_t number, Text, Code&) { return addNumber(number); }
  bool on_uint64(std::uint64_t number, Text, Code&) { return addNumber(number); }
  /// Boost.JSON's own conversion can be off in the last digit, which would show in the decimal
  /// text.
  bool on_double(double, Text part, Code& error) {
    collect(part);
    if (const auto number = PortalNumber::nearestDouble(text_)) return addNumber(*number);
    error = boost::json::error::exponent_overflow;
    return false;
  }
  bool on_bool(bool value, Code&) { return add(value); }
  bool on_null(Code&) { return add(Null{}); }

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
  bool collect(Text part) {
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

}  // namespace

Result<Value> JSONObjectWithData(std::string_view text) {
  boost::json::basic_parser<ValueBuilder> parser(jsonOptions(kMaximumDepth));
  if (auto error = readJSON(text, parser)) return *error;
  return parser.handler().take();
}

std::string dataWithJSONObject(const Dictionary& dictionary) {
  return boost::json::serialize(boxedMembers(dictionary));
}

}  // namespace ks::NSJSONSerialization
