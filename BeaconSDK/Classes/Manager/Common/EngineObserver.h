#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Beacon/Content/TriggerVerdict.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Date.h"

class KSProximityZone;

namespace ks {

/// What became of one event that could have fired a zone's content.
struct TriggerDecision {
  enum class Outcome : std::int32_t {
    /// The content fired; `dwelt` is true when a dwelling time was waited for first.
    fired,
    /// The content's rules refused; `verdict` says which and with what numbers.
    refused,
    /// The user switched the content's category off; the rules were not evaluated.
    categoryDisabled,
    /// The rules agreed; the content fires when the device stays `dwellingTime`.
    dwellingStarted,
    /// The rules agreed; an earlier wait for the same zone goes on.
    dwellingPending,
    /// The device left before the wait was over.
    dwellingCancelled,
    /// On leaving: the stay of `elapsed` was not longer than `dwellingTime`.
    dwellingTooShort,
    /// The rules agreed, but a content with a dwelling time waits for the other kind of event.
    otherEvent,
  };

  Outcome outcome = Outcome::refused;
  std::shared_ptr<const KSProximityZone> zone;
  /// True for an entry or approach, false for an exit or departure.
  bool isEnter = false;
  /// Absent when the rules were not evaluated.
  std::optional<TriggerVerdict> verdict;
  /// Seconds; 0 for a content that fires at once.
  double dwellingTime = 0;
  /// Seconds since the first sighting of the stay, of a cancelled wait since it began; 0 where
  /// nothing is timed.
  double elapsed = 0;
  bool dwelt = false;
};

/// A request for the content of beacons: "UUID:major:minor" each, at most five.
struct ContentRequest {
  std::vector<std::string> beaconIdentifiers;
};

/// A cache file was written, or could not be.
struct CacheWrite {
  std::string fileName;
  bool success = false;
};

/// Monitoring or ranging of a region was started or stopped.
struct RegionActivity {
  enum class Kind : std::int32_t {
    monitoringStarted,
    monitoringStopped,
    rangingStarted,
    rangingStopped
  };

  Kind kind = Kind::monitoringStarted;
  /// Only during the call.
  const CLRegion& region;
};

/// A statistic was made, whether or not the portal is going to take it.
struct StatisticMade {
  /// "beacons/enter", ...: zone kind and event.
  std::string event;
  /// The portal's identifier of the zone.
  std::string zone;
};

/// The stay at a zone has ended; told when exact stays are refined.
struct StayEnd {
  std::shared_ptr<const KSProximityZone> zone;
  /// The end lies between these two: the zone was last seen at `earliest`, and is known to be left
  /// at `latest`. They are far apart after a restart, or when the radio was off.
  Date earliest;
  Date latest;
};

/// The portal has no content for a beacon, or keeps it back because of what was sent along.
struct ContentWithheld {
  /// "UUID:major:minor".
  std::string beacon;
  /// Identifiers of the categories that were switched off.
  std::vector<std::string> disabledCategories;
  /// Names of the tags.
  std::vector<std::string> tags;
  /// From when on the next sighting asks again.
  Date asksAgain;
};

/// Watches the engine decide: what a timeline or a diagnostic screen is drawn from.
///
/// Called on the main queue, in the order of the decisions, while the engine may hold its locks:
/// an observer records and returns, and must not call the manager.
class EngineObserver {
 public:
  virtual ~EngineObserver() = default;
  virtual void triggerDecided(const TriggerDecision&) {}
  virtual void contentRequested(const ContentRequest&) {}
  virtual void cacheWritten(const CacheWrite&) {}
  virtual void regionActivityChanged(const RegionActivity&) {}
  virtual void statisticMade(const StatisticMade&) {}
  virtual void stayEnded(const StayEnd&) {}
  virtual void contentWithheld(const ContentWithheld&) {}
  /// The portal refused the user's name or password.
  virtual void loginRefused() {}
  /// The beacon zones around the device were dropped; stays at them end without a statistic.
  virtual void neighbourhoodForgotten() {}
};

}  // namespace ks
