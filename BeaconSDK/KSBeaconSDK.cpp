#include "BeaconSDK/KSBeaconSDK.h"

#include <array>

const double KSBeaconSDKVersionNumber = 1.0;
const unsigned char KSBeaconSDKVersionString[] = "@(#)PROGRAM:KSBeaconSDK  PROJECT:KSBeaconSDK-1\n";

namespace ks {

std::span<const Class* const> recordClasses() {
  // A linker takes from a static library only what somebody refers to, and an optimizer drops what
  // nobody can see: the list is returned.
  static const std::array kClasses = {
      &KSFollowTrackProximityZoneContent::kClass,
      &KSGeofence::kClass,
      &KSHTMLProximityZoneContent::kClass,
      &KSLocation::kClass,
      &KSLocationDetail::kClass,
      &KSPrivateBeacon::kClass,
      &KSProximitySchedule::kClass,
      &KSProximityZoneContent::kClass,
      &KSProximityZoneContentCategory::kClass,
      &KSProximityZoneContentError::kClass,
      &KSServerResponse::kClass,
      &KSStatProximityTriggerZone::kClass,
      &KSStatProximityZoneInteraction::kClass,
      &KSTextPushProximityZoneContent::kClass,
      &KSVideoProximityZoneContent::kClass,
  };
  return kClasses;
}

}  // namespace ks
