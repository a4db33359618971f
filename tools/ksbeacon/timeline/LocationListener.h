#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks::tool {

/// Hears what a location service tells the library, just before the library does. Main queue.
class LocationListener {
 public:
  virtual ~LocationListener() = default;
  virtual void located(const CLLocation& location) = 0;
  virtual void regionChanged(const CLRegion& region, CLRegionState state) = 0;
  virtual void ranged(const CLBeaconRegion& region, const std::vector<CLBeacon>& beacons) = 0;
  virtual void monitoringFailed(const CLRegion* region, const Error& error) = 0;
};

}  // namespace ks::tool
