#pragma once

#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Object.h"

/// A site on the portal that owns zones, such as a shop or a venue. Locations are equal by
/// identifier; one without an identifier is equal to none.
class KSLocation : public ks::Object {
 public:
  static constexpr const char* kClassName = "KSLocation";
  static const ks::Class kClass;

  /// Degrees, in the portal's single precision.
  float latitude = 0;
  float longitude = 0;
  std::optional<std::string> identifier;
  std::optional<std::string> name;
  /// Seconds for which the location's zones stay fresh.
  double refreshInterval = 0;
  /// When the zones were last loaded; kept on this device only.
  std::optional<ks::Date> zonesSyncedOn;

  /// For maps: the position widened to doubles, and the name as title.
  ks::CLLocationCoordinate2D coordinate() const { return {latitude, longitude}; }
  const std::optional<std::string>& title() const { return name; }

  const ks::Class& objectClass() const override { return kClass; }
  bool isEqual(const ks::Object* other) const override;
  std::size_t hash() const override;
  /// "identifier name latitude longitude".
  std::string description() const override;
};
