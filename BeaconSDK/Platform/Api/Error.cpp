#include "BeaconSDK/Platform/Api/Error.h"

#include "BeaconSDK/Platform/Api/Property.h"

namespace ks {

const Class Error::kClass{kClassName,
                          nullptr,
                          makeObject<Error>,
                          {property("domain", &Error::domain_), property("code", &Error::code_),
                           property("userInfo", &Error::userInfo_)}};

Error::Error(std::string domain, std::int64_t code, std::string description)
    : Error(std::move(domain), code,
            Dictionary{{NSLocalizedDescriptionKey, std::move(description)}}) {}

Error::Error(std::string domain, std::int64_t code, Dictionary userInfo)
    : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}

std::string Error::localizedDescription() const {
  if (const auto text = userInfo_[NSLocalizedDescriptionKey].stringValue()) return *text;
  return "The operation couldn't be completed. (" + domain_ + " error " + std::to_string(code_) +
         ".)";
}

bool Error::isEqual(const Object* other) const {
  const auto* error = dynamic_cast<const Error*>(other);
  return error && error->domain_ == domain_ && error->code_ == code_ &&
         error->userInfo_ == userInfo_;
}

std::size_t Error::hash() const {
  return std::hash<std::string>{}(domain_) + static_cast<std::size_t>(code_);
}

std::string Error::description() const {
  return domain_ + " (" + std::to_string(code_) + "): " + localizedDescription();
}

}  // namespace ks
