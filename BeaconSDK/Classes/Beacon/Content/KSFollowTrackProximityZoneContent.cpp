#include "BeaconSDK/Classes/Beacon/Content/KSFollowTrackProximityZoneContent.h"

#include "BeaconSDK/Platform/Api/Property.h"

const ks::Class KSFollowTrackProximityZoneContent::kClass{
    kClassName,
    &KSProximityZoneContent::kClass,
    ks::makeObject<KSFollowTrackProximityZoneContent>,
    {}};
