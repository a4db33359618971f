#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneType.h"

KSProximityZoneType KSProximityZoneTypeFromString(std::optional<std::string_view> text) {
  if (text == "TextPush") return KSProximityZoneType::textPush;
  if (text == "Html") return KSProximityZoneType::html;
  if (text == "FollowTrack") return KSProximityZoneType::followTrack;
  if (text == "Video") return KSProximityZoneType::video;
  return KSProximityZoneType::unknown;
}
