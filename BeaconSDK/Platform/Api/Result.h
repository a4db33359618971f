#pragma once

#include <utility>
#include <variant>

#include "BeaconSDK/Platform/Api/Error.h"

namespace ks {

/// A value, or the error that kept it from being made.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : content_(std::move(value)) {}
  Result(Error error) : content_(std::move(error)) {}

  bool ok() const { return std::holds_alternative<T>(content_); }
  explicit operator bool() const { return ok(); }

  /// Only when `ok()`.
  const T& value() const { return std::get<T>(content_); }
  T& value() { return std::get<T>(content_); }
  const T& operator*() const { return value(); }
  const T* operator->() const { return &value(); }

  /// Only when not `ok()`.
  const Error& error() const { return std::get<Error>(content_); }

 private:
  std::variant<T, Error> content_;
};

}  // namespace ks
