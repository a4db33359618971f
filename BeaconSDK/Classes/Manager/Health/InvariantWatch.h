#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "BeaconSDK/Classes/Manager/Common/EngineObserver.h"
#include "BeaconSDK/Classes/Stats/StatsLedger.h"

namespace ks {

/// Checks the engine's reports against invariants that hold across restarts:
///
/// - "enteredTwice": a zone has no second enter before its exit; guaranteed only with `exactStays`;
/// - "exitWithoutEnter": each exit belongs to an enter;
/// - "notificationWithoutFiring": each notification statistic belongs to one firing;
/// - "ledger": the counts of kept statistics add up, and count each statistic that was created.
///
/// Called by an engine observer, on the main queue. Reports each breach once, when it happens.
class InvariantWatch {
 public:
  struct Breach {
    /// The name in the list above.
    std::string invariant;
    /// One sentence.
    std::string text;
  };
  using Listener = std::function<void(const Breach&)>;

  InvariantWatch(Listener listener, bool exactStays)
      : listener_(std::move(listener)), exactStays_(exactStays) {}

  void statisticMade(const StatisticMade& statistic);
  void triggerDecided(const TriggerDecision& decision);
  /// Call when the beacon zones of a neighbourhood were dropped; stays at them have no exit.
  void neighbourhoodForgotten();
  /// Compares with an earlier ledger of the same outbox; call it between two events.
  void check(const StatsLedger& ledger);
  /// Call between two events of the device: reports notifications that still have no firing.
  void settle();

  std::int64_t breaches() const { return breaches_; }
  /// "beacons b1": the zones with an enter and no exit yet.
  const std::set<std::string, std::less<>>& entered() const { return entered_; }

 private:
  void report(std::string invariant, std::string text);

  const Listener listener_;
  const bool exactStays_;
  std::set<std::string, std::less<>> entered_;
  /// Notification statistics whose firing has not been reported yet, by zone.
  std::map<std::string, int> unexplained_;
  std::int64_t made_ = 0;
  /// Statistics in the ledger that were made before the watch began; absent before the first check.
  std::optional<std::int64_t> ledgerBase_;
  std::int64_t breaches_ = 0;
};

}  // namespace ks
