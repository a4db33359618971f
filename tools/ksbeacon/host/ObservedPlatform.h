#pragma once

#include <memory>

#include "BeaconSDK/Platform/Api/ForwardingPlatform.h"
#include "tools/ksbeacon/timeline/LocationListener.h"

namespace ks::tool {

/// Another platform with an ear on its location service: all that the device tells the library
/// about positions, regions and beacons reaches the listener first. Everything else is the other
/// platform's.
class ObservedPlatform : public ForwardingPlatform {
 public:
  /// Both must outlive the recording platform.
  ObservedPlatform(Platform& device, LocationListener& listener);

  LocationServices& locationServices() override { return *locationServices_; }

 private:
  std::unique_ptr<LocationServices> locationServices_;
};

}  // namespace ks::tool
