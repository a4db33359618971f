#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Manager/Common/EngineObserver.h"
#include "BeaconSDK/Classes/Manager/Health/InvariantWatch.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"
#include "tools/ksbeacon/timeline/LocationListener.h"
#include "tools/ksbeacon/timeline/RangingChanges.h"
#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks::tool {

/// Turns what the device, the engine and the transfers report into lines of the timeline, and
/// watches what must always hold.
///
/// Lines hold nothing of the machine that the program runs on: no port, no path, and in a
/// simulation no real time. Everything runs on the device's own thread.
class TimelineRecorder : public ks::EngineObserver, public LocationListener {
 public:
  using BeaconIdentity = RangingChanges::Identity;

  struct Options {
    /// The moment from which events count theirs.
    Date start;
    /// The portal's root; texts show "PORTAL" in its place.
    std::string portalURL;
    /// Each ranging result is an event with all its beacons; otherwise only those beacons make one
    /// that are new, gone or at another proximity.
    bool everyRanging = true;
    /// What the timeline calls the beacons; one without a name is called "UUID:MAJOR:MINOR".
    std::map<BeaconIdentity, std::string> beaconNames = {};
    /// What the application asks of stays, as `ks::Refinements` has it.
    bool exactStays = false;
  };

  /// The timeline must outlive the recorder.
  TimelineRecorder(Timeline& timeline, Options options);

  const Options& options() const { return options_; }
  /// The clock of the device that reports from now on.
  void follow(const Clock& clock) { clock_ = &clock; }

  /// A line in the application's own words.
  void say(TimelineKind kind, std::string text, Dictionary details = {});
  /// What a person should know about the device's input.
  void notice(const std::string& text) { say(TimelineKind::application, "notice: " + text); }

  void triggerDecided(const ks::TriggerDecision& decision) override;
  void contentRequested(const ks::ContentRequest& request) override;
  void cacheWritten(const ks::CacheWrite& write) override;
  void regionActivityChanged(const ks::RegionActivity& activity) override;
  void statisticMade(const ks::StatisticMade& statistic) override {
    watch_.statisticMade(statistic);
  }
  void contentWithheld(const ks::ContentWithheld& withheld) override;
  void loginRefused() override;
  void neighbourhoodForgotten() override { watch_.neighbourhoodForgotten(); }

  void located(const CLLocation& location) override;
  void regionChanged(const CLRegion& region, CLRegionState state) override;
  void ranged(const CLBeaconRegion& region, const std::vector<CLBeacon>& beacons) override;
  void monitoringFailed(const CLRegion* region, const Error& error) override;

  void transferEnded(const HttpExchange& exchange);
  /// The ledger of kept statistics, between two events.
  void checkLedger(const ks::StatsLedger& ledger) { watch_.check(ledger); }
  /// How many lines of the kind "breach" there are, once nothing more happens.
  std::int64_t breaches();

 private:
  void add(TimelineEvent event);
  std::string nameOf(const BeaconIdentity& beacon) const;
  /// What stands behind the portal's root: "/locations?range=7".
  std::string targetOf(const NSURL& url) const;
  Array rangingDetails(const std::vector<CLBeacon>& beacons) const;
  /// What changed since the last result of the region, in words; empty when nothing but distances
  /// did. Remembers the result.
  std::string changesIn(const CLBeaconRegion& region, const std::vector<CLBeacon>& beacons);
  void addStatistic(const std::string& target, const Data& body);

  Timeline& timeline_;
  const Options options_;
  const Clock* clock_ = nullptr;
  RangingChanges rangingChanges_;
  InvariantWatch watch_;
};

}  // namespace ks::tool
