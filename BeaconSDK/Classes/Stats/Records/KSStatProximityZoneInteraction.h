#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// One event for the portal's statistics: built, posted and dropped.
class KSStatProximityZoneInteraction : public ks::Object {
 public:
  static constexpr const char* kClassName = "KSStatProximityZoneInteraction";
  static const ks::Class kClass;

  /// Stamps `timestamp` with the current time.
  KSStatProximityZoneInteraction();
  /// A record for a zone of this type: 3 beacon zone, 4 geofence.
  static std::shared_ptr<KSStatProximityZoneInteraction> interactionWithContentType(
      std::int32_t contentType);

  /// The first path segment of the event's address: "beacons" or "geofences"; none for a type that
  /// is neither.
  std::optional<std::string> portalIdentifier() const;
  /// The member that names the zone: "beaconId" or "geofenceId"; none for a type that is neither.
  std::optional<std::string> identifierKey() const;

  const ks::Class& objectClass() const override { return kClass; }

  std::int32_t contentType = 0;
  /// The zone; for a geofence its monitored region.
  std::optional<std::string> beaconIdentifier;
  std::optional<std::string> contentIdentifier;
  std::optional<std::string> scheduleIdentifier;
  /// In the server date format, device time zone: "2018-05-04T14:03:27+0200".
  std::optional<std::string> timestamp;
  /// As the battery monitor read it, when it did.
  std::optional<std::int64_t> batteryLevel;
  /// Seconds spent in the zone.
  double duration = 0;
  /// The application's tags at the time of the event.
  std::optional<ks::Dictionary> tags;
};
