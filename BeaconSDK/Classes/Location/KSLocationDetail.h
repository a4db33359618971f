#pragma once

#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Object.h"

/// A site with its address, for host applications; the library neither fills nor reads it.
class KSLocationDetail : public ks::Object {
 public:
  static constexpr const char* kClassName = "KSLocationDetail";
  static const ks::Class kClass;

  /// Degrees.
  float latitude = 0;
  float longitude = 0;
  std::optional<std::string> identifier;
  std::optional<std::string> name;
  /// Street and number.
  std::optional<std::string> street;
  std::optional<std::string> city;
  std::optional<std::string> country;
  std::optional<std::string> postalCode;
  /// The organisation that owns the site.
  std::optional<std::string> organizationIdentifier;
  std::optional<std::string> organizationName;

  const ks::Class& objectClass() const override { return kClass; }
};
