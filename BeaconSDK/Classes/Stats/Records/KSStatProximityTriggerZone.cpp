#include "BeaconSDK/Classes/Stats/Records/KSStatProximityTriggerZone.h"

#include "BeaconSDK/Platform/Api/Property.h"

const ks::Class KSStatProximityTriggerZone::kClass{
    kClassName,
    nullptr,
    ks::makeObject<KSStatProximityTriggerZone>,
    {ks::property("beaconIdentifier", &KSStatProximityTriggerZone::beaconIdentifier),
     ks::property("userDeviceIdentifier", &KSStatProximityTriggerZone::userDeviceIdentifier),
     ks::property("timestamp", &KSStatProximityTriggerZone::timestamp)}};
