#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/UUID.h"

namespace ks {

class Object;
class Value;

/// Raw bytes.
using Data = std::vector<std::uint8_t>;

/// The explicit null of JSON: present, unlike an absent value.
struct Null {
  friend bool operator==(const Null&, const Null&) = default;
};

/// An ordered list. `isMutable` records which of the platform's two list kinds an archive held;
/// equality ignores it.
struct Array {
  std::vector<Value> items;
  bool isMutable = false;

  Array() = default;
  Array(std::initializer_list<Value> values);
  explicit Array(std::vector<Value> values, bool isMutable = false);
};

/// A collection without order or duplicates; the order of `items` is that of insertion.
struct Set {
  std::vector<Value> items;
  bool isMutable = false;
};

/// Maps text keys to values and keeps the order of first insertion. Constant-time look-up.
class Dictionary {
 public:
  using Entry = std::pair<std::string, Value>;

  Dictionary() = default;
  Dictionary(std::initializer_list<Entry> entries);

  /// Returns the value for `key`, or null when the key is missing. Valid until the next change.
  const Value* find(std::string_view key) const;
  /// Returns the value for `key`, or an absent value.
  const Value& operator[](std::string_view key) const;
  bool contains(std::string_view key) const { return find(key) != nullptr; }

  /// Stores `value` under `key`; a known key keeps its place in the order.
  void set(std::string key, Value value);
  /// Removes `key`, keeping the order of the rest; false when it was missing. Linear.
  bool erase(std::string_view key);
  void clear();

  using const_iterator = std::vector<Entry>::const_iterator;
  std::size_t size() const;
  bool empty() const;
  const_iterator begin() const;
  const_iterator end() const;

  /// As `Array::isMutable`.
  bool isMutable = false;

 private:
  std::optional<std::size_t> indexOf(std::string_view key) const;
  void rebuildIndex();

  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>{}(text);
    }
  };
  std::vector<Entry> entries_;
  std::unordered_map<std::string, std::size_t, TextHash, std::equal_to<>> index_;
};

/// One value of a property list, an archive, a JSON document or a notification's user information.
///
/// A default-constructed value is absent, which differs from `Null`. Texts, data and containers
/// inside a value are shared and immutable, so copying is cheap and only objects can form cycles.
class Value {
 public:
  Value() = default;
  Value(Null null) : content_(null) {}
  Value(bool value) : content_(value) {}
  template <class T>
  requires std::is_integral_v<T> Value(T value) : content_(fromInteger(value)) {}
  Value(double value) : content_(value) {}
  Value(const char* text) : Value(std::string(text)) {}
  Value(std::string text);
  Value(std::string_view text) : Value(std::string(text)) {}
  Value(Date date) : content_(date) {}
  Value(UUID uuid) : content_(uuid) {}
  Value(Data data);
  Value(Array array);
  Value(Set set);
  Value(Dictionary dictionary);
  template <class T>
  requires std::is_base_of_v<Object, T> Value(std::shared_ptr<T> object) {
    if (object) content_ = std::shared_ptr<Object>(std::move(object));
  }
  template <class T>
  Value(const std::optional<T>& value) {
    if (value) *this = Value(*value);
  }

  bool isAbsent() const { return std::holds_alternative<std::monostate>(content_); }
  bool isNull() const { return std::holds_alternative<Null>(content_); }
  /// A boolean, an integer or a real.
  bool isNumber() const;

  /// Each returns null when the value is of another kind. Valid as long as the value.
  const bool* boolean() const { return std::get_if<bool>(&content_); }
  const std::int64_t* integer() const { return std::get_if<std::int64_t>(&content_); }
  /// Only for integers above the signed range.
  const std::uint64_t* largeInteger() const { return std::get_if<std::uint64_t>(&content_); }
  const double* real() const { return std::get_if<double>(&content_); }
  const std::string* string() const { return shared<std::string>(); }
  const Date* date() const { return std::get_if<Date>(&content_); }
  const UUID* uuid() const { return std::get_if<UUID>(&content_); }
  const Data* data() const { return shared<Data>(); }
  const Array* array() const { return shared<Array>(); }
  const Set* set() const { return shared<Set>(); }
  const Dictionary* dictionary() const { return shared<Dictionary>(); }
  std::shared_ptr<Object> object() const;
  /// Returns the object if it is a `T`, otherwise null.
  template <class T>
  std::shared_ptr<T> objectOf() const {
    return std::dynamic_pointer_cast<T>(object());
  }

  /// Returns a number as a double; 0 for every other kind.
  double doubleValue() const;
  /// Returns a number as a 64-bit integer, truncated toward zero and clamped to the range; 0 for
  /// NaN and for every other kind.
  std::int64_t integerValue() const;
  /// True for a number other than 0.
  bool boolValue() const;
  std::optional<std::string> stringValue() const;

  /// Returns the name of the platform class that would hold the value: "NSString", "NSNumber",
  /// "NSArray", ...; an object's own class name; "NSObject" when absent.
  std::string className() const;

  /// Returns the value as "%@" prints it: text as it is, numbers in decimal, "(a, b)" for lists,
  /// "{key = value; }" for dictionaries, "(null)" when absent. A container's text is cut with "..."
  /// after 4 MiB, because shared containers inside each other are printed once per path that leads
  /// to them.
  std::string description() const;

  /// Returns the address of a shared text, data, container or object, null for other values: lets a
  /// writer store a container once however often it is referenced.
  const void* identity() const;

  /// Deep equality; numbers by value, objects by `Object::isEqual`. Compares a pair of shared
  /// containers once, however often it occurs.
  friend bool operator==(const Value& a, const Value& b);

 private:
  using Content =
      std::variant<std::monostate, Null, bool, std::int64_t, std::uint64_t, double,
                   std::shared_ptr<const std::string>, Date, UUID, std::shared_ptr<const Data>,
                   std::shared_ptr<const Array>, std::shared_ptr<const Set>,
                   std::shared_ptr<const Dictionary>, std::shared_ptr<Object>>;

  template <class T>
  static Content fromInteger(T value) {
    if constexpr (std::is_unsigned_v<T> && sizeof(T) == sizeof(std::uint64_t)) {
      if (value > static_cast<T>(INT64_MAX)) return static_cast<std::uint64_t>(value);
    }
    return static_cast<std::int64_t>(value);
  }
  template <class T>
  const T* shared() const {
    const auto* pointer = std::get_if<std::shared_ptr<const T>>(&content_);
    return pointer ? pointer->get() : nullptr;
  }

  Content content_;
};

// `Entry` is complete only from here on.
inline std::size_t Dictionary::size() const { return entries_.size(); }
inline bool Dictionary::empty() const { return entries_.empty(); }
inline Dictionary::const_iterator Dictionary::begin() const { return entries_.begin(); }
inline Dictionary::const_iterator Dictionary::end() const { return entries_.end(); }

bool operator==(const Array& a, const Array& b);
bool operator==(const Set& a, const Set& b);
/// Equal keys with equal values, in any order.
bool operator==(const Dictionary& a, const Dictionary& b);

/// Returns the shortest text that parses back to `number`: 1 for 1.0, 2.5, 100000, 0.0001, 1e-05,
/// 1e+21.
std::string numberDescription(double number);

}  // namespace ks
