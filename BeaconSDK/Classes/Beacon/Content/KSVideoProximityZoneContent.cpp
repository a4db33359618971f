#include "BeaconSDK/Classes/Beacon/Content/KSVideoProximityZoneContent.h"

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Platform/Api/Property.h"

const ks::Class KSVideoProximityZoneContent::kClass{
    kClassName,
    &KSProximityZoneContent::kClass,
    ks::makeObject<KSVideoProximityZoneContent>,
    {ks::property("videoUrl", &KSVideoProximityZoneContent::videoUrl)}};

std::string KSVideoProximityZoneContent::description() const {
  return KSProximityZoneContent::description() + ks::stringWithFormat("videoUrl: %@\n", videoUrl);
}
