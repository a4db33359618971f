#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "BeaconSDK/Classes/Manager/Battery/KSBatteryStatus.h"
#include "BeaconSDK/Classes/Manager/Regions/KSContentRequests.h"
#include "BeaconSDK/Classes/Manager/Regions/KSLocationAccess.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionBook.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSContentTrigger.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSStays.h"

/// Updates the cached beacons from ranging results: in range, proximity, content being fetched.
/// Counts first sightings and passes approaches and departures to the trigger.
///
/// A beacon seen again at its place costs one look-up, whatever the number of cached beacons.
class KSProximityTracker {
 public:
  /// Results of one region that follow sooner than this are ignored.
  static constexpr double kThrottleSeconds = 2.5;
  /// A region that stays empty for longer is monitored again.
  static constexpr double kRestartAfterSeconds = 60;
  /// Maximum number of beacons whose content one callback requests.
  static constexpr std::size_t kMostBeaconsPerRequest = 5;

  /// `battery` holds null until the engine first runs.
  KSProximityTracker(KSLocationAccess& locationAccess, KSRegionBook& book,
                     KSContentTrigger& trigger, KSStays& stays, KSContentRequests& contentRequests,
                     const std::unique_ptr<KSBatteryStatus>& battery, const ks::Clock& clock)
      : locationAccess_(locationAccess),
        book_(book),
        trigger_(trigger),
        stays_(stays),
        contentRequests_(contentRequests),
        battery_(battery),
        clock_(clock) {}

  void didRangeBeacons(const std::vector<ks::CLBeacon>& beacons,
                       const std::shared_ptr<const ks::CLRegion>& region);
  /// Applies one observation to a beacon whose content is known; does nothing in any other state.
  void rangeBeaconWithContent(const std::shared_ptr<KSPrivateBeacon>& beacon,
                              std::int64_t proximity);
  /// The device entered the region: starts ranging. The next result is taken at once and counts as
  /// the region's first.
  void startRanging(const std::shared_ptr<const ks::CLBeaconRegion>& region);
  void stopRanging(const ks::CLBeaconRegion& region);
  /// True while the device is at the beacon's region, or may be.
  bool isRanging(const KSPrivateBeacon& beacon) const {
    return locationAccess_.isRanging(beacon.regionKey());
  }

 private:
  enum class Sighting : std::int32_t { ignored, empty, taken };

  /// Records the time of a result that is taken.
  Sighting judge(const std::string& key, bool hasBeacons);
  void restart(const std::shared_ptr<const ks::CLBeaconRegion>& region);
  /// True when the beacon's content must be requested.
  bool rangeBeacon(const std::shared_ptr<KSPrivateBeacon>& beacon, ks::CLProximity proximity);
  void noteFirstSighting(const std::shared_ptr<KSPrivateBeacon>& beacon);
  /// The beacon is where its content fires on approach.
  void approach(const std::shared_ptr<KSPrivateBeacon>& beacon);
  /// The beacon has left its content's proximity.
  void depart(const std::shared_ptr<KSPrivateBeacon>& beacon);

  KSLocationAccess& locationAccess_;
  KSRegionBook& book_;
  KSContentTrigger& trigger_;
  KSStays& stays_;
  KSContentRequests& contentRequests_;
  const std::unique_ptr<KSBatteryStatus>& battery_;
  const ks::Clock& clock_;
  /// When a result was last taken, by region key.
  std::unordered_map<std::string, ks::Date> lastRangeDateTimes_;
};
