#include "BeaconSDK/Classes/Manager/Health/InvariantWatch.h"

#include <utility>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"

void ks::InvariantWatch::statisticMade(const ks::StatisticMade& statistic) {
  ++made_;
  const auto slash = statistic.event.find('/');
  const std::string zone = statistic.event.substr(0, slash) + " " + statistic.zone;
  const std::string event = statistic.event.substr(slash + 1);
  if (event == "enter") {
    if (entered_.insert(zone).second || !exactStays_) return;
    report("enteredTwice", "zone " + statistic.zone + " was entered again without an exit");
  } else if (event == "exit" && entered_.erase(zone) == 0) {
    report("exitWithoutEnter", "zone " + statistic.zone + " was left without an enter");
  } else if (event == "notification") {
    ++unexplained_[statistic.zone];
  }
}

void ks::InvariantWatch::triggerDecided(const ks::TriggerDecision& decision) {
  if (decision.outcome != ks::TriggerDecision::Outcome::fired || !decision.zone) return;
  const auto found = unexplained_.find(decision.zone->identifier().value_or(""));
  // A follow-track content fires without a notification.
  if (found != unexplained_.end() && --found->second == 0) unexplained_.erase(found);
}

void ks::InvariantWatch::neighbourhoodForgotten() {
  std::erase_if(entered_, [](const std::string& zone) { return zone.starts_with("beacons "); });
}

void ks::InvariantWatch::check(const ks::StatsLedger& ledger) {
  if (!ledger.agrees()) report("ledger", "the counts of kept statistics do not add up");
  const std::int64_t before = ledger.made - made_;
  if (ledgerBase_ && *ledgerBase_ != before) {
    report("ledger", "the ledger counts other statistics than were made");
  }
  ledgerBase_ = before;
}

void ks::InvariantWatch::settle() {
  for (const auto& [zone, count] : std::exchange(unexplained_, {})) {
    report("notificationWithoutFiring", "zone " + zone + " was notified without a firing");
  }
}

void ks::InvariantWatch::report(std::string invariant, std::string text) {
  ++breaches_;
  if (listener_) listener_({std::move(invariant), std::move(text)});
}
