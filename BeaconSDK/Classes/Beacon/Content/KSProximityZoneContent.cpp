#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"

#include <cstdint>
#include <functional>

#include "BeaconSDK/Classes/Beacon/Content/KSZoneClock.h"
#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Platform/Api/Property.h"

using ks::property;

namespace {

/// Delays from this on down block a content for good.
constexpr double kFireOnceDelay = -1.0;
/// The block of a content that fires once, in seconds: the largest signed machine word.
constexpr double kBlockedForGood = 9223372036854775807.0;

}  // namespace

using Content = KSProximityZoneContent;

const ks::Class KSProximityZoneContent::kClass{
    kClassName,
    nullptr,
    nullptr,
    {property("eventIsEnter", &Content::eventIsEnter),
     property("isUpdatedLocalProperties", &Content::isUpdatedLocalProperties),
     property("identifier", &Content::identifier),
     property("name", &Content::name),
     property("message", &Content::message),
     property("language", &Content::language),
     property("title", &Content::title),
     property("titleImageUrl", &Content::titleImageUrl),
     property("categoryIdentifier", &Content::categoryIdentifier),
     property("repeatDelay", &Content::repeatDelay),
     property("dwellingTime", &Content::dwellingTime),
     property("proximity", &Content::proximity),
     property("notifyAfterEventsCount", &Content::notifyAfterEventsCount),
     property("notifyAfterEventsInterval", &Content::notifyAfterEventsInterval),
     property("firstSeenOn", &Content::firstSeenOn),
     property("blockedUntilDate", &Content::blockedUntilDate),
     property("messageIconUrl", &Content::messageIconUrl),
     property("richMediaUrl", &Content::richMediaUrl),
     property("firstEventDetectedOn", &Content::firstEventDetectedOn),
     property("eventDetectionCounter", &Content::eventDetectionCounter)}};

ks::TriggerVerdict KSProximityZoneContent::evaluateTrigger(
    std::optional<std::int64_t> seenProximity, ks::Date now) const {
  using Rule = ks::TriggerVerdict::Rule;
  ks::TriggerVerdict verdict{
      .eventCount = eventDetectionCounter,
      .neededEventCount = notifyAfterEventsCount,
      .repeatDelay = repeatDelay,
      .secondsLeft = blockedUntilDate ? ks::secondsBetween(now, *blockedUntilDate) : 0,
  };
  if (seenProximity) {
    verdict.wantedProximity = proximity;
    verdict.seenProximity = *seenProximity;
  }
  verdict.rule = [&] {
    if (seenProximity && !acceptsProximity(*seenProximity)) return Rule::otherProximity;
    if (notifyAfterEventsCount > 1 && eventDetectionCounter < notifyAfterEventsCount) {
      return Rule::tooFewEvents;
    }
    if (!blockedUntilDate) return Rule::notBlocked;
    if (repeatDelay == 0) return Rule::noRepeatDelay;
    if (repeatDelay > 0) {
      return verdict.secondsLeft <= 0 ? Rule::repeatDelayOver : Rule::repeatDelayRunning;
    }
    return Rule::onceOnly;
  }();
  return verdict;
}

ks::TriggerVerdict KSProximityZoneContent::evaluateTriggerTwice(ks::Date now) const {
  auto verdict = evaluateTrigger(std::nullopt, now);
  if (!verdict.canTrigger()) {
    verdict.secondLook =
        acceptsProximity(0) ? verdict.rule : ks::TriggerVerdict::Rule::otherProximity;
  }
  return verdict;
}

bool KSProximityZoneContent::canTriggerAction(std::int64_t seenProximity) const {
  const auto verdict = evaluateTrigger(seenProximity, KSZoneClock::now());
  verdict.trace();
  return verdict.canTrigger();
}

bool KSProximityZoneContent::canTriggerAction() const {
  const auto verdict = evaluateTrigger(std::nullopt, KSZoneClock::now());
  verdict.trace();
  return verdict.canTrigger();
}

void KSProximityZoneContent::updateEventDetectionCounter() {
  if (notifyAfterEventsCount == 1) return;
  const ks::Date now = KSZoneClock::now();
  const double elapsed = ks::secondsBetween(firstEventDetectedOn.value_or(now), now);
  if (eventDetectionCounter == 0) {
    firstEventDetectedOn = now;
  } else if (elapsed > notifyAfterEventsInterval) {
    firstEventDetectedOn = now;
    eventDetectionCounter = 0;
  }
  if (eventDetectionCounter < INT64_MAX) ++eventDetectionCounter;
  isUpdatedLocalProperties = true;
}

void KSProximityZoneContent::trigger() {
  const ks::Date now = KSZoneClock::now();
  lastActionTriggerDate_ = now;
  blockedUntilDate =
      now + ks::Seconds{repeatDelay > kFireOnceDelay ? repeatDelay : kBlockedForGood};
  eventDetectionCounter = 0;
  firstEventDetectedOn.reset();
  isUpdatedLocalProperties = true;
}

void KSProximityZoneContent::updateFromContent(const KSProximityZoneContent& old) {
  firstSeenOn = old.firstSeenOn;
  blockedUntilDate = old.blockedUntilDate;
  if (old.lastActionTriggerDate_) lastActionTriggerDate_ = old.lastActionTriggerDate_;
  eventDetectionCounter = old.eventDetectionCounter;
  firstEventDetectedOn = old.firstEventDetectedOn;
}

bool KSProximityZoneContent::isEqual(const ks::Object* other) const {
  const auto* content = dynamic_cast<const KSProximityZoneContent*>(other);
  return content && content->type() == type() && identifier && content->identifier == identifier;
}

std::size_t KSProximityZoneContent::hash() const {
  const std::size_t base = identifier ? std::hash<std::string>{}(*identifier) : 0;
  return base + static_cast<std::uint32_t>(type());
}

std::string KSProximityZoneContent::description() const {
  return ks::stringWithFormat(
      "identifier: %@\nname: %@\nmessage: %@\nlanguage: %@\ntitle: %@\ntitleImageUrl: %@\n"
      "categoryIdentifier: %@\nrepeatDelay: %f\ndwellingTime: %f\nproximity: %d\n"
      "notifyAfterEventsCount: %d\nnotifyAfterEventsInterval: %d\neventIsEnter: %d\n",
      identifier, name, message, language, title, titleImageUrl, categoryIdentifier, repeatDelay,
      dwellingTime, proximity, notifyAfterEventsCount, notifyAfterEventsInterval, eventIsEnter);
}
