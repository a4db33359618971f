#include "BeaconSDK/Classes/Location/KSLocation.h"

#include <functional>

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Platform/Api/Property.h"

using ks::property;

const ks::Class KSLocation::kClass{
    kClassName,
    nullptr,
    ks::makeObject<KSLocation>,
    {property("latitude", &KSLocation::latitude), property("longitude", &KSLocation::longitude),
     property("identifier", &KSLocation::identifier), property("name", &KSLocation::name),
     property("refreshInterval", &KSLocation::refreshInterval),
     property("zonesSyncedOn", &KSLocation::zonesSyncedOn)}};

bool KSLocation::isEqual(const ks::Object* other) const {
  const auto* location = dynamic_cast<const KSLocation*>(other);
  return location && identifier && location->identifier == identifier;
}

std::size_t KSLocation::hash() const {
  return identifier ? std::hash<std::string>{}(*identifier) : 0;
}

std::string KSLocation::description() const {
  return ks::stringWithFormat("%@ %@ %f %f", identifier, name, latitude, longitude);
}
