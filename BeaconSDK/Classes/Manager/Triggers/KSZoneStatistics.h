#pragma once

#include <memory>

#include "BeaconSDK/Classes/Manager/Battery/KSBatteryStatus.h"
#include "BeaconSDK/Classes/Settings/KSSettingsManager.h"
#include "BeaconSDK/Classes/Stats/KSStatsManager.h"

/// The engine's statistics: posts each event with the application's tags and, where the event
/// carries one, the beacon's battery level.
class KSZoneStatistics {
 public:
  /// `battery` holds null until the engine first runs; no level is known then.
  KSZoneStatistics(const KSStatsManager& statsManager, const KSSettingsManager& settingsManager,
                   const std::unique_ptr<KSBatteryStatus>& battery)
      : statsManager_(statsManager), settingsManager_(settingsManager), battery_(battery) {}

  void beaconEntered(const KSPrivateBeacon& beacon) const;
  void beaconLeft(const KSPrivateBeacon& beacon) const;
  void geofenceEntered(const KSGeofence& geofence) const;
  void geofenceLeft(const KSGeofence& geofence) const;
  /// Content fired. Zones of other kinds are not counted.
  void notified(const KSProximityZone& zone) const;
  /// Content fired at the end of its dwelling time; sent without a battery level, because the
  /// beacon was last heard a dwelling time ago.
  void notifiedAfterDwelling(const KSProximityZone& zone) const;

 private:
  std::optional<std::int64_t> levelOf(const KSPrivateBeacon& beacon) const;

  const KSStatsManager& statsManager_;
  const KSSettingsManager& settingsManager_;
  const std::unique_ptr<KSBatteryStatus>& battery_;
};
