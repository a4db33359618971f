#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "BeaconSDK/Platform/Api/Class.h"

namespace ks {

/// Defines how a member of type `M` is stored in a `Value` and read back; an absent value clears
/// the member. Specialise it for further types.
template <class M>
struct Coding;

/// Scalars and enumerations are boxed as numbers. A number outside the member's range is clamped.
template <class M>
requires std::is_arithmetic_v<M> || std::is_enum_v<M>
struct Coding<M> {
  static std::string valueClass() { return "NSNumber"; }
  static Value box(M member) {
    if constexpr (std::is_enum_v<M>) {
      return static_cast<std::int64_t>(member);
    } else if constexpr (std::is_floating_point_v<M>) {
      return static_cast<double>(member);
    } else {
      return member;
    }
  }
  static void unbox(const Value& value, M& member) {
    if constexpr (std::is_same_v<M, bool>) {
      member = value.boolValue();
    } else if constexpr (std::is_floating_point_v<M>) {
      member = static_cast<M>(value.doubleValue());
    } else if constexpr (std::is_enum_v<M>) {
      std::underlying_type_t<M> number{};
      Coding<std::underlying_type_t<M>>::unbox(value, number);
      member = static_cast<M>(number);
    } else if (std::is_same_v<M, std::uint64_t> && value.largeInteger()) {
      member = static_cast<M>(*value.largeInteger());
    } else {
      const std::int64_t number = value.integerValue();
      constexpr auto kLow = std::numeric_limits<M>::min();
      constexpr auto kHigh = std::numeric_limits<M>::max();
      member = std::in_range<M>(number) ? static_cast<M>(number) : (number < 0 ? kLow : kHigh);
    }
  }
};

template <>
struct Coding<std::optional<std::string>> {
  static std::string valueClass() { return "NSString"; }
  static Value box(const std::optional<std::string>& member) { return member; }
  static void unbox(const Value& value, std::optional<std::string>& member) {
    member = value.stringValue();
  }
};

template <>
struct Coding<std::string> {
  static std::string valueClass() { return "NSString"; }
  static Value box(const std::string& member) { return member; }
  static void unbox(const Value& value, std::string& member) {
    member = value.stringValue().value_or("");
  }
};

template <>
struct Coding<Dictionary> {
  static std::string valueClass() { return "NSDictionary"; }
  static Value box(const Dictionary& member) { return member; }
  static void unbox(const Value& value, Dictionary& member) {
    const Dictionary* const dictionary = value.dictionary();
    member = dictionary ? *dictionary : Dictionary();
  }
};

template <>
struct Coding<std::optional<Date>> {
  static std::string valueClass() { return "NSDate"; }
  static Value box(const std::optional<Date>& member) { return member; }
  static void unbox(const Value& value, std::optional<Date>& member) {
    const Date* const date = value.date();
    member = date ? std::optional(*date) : std::nullopt;
  }
};

template <>
struct Coding<std::optional<UUID>> {
  static std::string valueClass() { return "NSUUID"; }
  static Value box(const std::optional<UUID>& member) { return member; }
  static void unbox(const Value& value, std::optional<UUID>& member) {
    const UUID* const uuid = value.uuid();
    member = uuid ? std::optional(*uuid) : std::nullopt;
  }
};

template <>
struct Coding<std::optional<Array>> {
  static std::string valueClass() { return "NSArray"; }
  static Value box(const std::optional<Array>& member) { return member; }
  static void unbox(const Value& value, std::optional<Array>& member) {
    const Array* const array = value.array();
    member = array ? std::optional(*array) : std::nullopt;
  }
};

template <>
struct Coding<std::optional<Dictionary>> {
  static std::string valueClass() { return "NSDictionary"; }
  static Value box(const std::optional<Dictionary>& member) { return member; }
  static void unbox(const Value& value, std::optional<Dictionary>& member) {
    const Dictionary* const dictionary = value.dictionary();
    member = dictionary ? std::optional(*dictionary) : std::nullopt;
  }
};

template <class T>
requires std::is_base_of_v<Object, std::remove_const_t<T>>
struct Coding<std::shared_ptr<T>> {
  static std::string valueClass() { return std::remove_const_t<T>::kClassName; }
  static Value box(const std::shared_ptr<T>& member) {
    return std::const_pointer_cast<std::remove_const_t<T>>(member);
  }
  static void unbox(const Value& value, std::shared_ptr<T>& member) {
    member = value.objectOf<std::remove_const_t<T>>();
  }
};

/// The persisted property `name` that lives in `member`.
///
/// Every record class declares `static constexpr const char* kClassName` and
/// `static const ks::Class kClass`.
template <class T, class M>
Property property(std::string name, M T::*member) {
  return {std::move(name), Coding<M>::valueClass(),
          [member](const Object& object) {
            return Coding<M>::box(static_cast<const T&>(object).*member);
          },
          [member](Object& object, const Value& value) {
            Coding<M>::unbox(value, static_cast<T&>(object).*member);
          }};
}

/// Creates an empty record of class `T`: the factory for `Class`.
template <class T>
std::shared_ptr<Object> makeObject() {
  return std::make_shared<T>();
}

}  // namespace ks
