#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "BeaconSDK/Classes/Manager/Battery/KSBatteryMonitor.h"
#include "BeaconSDK/Classes/Manager/Regions/KSLocationAccess.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionBook.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSContentTrigger.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"

/// What the tracker works with.
struct KSProximityTrackerContext {
  KSLocationAccess& locationAccess;
  KSRegionBook& book;
  KSContentTrigger& trigger;
  KSNetwork& network;
  const KSStatsManager& statsManager;
  const KSSettingsManager& settingsManager;
  KSBatteryMonitor& batteryMonitor;
  const KSObserverSlot& observer;
};

/// Turns ranging results into the state of the cached beacons: in range, proximity, content being
/// fetched. Counts first sightings and hands approaches and departures to the trigger.
///
/// A beacon seen again where it was costs one look-up, whatever the number of cached beacons.
class KSProximityTracker {
 public:
  /// Results of one region that follow sooner than this are ignored.
  static constexpr double kThrottleSeconds = 2.5;
  /// A region that stayed empty for longer is monitored anew.
  static constexpr double kRestartAfterSeconds = 60;
  /// The most beacons whose content one callback asks for.
  static constexpr std::size_t kMostBeaconsPerRequest = 5;

  explicit KSProximityTracker(KSProximityTrackerContext context) : context_(context) {}

  void didRangeBeacons(const std::vector<ks::CLBeacon>& beacons,
                       const std::shared_ptr<const ks::CLRegion>& region);
  /// Applies one observation to a beacon whose content is known; nothing in any other state.
  void rangeBeaconWithContent(const std::shared_ptr<KSPrivateBeacon>& beacon,
                              std::int64_t proximity);
  /// The region's next result is taken at once and counts as its first.
  void forgetLastRange(const ks::CLBeaconRegion& region);

 private:
  enum class Sighting : std::int32_t { ignored, empty, taken };

  /// Notes the time of a result that is taken.
  Sighting judge(const std::string& key, bool hasBeacons);
  void restart(const std::shared_ptr<const ks::CLBeaconRegion>& region);
  /// True when the beacon's content must be asked for.
  bool rangeBeacon(const std::shared_ptr<KSPrivateBeacon>& beacon, ks::CLProximity proximity);
  void noteFirstSighting(KSPrivateBeacon& beacon);
  /// The beacon is where its content fires on approach.
  void approach(const std::shared_ptr<KSPrivateBeacon>& beacon);
  /// The beacon has left its content's proximity.
  void depart(const std::shared_ptr<KSPrivateBeacon>& beacon);

  KSProximityTrackerContext context_;
  /// When a result was last taken, by region key.
  std::unordered_map<std::string, ks::Date> lastRangeDateTimes_;
};
