#include "BeaconSDK/Classes/Network/KSServerResponse.h"

#include "BeaconSDK/Platform/Api/Property.h"

const ks::Class KSServerResponse::kClass{kClassName,
                                         nullptr,
                                         ks::makeObject<KSServerResponse>,
                                         {ks::property("error", &KSServerResponse::error)}};
