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

  /// Sets `timestamp` to the current time.
  KSStatProximityZoneInteraction();
  /// Creates a record for a zone of this type: 3 beacon zone, 4 geofence.
  static std::shared_ptr<KSStatProximityZoneInteraction> interactionWithContentType(
      std::int32_t contentType);

  /// Returns the first path segment of the event's address: "beacons" or "geofences"; absent for
  /// other types.
  std::optional<std::string> portalIdentifier() const;
  /// Returns the JSON member with the zone's identifier: "beaconId" or "geofenceId"; absent for
  /// other types.
  std::optional<std::string> identifierKey() const;

  const ks::Class& objectClass() const override { return kClass; }

  std::int32_t contentType = 0;
  /// The zone; for a geofence its monitored region.
  std::optional<std::string> beaconIdentifier;
  std::optional<std::string> contentIdentifier;
  std::optional<std::string> scheduleIdentifier;
  /// In the server date format, device time zone: "2018-05-04T14:03:27+0200".
  std::optional<std::string> timestamp;
  /// The beacon's battery level, 0 to 255; absent if not read.
  std::optional<std::int64_t> batteryLevel;
  /// Seconds spent in the zone.
  double duration = 0;
  /// The application's tags at the time of the event.
  std::optional<ks::Dictionary> tags;
};
