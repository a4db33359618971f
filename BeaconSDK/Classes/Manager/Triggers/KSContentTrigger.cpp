#include "BeaconSDK/Classes/Manager/Triggers/KSContentTrigger.h"

#include <cstdint>
#include <optional>
#include <utility>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace {

constexpr const char* kCheck = "-[KSProximityManager checkForContentTrigger:isEnter:]";

/// A geofence is first asked about without proximity; refused, it is asked again as seen at an
/// unknown one, which no content with a proximity of its own accepts.
bool canTrigger(const KSProximityZone& zone, const KSProximityZoneContent& content) {
  if (dynamic_cast<const KSGeofence*>(&zone) != nullptr && content.canTriggerAction()) return true;
  const auto* const beacon = dynamic_cast<const KSPrivateBeacon*>(&zone);
  return content.canTriggerAction(beacon == nullptr ? 0 : beacon->proximity());
}

KSTriggerVerdict verdictAbout(const KSProximityZone& zone, const KSProximityZoneContent& content) {
  const auto* const beacon = dynamic_cast<const KSPrivateBeacon*>(&zone);
  return content.evaluateTrigger(
      beacon == nullptr ? std::nullopt : std::optional<std::int64_t>(beacon->proximity()),
      ks::Platform::current().clock().now());
}

}  // namespace

bool KSContentTrigger::categoryEnabled(const std::shared_ptr<KSProximityZone>& zone,
                                       bool isEnter) const {
  if (!zone->content()) return false;
  if (settingsManager_.wantsCategory(zone->content()->categoryIdentifier)) return true;
  KSTriggerDecision decision;
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
  KSTriggerDecision decision;
  decision.zone = zone;
  decision.isEnter = isEnter;
  decision.dwellingTime = content->dwellingTime;
  if (observer_.get()) decision.verdict = verdictAbout(*zone, *content);
  if (!canTrigger(*zone, *content)) {
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
  checkDwelling(std::move(decision), zone);
}

void KSContentTrigger::tellOtherProximity(const std::shared_ptr<KSProximityZone>& zone) const {
  if (!observer_.get()) return;
  KSTriggerDecision decision;
  decision.zone = zone;
  decision.isEnter = true;
  decision.verdict = verdictAbout(*zone, *zone->content());
  tell(std::move(decision), Outcome::refused);
}

void KSContentTrigger::checkDwelling(KSTriggerDecision decision,
                                     const std::shared_ptr<KSProximityZone>& zone) {
  const KSProximityZoneContent& content = *zone->content();
  if (content.eventIsEnter && decision.isEnter) {
    kManagerLog(kCheck, "Event is Enter");
    const bool pending = dwelling_.hasDwellingProximityZone(*zone);
    if (!pending) dwelling_.addDwellingProximityZone(zone);
    tell(std::move(decision), pending ? Outcome::dwellingPending : Outcome::dwellingStarted);
  } else if (!content.eventIsEnter && !decision.isEnter) {
    kManagerLog(kCheck, "Event is Exit");
    const ks::Date now = ks::Platform::current().clock().now();
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

void KSContentTrigger::tell(KSTriggerDecision decision, Outcome outcome) const {
  const auto observer = observer_.get();
  if (!observer) return;
  decision.outcome = outcome;
  observer->triggerDecided(decision);
}
