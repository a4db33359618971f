#include "BeaconSDK/Classes/Location/KSLocationDetail.h"

#include "BeaconSDK/Platform/Api/Property.h"

using ks::property;
using Detail = KSLocationDetail;

const ks::Class KSLocationDetail::kClass{
    kClassName,
    nullptr,
    ks::makeObject<Detail>,
    {property("latitude", &Detail::latitude), property("longitude", &Detail::longitude),
     property("identifier", &Detail::identifier), property("name", &Detail::name),
     property("street", &Detail::street), property("city", &Detail::city),
     property("country", &Detail::country), property("postalCode", &Detail::postalCode),
     property("organizationIdentifier", &Detail::organizationIdentifier),
     property("organizationName", &Detail::organizationName)}};
