#include "BeaconSDK/Classes/Beacon/Content/KSProximitySchedule.h"

#include "BeaconSDK/Platform/Api/Property.h"

const ks::Class KSProximitySchedule::kClass{
    kClassName,
    nullptr,
    ks::makeObject<KSProximitySchedule>,
    {ks::property("identifier", &KSProximitySchedule::identifier),
     ks::property("name", &KSProximitySchedule::name)}};
