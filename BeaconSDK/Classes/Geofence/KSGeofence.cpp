#include "BeaconSDK/Classes/Geofence/KSGeofence.h"

#include <utility>

#include "BeaconSDK/Classes/Beacon/Content/KSZoneClock.h"
#include "BeaconSDK/Platform/Api/Property.h"

using ks::property;

namespace {

const std::optional<std::string> kNoReference = "";

/// A property that an archive holds as the accessors see it, not as the member stores it.
template <class Member>
ks::Property propertyThroughAccessors(std::string name, const Member& (KSGeofence::*get)() const,
                                      void (KSGeofence::*set)(Member)) {
  return {std::move(name), ks::Coding<Member>::valueClass(),
          [get](const ks::Object& object) {
            return ks::Coding<Member>::box((static_cast<const KSGeofence&>(object).*get)());
          },
          [set](ks::Object& object, const ks::Value& value) {
            Member member{};
            ks::Coding<Member>::unbox(value, member);
            (static_cast<KSGeofence&>(object).*set)(std::move(member));
          }};
}

}  // namespace

const ks::Class KSGeofence::kClass{
    kClassName,
    nullptr,
    ks::makeObject<KSGeofence>,
    {property("inRange", &KSGeofence::inRange_),
     property("sentEnterEvent", &KSGeofence::sentEnterEvent_),
     propertyThroughAccessors("monitoringRegion", &KSGeofence::monitoringRegion,
                              &KSGeofence::setMonitoringRegion),
     property("validUntil", &KSGeofence::validUntil_), property("name", &KSGeofence::name_),
     property("content", &KSGeofence::content_), property("schedule", &KSGeofence::schedule_),
     property("inRangeSince", &KSGeofence::inRangeSince_),
     propertyThroughAccessors("identifier", &KSGeofence::identifier, &KSGeofence::setIdentifier),
     propertyThroughAccessors("refId", &KSGeofence::refId, &KSGeofence::setRefId)}};

const std::optional<std::string>& KSGeofence::refId() const { return kNoReference; }

std::int64_t KSGeofence::contentType() const { return static_cast<std::int64_t>(Kind::geofence); }

void KSGeofence::setInRange(bool flag) {
  inRange_ = flag;
  if (flag) {
    inRangeSince_ = KSZoneClock::now();
  } else {
    inRangeSince_.reset();
  }
}

void KSGeofence::continueStay(const KSGeofence& earlier) {
  inRange_ = earlier.inRange_;
  inRangeSince_ = earlier.inRangeSince_;
  sentEnterEvent_ = earlier.sentEnterEvent_;
  if (content_ && earlier.content_ && content_->identifier == earlier.content_->identifier) {
    content_->updateFromContent(*earlier.content_);
  }
}

void KSGeofence::setMonitoringRegion(std::shared_ptr<ks::CLCircularRegion> region) {
  monitoringRegion_ = std::move(region);
  regionIdentifier_.reset();
  if (monitoringRegion_) regionIdentifier_ = monitoringRegion_->identifier();
}
