#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Property.h"

namespace ks {

/// A boxed structure: the form in which an archive stores a property that is a structure. Holds the
/// structure's name and its fields in order.
class NSValue : public Object {
 public:
  static constexpr const char* kClassName = "NSValue";
  static const Class kClass;

  NSValue() = default;
  NSValue(std::string objCType, std::vector<Value> fields)
      : objCType_(std::move(objCType)), fields_(Array(std::move(fields))) {}

  const std::string& objCType() const { return objCType_; }
  const std::vector<Value>& fields() const;

  const Class& objectClass() const override { return kClass; }
  bool isEqual(const Object* other) const override;
  std::size_t hash() const override { return std::hash<std::string>{}(objCType_); }
  std::string description() const override;

 private:
  std::string objCType_;
  std::optional<Array> fields_;
};

/// The structure's name and its members in order. Specialise it to persist a property of that
/// structure.
template <class S>
struct Structure;

template <>
struct Structure<CLLocationCoordinate2D> {
  static constexpr const char* kName = "CLLocationCoordinate2D";
  static constexpr std::tuple kMembers{&CLLocationCoordinate2D::latitude,
                                       &CLLocationCoordinate2D::longitude};
};

/// Codes a property that is a structure. Unboxing leaves the member unchanged if the boxed name or
/// number of fields differs.
template <class S>
requires std::is_class_v<S> && requires { Structure<S>::kMembers; }
struct Coding<S> {
  static std::string valueClass() { return NSValue::kClassName; }
  static Value box(const S& member) {
    return std::apply(
        [&](auto... fields) {
          return std::make_shared<NSValue>(Structure<S>::kName,
                                           std::vector<Value>{boxField(member.*fields)...});
        },
        Structure<S>::kMembers);
  }
  static void unbox(const Value& value, S& member) {
    if (value.isAbsent()) member = S{};
    const auto boxed = value.objectOf<NSValue>();
    if (!boxed || boxed->objCType() != Structure<S>::kName) return;
    std::apply(
        [&](auto... fields) {
          if (boxed->fields().size() != sizeof...(fields)) return;
          std::size_t next = 0;
          (unboxField(boxed->fields()[next++], member.*fields), ...);
        },
        Structure<S>::kMembers);
  }

 private:
  template <class F>
  static Value boxField(const F& field) {
    return Coding<F>::box(field);
  }
  template <class F>
  static void unboxField(const Value& value, F& field) {
    if (isKindOfClass(value, Coding<F>::valueClass())) Coding<F>::unbox(value, field);
  }
};

}  // namespace ks
