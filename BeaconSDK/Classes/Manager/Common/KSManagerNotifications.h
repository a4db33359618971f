#pragma once

/// Posted when the location list was replaced.
inline constexpr const char* KSProximityManagerLocationsUpdatedNotification =
    "KSProximityManagerLocationsUpdatedNotification";
/// Posted when the zones of the location under "location" were replaced.
inline constexpr const char* KSProximityManagerProximityZonesForLocationUpdatedNotification =
    "KSProximityManagerProximityZonesForLocationUpdatedNotification";
/// Posted when the content of the zone under "beaconIdentifier" has fired.
inline constexpr const char* KSProximityManagerTriggerContentNotification =
    "KSProximityManagerTriggerContentNotification";

namespace ks::manager_keys {

/// User-information keys of the manager's notifications.
inline constexpr const char* kZone = "beaconIdentifier";
inline constexpr const char* kLocation = "location";
inline constexpr const char* kError = "error";
inline constexpr const char* kDwelling = "dwelling";

}  // namespace ks::manager_keys
