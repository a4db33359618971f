#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Classes/Manager/Common/KSSteadyClock.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSZoneStatistics.h"
#include "BeaconSDK/Classes/Manager/Zones/KSCacheFile.h"
#include "BeaconSDK/Classes/Settings/Refinements.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

/// The zones that the device was reported to have entered and not yet to have left. Begins and ends
/// their stays: the flag of the zone, the statistic, and the file "stays.dat", so that a process
/// that dies in a visit neither enters twice nor forgets to leave. Changes of one turn of the main
/// queue are one write. Main queue only.
class KSStays {
 public:
  KSStays(ks::Platform& platform, const KSZoneStatistics& statistics,
          const KSObserverSlot& observer, const ks::Refinements& refinements,
          const KSSteadyClock& clock)
      : clock_(clock),
        statistics_(statistics),
        observer_(observer),
        refinements_(refinements),
        file_(
            "stays.dat", KSCacheFile::Haste::nextTurn, platform, observer,
            [this] { return zonesToStore(); },
            [this](const ks::Value& stored) { restore(stored); }) {}

  void begin(const std::shared_ptr<KSPrivateBeacon>& beacon);
  void begin(const std::shared_ptr<KSGeofence>& geofence);
  void end(const std::shared_ptr<KSPrivateBeacon>& beacon);
  void end(const std::shared_ptr<KSGeofence>& geofence);
  /// Drops the beacons around the device. With `exactStays` their stays end with an exit, otherwise
  /// silently.
  void forgetBeacons();
  void forgetAll();
  /// False: stays that begin from now on are neither counted nor stored, to their end, and running
  /// ones count no end. Default: true.
  void setCounts(bool counts);
  /// Writes nothing any more.
  void forgetHeld() { file_.discard(); }

  /// The zones of the file, with their run-time state as it was last written; they count as entered
  /// again.
  struct Stored {
    bool isPresent = false;
    std::vector<std::shared_ptr<KSPrivateBeacon>> beacons;
    std::vector<std::shared_ptr<KSGeofence>> geofences;
  };
  Stored load();

 private:
  using Zone = std::shared_ptr<KSProximityZone>;

  static std::string keyOf(const KSPrivateBeacon& beacon);
  static std::string keyOf(const KSGeofence& geofence);
  /// Keeps the stay; false when it is not counted.
  bool set(const std::string& key, Zone zone);
  bool erase(const std::string& key);
  void tellEnd(const Zone& zone, const std::optional<ks::Date>& lastSeen) const;
  ks::Value zonesToStore() const;
  void restore(const ks::Value& stored);

  const KSSteadyClock& clock_;
  const KSZoneStatistics& statistics_;
  const KSObserverSlot& observer_;
  const ks::Refinements& refinements_;
  std::map<std::string, Zone> stays_;
  bool counts_ = true;
  /// Keys of the stays that are not counted.
  std::set<std::string, std::less<>> uncounted_;
  Stored restored_;
  KSCacheFile file_;
};
