#pragma once

#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// What the location engine needs of the device right now, so that everything else can sleep.
struct LocationDemand {
  enum class BeaconScan {
    none,
    /// Every beacon should be heard at least every few seconds; a passive or duty-cycled scan does.
    monitoring,
    /// Every advertisement with its signal strength.
    ranging,
  };
  BeaconScan beaconScan = BeaconScan::none;
  /// The wanted uncertainty of the positions; absent while none are needed.
  std::optional<Metres> positionAccuracy;
  /// How far apart fixes may be while positions are wanted; a source may give them sooner.
  Seconds positionInterval{1};

  friend bool operator==(const LocationDemand&, const LocationDemand&) = default;
};

/// Told on the main queue, in a task of its own, when the demand has changed.
class LocationDemandListener {
 public:
  virtual ~LocationDemandListener() = default;
  virtual void locationDemandChanged(const LocationDemand& demand) = 0;
  /// The device has stood in this circle, which is smaller than the uncertainty of the fixes there:
  /// it cannot be entered. Called once for each circle.
  virtual void circleTooSmall(const CLCircularRegion&, Metres /*uncertainty*/) {}
};

/// "The circle 'kiosk' of 20 m is smaller than the uncertainty of positions there, 35 m: it cannot
/// be entered".
std::string tooSmallText(const CLCircularRegion& circle, Metres uncertainty);

}  // namespace ks
