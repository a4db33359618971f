#include "BeaconSDK/Classes/Stats/Records/KSStatProximityZoneInteraction.h"

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "BeaconSDK/Classes/Date/NSDateFormatter+Server.h"
#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Api/Property.h"

namespace {

using Interaction = KSStatProximityZoneInteraction;

bool isBeacon(const Interaction& interaction) {
  return interaction.contentType == static_cast<std::int32_t>(KSProximityZone::Kind::beacon);
}

bool isGeofence(const Interaction& interaction) {
  return interaction.contentType == static_cast<std::int32_t>(KSProximityZone::Kind::geofence);
}

/// The level is a number that may be absent.
ks::Property batteryLevelProperty() {
  return {"batteryLevel", "NSNumber",
          [](const ks::Object& object) -> ks::Value {
            return static_cast<const Interaction&>(object).batteryLevel;
          },
          [](ks::Object& object, const ks::Value& value) {
            const bool isKnown = value.isNumber();
            static_cast<Interaction&>(object).batteryLevel =
                isKnown ? std::optional(value.integerValue()) : std::nullopt;
          }};
}

}  // namespace

const ks::Class KSStatProximityZoneInteraction::kClass{
    kClassName,
    nullptr,
    ks::makeObject<Interaction>,
    {ks::property("contentType", &Interaction::contentType),
     ks::property("beaconIdentifier", &Interaction::beaconIdentifier),
     ks::property("contentIdentifier", &Interaction::contentIdentifier),
     ks::property("scheduleIdentifier", &Interaction::scheduleIdentifier),
     ks::property("timestamp", &Interaction::timestamp), batteryLevelProperty(),
     ks::property("duration", &Interaction::duration), ks::property("tags", &Interaction::tags)}};

KSStatProximityZoneInteraction::KSStatProximityZoneInteraction()
    : timestamp(ks::NSDateFormatterServer::serverDateText(ks::Platform::current().clock().now())) {}

std::shared_ptr<Interaction> KSStatProximityZoneInteraction::interactionWithContentType(
    std::int32_t contentType) {
  auto interaction = std::make_shared<Interaction>();
  interaction->contentType = contentType;
  return interaction;
}

std::optional<std::string> KSStatProximityZoneInteraction::portalIdentifier() const {
  if (isBeacon(*this)) return "beacons";
  if (isGeofence(*this)) return "geofences";
  return std::nullopt;
}

std::optional<std::string> KSStatProximityZoneInteraction::identifierKey() const {
  if (isBeacon(*this)) return "beaconId";
  if (isGeofence(*this)) return "geofenceId";
  return std::nullopt;
}
