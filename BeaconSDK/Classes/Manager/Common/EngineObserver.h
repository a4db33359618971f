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

/// The outcome of one event that could fire a zone's content.
struct TriggerDecision {
  enum class Outcome : std::int32_t {
    /// The content fired; `dwelt` is true when a dwelling time has passed first.
    fired,
    /// The content's rules refused; `verdict` gives the rule and its numbers.
    refused,
    /// The user switched the content's category off; the rules were not evaluated.
    categoryDisabled,
    /// The rules allowed it; the content fires after a stay of `dwellingTime`.
    dwellingStarted,
    /// The rules allowed it; an earlier dwell timer of the zone is still running.
    dwellingPending,
    /// The device left before the dwell timer expired.
    dwellingCancelled,
    /// On leaving: the stay of `elapsed` was not longer than `dwellingTime`.
    dwellingTooShort,
    /// The rules allowed it, but a content with a dwelling time needs the other kind of event.
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
  /// Seconds since the first sighting of the stay; for a cancelled dwell timer, since its start; 0
  /// if nothing is timed.
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
  /// Valid only during the call.
  const CLRegion& region;
};

/// A statistic was created, whether or not the portal accepts it.
struct StatisticMade {
  /// "beacons/enter", ...: zone kind and event.
  std::string event;
  /// The portal's identifier of the zone.
  std::string zone;
};

/// The end of a stay at a zone; reported only with the refinement `exactStays`.
struct StayEnd {
  std::shared_ptr<const KSProximityZone> zone;
  /// The stay ended between these two dates: the zone was last seen at `earliest` and known to be
  /// left at `latest`. They are far apart after a restart, or when the radio was off.
  Date earliest;
  Date latest;
};

/// The portal returned no content for a beacon: it has none, or the request's categories and tags
/// exclude it.
struct ContentWithheld {
  /// "UUID:major:minor".
  std::string beacon;
  /// Identifiers of the categories that were switched off.
  std::vector<std::string> disabledCategories;
  /// Names of the tags.
  std::vector<std::string> tags;
  /// A sighting after this date requests the content again.
  Date asksAgain;
};

/// Receives the engine's decisions, for timelines and diagnostic screens.
///
/// Called on the main queue in decision order, possibly while the engine holds its locks: an
/// observer must return quickly and must not call the manager.
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
