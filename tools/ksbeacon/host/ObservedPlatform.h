#pragma once

#include <memory>

#include "BeaconSDK/Platform/Common/ForwardingPlatform.h"
#include "BeaconSDK/Platform/Simulated/ShiftedClock.h"
#include "tools/ksbeacon/timeline/LocationListener.h"

namespace ks::tool {

/// Another platform with an ear on its location service: all that the device tells the library
/// about positions, regions and beacons reaches the listener first. Its wall clock may be set
/// against the device's. Everything else is the other platform's.
class ObservedPlatform : public ForwardingPlatform {
 public:
  /// Both must outlive the recording platform.
  ObservedPlatform(Platform& device, LocationListener& listener);

  ShiftedClock& clock() override { return clock_; }
  /// "moveClock" sets the wall clock ahead of where it stands, as a recording holds it; false for
  /// any other call.
  bool handle(const std::string& name, const Dictionary& arguments);
  LocationServices& locationServices() override { return *locationServices_; }

 private:
  ShiftedClock clock_;
  std::unique_ptr<LocationServices> locationServices_;
};

}  // namespace ks::tool
