#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Location/KSLocation.h"
#include "BeaconSDK/Classes/Manager/Zones/OrderedTable.h"

namespace ks {

using LocationList = std::vector<std::shared_ptr<KSLocation>>;
using PrivateBeaconList = std::vector<std::shared_ptr<KSPrivateBeacon>>;
/// Beacon zones by location identifier.
using PrivateBeaconTable = OrderedTable<PrivateBeaconList>;
/// Geofence zones by the identifier of their monitored region.
using GeofenceTable = OrderedTable<std::shared_ptr<KSGeofence>>;

}  // namespace ks
