#pragma once

#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Object.h"

/// A group of contents that the user can switch off.
class KSProximityZoneContentCategory : public ks::Object {
 public:
  static constexpr const char* kClassName = "KSProximityZoneContentCategory";
  static const ks::Class kClass;
  /// Identifier of the local category, for content without a portal category. Exists only on the
  /// device and is never sent to the portal.
  static constexpr const char* kLocalIdentifier = "-100";

  std::optional<std::string> identifier;
  std::optional<std::string> name;

  const ks::Class& objectClass() const override { return kClass; }
  /// "identifier name".
  std::string description() const override;
};
