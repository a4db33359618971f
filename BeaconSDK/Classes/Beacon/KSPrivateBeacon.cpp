#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"

#include <functional>

#include "BeaconSDK/Classes/Beacon/Content/KSZoneClock.h"
#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Api/Property.h"

using ks::property;
using Beacon = KSPrivateBeacon;

namespace {

constexpr const char* kRegionIdentifier = "region";
/// How an absent part stands in a key.
const std::string kAbsentText = "(null)";

/// Seconds from `date` to now; an absent date counts as now.
double secondsSince(const std::optional<ks::Date>& date) {
  return date ? ks::secondsBetween(*date, KSZoneClock::now()) : 0;
}

bool hasAnswer(KSPrivateBeaconState state) {
  return state == KSPrivateBeaconState::contentFetched || state == KSPrivateBeaconState::noContent;
}

const std::string& textOrAbsent(const std::optional<std::string>& text) {
  return text ? *text : kAbsentText;
}

}  // namespace

const ks::Class KSPrivateBeacon::kClass{
    kClassName,
    nullptr,
    ks::makeObject<Beacon>,
    {property("inRangeSince", &Beacon::inRangeSince_),
     property("inProximitySince", &Beacon::inProximitySince_),
     property("inRange", &Beacon::inRange_),
     property("sentEnterEvent", &Beacon::sentEnterEvent_),
     property("state", &Beacon::state_),
     property("major", &Beacon::major_),
     property("minor", &Beacon::minor_),
     property("locationIdentifier", &Beacon::locationIdentifier_),
     property("identifier", &Beacon::identifier_),
     property("name", &Beacon::name_),
     property("manufacturer", &Beacon::manufacturer_),
     property("manufacturerIdentifier", &Beacon::manufacturerIdentifier_),
     property("model", &Beacon::model_),
     property("refId", &Beacon::refId_),
     property("content", &Beacon::content_),
     property("schedule", &Beacon::schedule_),
     property("uuid", &Beacon::uuid_),
     property("locationZone", &Beacon::locationZone_),
     property("proximity", &Beacon::proximity_),
     property("validUntil", &Beacon::validUntil_),
     property("contentFetchingSince", &Beacon::contentFetchingSince_),
     property("contentFetchedSince", &Beacon::contentFetchedSince_)}};

std::string KSPrivateBeacon::keyFromIdentifier(const std::optional<std::string>& identifier,
                                               const std::optional<ks::UUID>& uuid,
                                               std::int64_t minor, std::int64_t major) {
  // As "%@:%@_%d_%d" would print them; put together by hand because caches ask for keys often.
  const auto number = [](std::int64_t value) {
    return std::to_string(static_cast<std::int32_t>(value));
  };
  return textOrAbsent(identifier) + ":" + (uuid ? uuid->UUIDString() : kAbsentText) + "_" +
         number(minor) + "_" + number(major);
}

std::string KSPrivateBeacon::keyForBeaconRegion(const ks::CLBeaconRegion& region) {
  return keyFromIdentifier(kRegionIdentifier, region.proximityUUID(), 0, 0);
}

std::string KSPrivateBeacon::key() const {
  return keyFromIdentifier(identifier_, uuid_, minor_, major_);
}

std::string KSPrivateBeacon::regionKey() const {
  return keyFromIdentifier(kRegionIdentifier, uuid_, 0, 0);
}

bool KSPrivateBeacon::shouldFetchContent() const {
  switch (state_) {
    case KSPrivateBeaconState::fresh:
      return true;
    case KSPrivateBeaconState::fetchingContent:
      return secondsSince(contentFetchingSince_) > kFetchHungAfterSeconds;
    case KSPrivateBeaconState::contentFetched:
      // A date of the portal's.
      return validUntil_ && ks::Platform::current().clock().now() > *validUntil_;
    case KSPrivateBeaconState::noContent:
      return secondsSince(contentFetchedSince_) > kNoContentRetrySeconds;
  }
  return false;
}

bool KSPrivateBeacon::isEqualWithBeacon(const KSPrivateBeacon& other) const {
  return uuid_ && uuid_ == other.uuid_ && major_ == other.major_ && minor_ == other.minor_;
}

bool KSPrivateBeacon::matchesBeaconRegion(const ks::CLBeaconRegion& region) const {
  return uuid_ == region.proximityUUID();
}

std::int64_t KSPrivateBeacon::contentType() const {
  return static_cast<std::int64_t>(Kind::beacon);
}

void KSPrivateBeacon::setState(KSPrivateBeaconState state) {
  const bool startsFetching = state == KSPrivateBeaconState::fetchingContent && state_ != state;
  if (startsFetching) contentFetchingSince_ = KSZoneClock::now();
  if (hasAnswer(state) && !hasAnswer(state_)) contentFetchedSince_ = KSZoneClock::now();
  state_ = state;
}

void KSPrivateBeacon::setInRange(bool flag) {
  if (flag == inRange_) return;
  inRange_ = flag;
  if (flag) {
    inRangeSince_ = KSZoneClock::now();
  } else {
    inRangeSince_.reset();
    setProximity(0);
  }
}

void KSPrivateBeacon::setProximity(std::int64_t proximity) {
  if (proximity == proximity_) return;
  proximity_ = proximity;
  if (proximity != 0) inProximitySince_ = KSZoneClock::now();
}

void KSPrivateBeacon::continueStay(const KSPrivateBeacon& earlier) {
  inRange_ = earlier.inRange_;
  inRangeSince_ = earlier.inRangeSince_;
  proximity_ = earlier.proximity_;
  inProximitySince_ = earlier.inProximitySince_;
  sentEnterEvent_ = earlier.sentEnterEvent_;
}

/// Compares what the key texts consist of: the numbers stand in them with their low 32 bits, and an
/// absent identifier as its text.
bool KSPrivateBeacon::isEqual(const ks::Object* other) const {
  if (other == this) return true;
  const auto* beacon = dynamic_cast<const KSPrivateBeacon*>(other);
  const auto low = [](std::int64_t number) { return static_cast<std::uint32_t>(number); };
  return beacon && low(beacon->minor_) == low(minor_) && low(beacon->major_) == low(major_) &&
         beacon->uuid_ == uuid_ && textOrAbsent(beacon->identifier_) == textOrAbsent(identifier_);
}

std::size_t KSPrivateBeacon::hash() const { return std::hash<std::string>{}(key()); }

std::string KSPrivateBeacon::description() const {
  return ks::stringWithFormat("Proximity\n\tid:%@\n\tname:%@\n\tUUID:%@\n\tmajor:%d\n\tminor:%d",
                              identifier_, name_, uuid_, major_, minor_);
}
