#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"

#include "BeaconSDK/Platform/Api/Property.h"

const ks::Class KSTextPushProximityZoneContent::kClass{
    kClassName,
    &KSProximityZoneContent::kClass,
    ks::makeObject<KSTextPushProximityZoneContent>,
    {}};
