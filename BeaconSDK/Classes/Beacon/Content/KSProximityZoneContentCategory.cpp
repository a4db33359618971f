#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Platform/Api/Property.h"

using Category = KSProximityZoneContentCategory;

const ks::Class KSProximityZoneContentCategory::kClass{
    kClassName,
    nullptr,
    ks::makeObject<Category>,
    {ks::property("identifier", &Category::identifier), ks::property("name", &Category::name)}};

std::string KSProximityZoneContentCategory::description() const {
  return ks::stringWithFormat("%@ %@", identifier, name);
}
