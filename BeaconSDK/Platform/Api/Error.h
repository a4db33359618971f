#pragma once

#include <cstdint>
#include <string>

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
/// Domain and codes of the URL session's errors.
inline constexpr const char* NSURLErrorDomain = "NSURLErrorDomain";

}  // namespace ks
