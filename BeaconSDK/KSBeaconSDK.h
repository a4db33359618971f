#pragma once

/// The whole library in one include. A program that includes it can read every record from an
/// archive, even records that it does not use otherwise.
#include <span>

#include "BeaconSDK/Classes/Beacon/Content/KSFollowTrackProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSHTMLProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSProximitySchedule.h"
#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentError.h"
#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSVideoProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSObject+AutoCoding.h"
#include "BeaconSDK/Classes/Common/Foundation/NSData+Base64.h"
#include "BeaconSDK/Classes/Common/Reachability/KSReachability.h"
#include "BeaconSDK/Classes/Date/NSDateFormatter+Server.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Location/KSLocation.h"
#include "BeaconSDK/Classes/Location/KSLocationDetail.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Manager/Battery/KSBatteryStatus.h"
#include "BeaconSDK/Classes/Manager/Health/HeldData.h"
#include "BeaconSDK/Classes/Manager/KSProximityManager.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "BeaconSDK/Classes/Network/KSServerResponse.h"
#include "BeaconSDK/Classes/Settings/KSSettingsManager.h"
#include "BeaconSDK/Classes/Stats/KSStatsManager.h"
#include "BeaconSDK/Classes/Stats/Records/KSStatProximityTriggerZone.h"
#include "BeaconSDK/Classes/Stats/Records/KSStatProximityZoneInteraction.h"

/// The library's version as a number, and as a text that can be found in a compiled program.
extern const double KSBeaconSDKVersionNumber;
extern const unsigned char KSBeaconSDKVersionString[];

namespace ks {

/// Returns the classes of all records. The reference to them links them into the program, so that
/// archives find the classes by their names.
std::span<const Class* const> recordClasses();

/// Initialised at program start, before `main`.
inline const std::span<const Class* const> kRecordClasses = recordClasses();

}  // namespace ks
