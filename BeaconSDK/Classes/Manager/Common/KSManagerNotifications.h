#pragma once

/// The location list was replaced.
inline constexpr const char* KSProximityManagerLocationsUpdatedNotification =
    "KSProximityManagerLocationsUpdatedNotification";
/// The zones of the location under "location" were replaced.
inline constexpr const char* KSProximityManagerProximityZonesForLocationUpdatedNotification =
    "KSProximityManagerProximityZonesForLocationUpdatedNotification";
/// The content of the zone under "beaconIdentifier" fired.
inline constexpr const char* KSProximityManagerTriggerContentNotification =
    "KSProximityManagerTriggerContentNotification";

namespace ks::manager_keys {

/// User-information keys of the manager's notifications.
inline constexpr const char* kZone = "beaconIdentifier";
inline constexpr const char* kLocation = "location";
inline constexpr const char* kError = "error";
inline constexpr const char* kDwelling = "dwelling";

}  // namespace ks::manager_keys
