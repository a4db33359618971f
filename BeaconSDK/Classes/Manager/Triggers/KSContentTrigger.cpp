#include "BeaconSDK/Classes/Manager/Triggers/KSContentTrigger.h"

#include <cstdint>
#include <optional>
#include <utility>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

namespace {

constexpr const char* kCheck = "-[KSProximityManager checkForContentTrigger:isEnter:]";

/// A geofence is first looked at without proximity; refused, it is looked at again as seen at an
/// unknown one, which no content with a proximity of its own accepts.
ks::TriggerVerdict verdictAbout(const KSProximityZone& zone, const KSProximityZoneContent& content,
                                ks::Date now) {
  if (zone.asGeofence() != nullptr) return content.evaluateTriggerTwice(now);
  const auto* const beacon = zone.asBeacon();
  return content.evaluateTrigger(beacon == nullptr ? 0 : beacon->proximity(), now);
}

}  // namespace

bool KSContentTrigger::categoryEnabled(const std::shared_ptr<KSProximityZone>& zone,
                                       bool isEnter) const {
  if (!zone->content()) return false;
  if (settingsManager_.wantsCategory(zone->content()->categoryIdentifier)) return true;
  ks::TriggerDecision decision;
  decision.zone = zone;
  decision.isEnter = isEnter;
  tell(std::move(decision), Outcome::categoryDisabled);
  return false;
}

void KSContentTrigger::checkForContentTrigger(const std::shared_ptr<KSProximityZone>& zone,
                                              bool isEnter) {
  kManagerLog(kCheck, "Check if we need to trigger content");
  const auto content = zone->content();
  if (!content) {
    kManagerLog(kCheck, "Content cannot be triggered");
    return;
  }
  ks::TriggerDecision decision;
  decision.zone = zone;
  decision.isEnter = isEnter;
  decision.dwellingTime = content->dwellingTime;
  const ks::Date now = clock_.now();
  const ks::TriggerVerdict verdict = verdictAbout(*zone, *content, now);
  verdict.trace();
  decision.verdict = verdict;
  if (!verdict.canTrigger()) {
    kManagerLog(kCheck, "Content cannot be triggered");
    tell(std::move(decision), Outcome::refused);
    return;
  }
  kManagerLog(kCheck, "Proximity can be triggered, with dwelling time: %f s",
              content->dwellingTime);
  if (content->dwellingTime == 0) {
    delivery_.triggerProximityZone(zone);
    tell(std::move(decision), Outcome::fired);
    return;
  }
  checkDwelling(std::move(decision), zone, now);
}

void KSContentTrigger::tellOtherProximity(const std::shared_ptr<KSProximityZone>& zone) const {
  if (!observer_.get()) return;
  ks::TriggerDecision decision;
  decision.zone = zone;
  decision.isEnter = true;
  decision.verdict = verdictAbout(*zone, *zone->content(), clock_.now());
  tell(std::move(decision), Outcome::refused);
}

void KSContentTrigger::checkDwelling(ks::TriggerDecision decision,
                                     const std::shared_ptr<KSProximityZone>& zone, ks::Date now) {
  const KSProximityZoneContent& content = *zone->content();
  if (content.eventIsEnter && decision.isEnter) {
    kManagerLog(kCheck, "Event is Enter");
    const bool pending = dwelling_.hasDwellingProximityZone(*zone);
    if (!pending) dwelling_.addDwellingProximityZone(zone);
    tell(std::move(decision), pending ? Outcome::dwellingPending : Outcome::dwellingStarted);
  } else if (!content.eventIsEnter && !decision.isEnter) {
    kManagerLog(kCheck, "Event is Exit");
    decision.elapsed = ks::secondsBetween(content.firstSeenOn.value_or(now), now);
    decision.dwelt = decision.elapsed > content.dwellingTime;
    if (decision.dwelt) {
      kManagerLog(kCheck, "Dwelling long enough: %d seconds",
                  static_cast<std::int64_t>(decision.elapsed));
      delivery_.triggerProximityZone(zone);
    }
    const auto outcome = decision.dwelt ? Outcome::fired : Outcome::dwellingTooShort;
    tell(std::move(decision), outcome);
  } else {
    tell(std::move(decision), Outcome::otherEvent);
  }
}

void KSContentTrigger::tell(ks::TriggerDecision decision, Outcome outcome) const {
  const auto observer = observer_.get();
  if (!observer) return;
  decision.outcome = outcome;
  observer->triggerDecided(decision);
}
