#include "BeaconSDK/Classes/Beacon/Content/KSHTMLProximityZoneContent.h"

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Platform/Api/Property.h"

const ks::Class KSHTMLProximityZoneContent::kClass{
    kClassName,
    &KSProximityZoneContent::kClass,
    ks::makeObject<KSHTMLProximityZoneContent>,
    {ks::property("pageUrl", &KSHTMLProximityZoneContent::pageUrl)}};

std::string KSHTMLProximityZoneContent::description() const {
  return KSProximityZoneContent::description() + ks::stringWithFormat("url: %@\n", pageUrl);
}
