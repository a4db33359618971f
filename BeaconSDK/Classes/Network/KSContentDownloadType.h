#pragma once

#include <cstdint>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"

/// The kind of documents that a request to the portal is for.
enum class KSContentDownloadType : std::int32_t {
  unknown = -1,
  contentCategories = 0,
  locations = 1,
  /// The beacon zones of a location.
  zonesForLocation = 2,
  /// The content of given beacons. Also the kind number of a beacon zone.
  contentForBeacons = static_cast<std::int32_t>(KSProximityZone::Kind::beacon),
  /// Also the kind number of a geofence zone.
  geofences = static_cast<std::int32_t>(KSProximityZone::Kind::geofence),
};
