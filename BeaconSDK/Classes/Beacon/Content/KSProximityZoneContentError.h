#pragma once

#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"

/// Reports a zone whose content is configured wrongly: domain "ProximityConfig", code -1, user
/// information "description" and, if the zone is known, "UUID". Handled by pointer, because a copy
/// into a plain `ks::Error` would lose the description.
class KSProximityZoneContentError : public ks::Error {
 public:
  static constexpr const char* kClassName = "KSProximityZoneContentError";
  static const ks::Class kClass;
  static constexpr const char* kDomain = "ProximityConfig";

  KSProximityZoneContentError() = default;
  using ks::Error::Error;

  static std::shared_ptr<KSProximityZoneContentError> errorWithDescription(
      const std::string& description, const std::optional<std::string>& uuid);

  /// "Proximity UUID\n,description", with "Unknown" for an absent UUID.
  std::string localizedDescription() const override;
  const ks::Class& objectClass() const override { return kClass; }
};
