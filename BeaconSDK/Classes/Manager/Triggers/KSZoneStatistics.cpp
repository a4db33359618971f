#include "BeaconSDK/Classes/Manager/Triggers/KSZoneStatistics.h"

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"

namespace {

constexpr ks::LogSource kStatsLog{"BeaconSDK/Classes/Stats/KSStatsManager"};

}  // namespace

void KSZoneStatistics::beaconEntered(const KSPrivateBeacon& beacon) const {
  statsManager_.incrementMovedInProximityZone(beacon, settingsManager_.tags());
}

void KSZoneStatistics::beaconLeft(const KSPrivateBeacon& beacon) const {
  statsManager_.incrementMovedOutOfProximityZone(beacon, levelOf(beacon), settingsManager_.tags());
}

void KSZoneStatistics::geofenceEntered(const KSGeofence& geofence) const {
  statsManager_.incrementMovedInGeofence(geofence);
}

void KSZoneStatistics::geofenceLeft(const KSGeofence& geofence) const {
  statsManager_.incrementMovedOutOfGeofence(geofence);
}

void KSZoneStatistics::notified(const KSProximityZone& zone) const {
  if (const auto* const beacon = zone.asBeacon()) {
    statsManager_.incrementProximityZoneNotification(*beacon, levelOf(*beacon),
                                                     settingsManager_.tags());
  } else if (const auto* const geofence = zone.asGeofence()) {
    statsManager_.incrementGeofenceNotification(*geofence, settingsManager_.tags());
  }
}

/// A geofence is traced like a beacon here, though its other notifications are not traced at all.
void KSZoneStatistics::notifiedAfterDwelling(const KSProximityZone& zone) const {
  if (const auto* const beacon = zone.asBeacon()) {
    statsManager_.incrementProximityZoneNotification(*beacon, std::nullopt,
                                                     settingsManager_.tags());
  } else if (const auto* const geofence = zone.asGeofence()) {
    kStatsLog("-[KSStatsManager incrementProximityZoneNotification:batteryLevel:andTags:]",
              "Send notification-event for %@", geofence->name());
    statsManager_.incrementGeofenceNotification(*geofence, settingsManager_.tags());
  }
}

std::optional<std::int64_t> KSZoneStatistics::levelOf(const KSPrivateBeacon& beacon) const {
  return battery_ ? battery_->beaconBatteryForBeacon(beacon) : std::nullopt;
}
