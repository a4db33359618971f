#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Location/KSLocation.h"
#include "BeaconSDK/Classes/Manager/Zones/KSOrderedTable.h"

using KSLocationList = std::vector<std::shared_ptr<KSLocation>>;
using KSBeaconList = std::vector<std::shared_ptr<KSPrivateBeacon>>;
/// Beacon zones by location identifier.
using KSBeaconTable = KSOrderedTable<KSBeaconList>;
/// Geofence zones by the identifier of their monitored region.
using KSGeofenceTable = KSOrderedTable<std::shared_ptr<KSGeofence>>;
