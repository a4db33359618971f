#include "BeaconSDK/KSBeaconSDK.h"

#include <array>

const double KSBeaconSDKVersionNumber = 1.0;
const unsigned char KSBeaconSDKVersionString[] = "@(#)PROGRAM:KSBeaconSDK  PROJECT:KSBeaconSDK-1\n";

namespace ks {

bool recordClassesAreKnown() {
  // A linker takes from a static library only what somebody refers to.
  static const std::array kRecordClasses = {
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
  return kRecordClasses.front() != nullptr;
}

}  // namespace ks
