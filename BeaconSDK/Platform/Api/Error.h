#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// A failure as a value: a domain, a code within it, and a text for the user. Copied freely; may
/// be put into a notification's user information through `std::make_shared<Error>`.
class Error : public Object {
 public:
  static constexpr const char* kClassName = "NSError";
  static const Class kClass;

  Error() = default;
  Error(std::string domain, std::int64_t code, std::string description);
  Error(std::string domain, std::int64_t code, Dictionary userInfo);

  const std::string& domain() const { return domain_; }
  std::int64_t code() const { return code_; }
  const Dictionary& userInfo() const { return userInfo_; }
  /// The entry "NSLocalizedDescription" of the user information, else a text made from domain and
  /// code.
  virtual std::string localizedDescription() const;

  const Class& objectClass() const override { return kClass; }
  bool isEqual(const Object* other) const override;
  std::size_t hash() const override;
  /// "domain (code): localized description".
  std::string description() const override;

 private:
  std::string domain_;
  std::int64_t code_ = 0;
  Dictionary userInfo_;
};

/// The user-information key of the localized description.
inline constexpr const char* NSLocalizedDescriptionKey = "NSLocalizedDescription";
/// Domain of the URL session's errors; the codes are those of `NSURLError`.
inline constexpr const char* NSURLErrorDomain = "NSURLErrorDomain";

/// The value of an operation that may fail, or its error.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : content_(std::move(value)) {}
  Result(Error error) : content_(std::move(error)) {}

  bool ok() const { return std::holds_alternative<T>(content_); }
  explicit operator bool() const { return ok(); }

  /// Requires `ok()`.
  const T& value() const { return std::get<T>(content_); }
  T& value() { return std::get<T>(content_); }
  const T& operator*() const { return value(); }
  const T* operator->() const { return &value(); }

  /// Requires an error: not `ok()`.
  const Error& error() const { return std::get<Error>(content_); }

 private:
  std::variant<T, Error> content_;
};

}  // namespace ks
