#pragma once

#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Input that the location engine needs from the device now; everything else can be switched off.
struct LocationDemand {
  enum class BeaconScan {
    none,
    /// Every beacon is to be received at least every few seconds; a passive or duty-cycled scan
    /// suffices.
    monitoring,
    /// Every advertisement with its signal strength.
    ranging,
  };
  BeaconScan beaconScan = BeaconScan::none;
  /// Required uncertainty of the positions; absent while none are needed.
  std::optional<Metres> positionAccuracy;
  /// Maximum time between fixes while positions are needed; a source may give them sooner.
  Seconds positionInterval{1};

  friend bool operator==(const LocationDemand&, const LocationDemand&) = default;
};

/// Called on the main queue, in a separate task, when the demand has changed.
class LocationDemandListener {
 public:
  virtual ~LocationDemandListener() = default;
  virtual void locationDemandChanged(const LocationDemand& demand) = 0;
  /// Called with one sentence for a person about the input: a circle too small for the positions in
  /// it, a beacon with an impossible power or a shared identity, too many beacons, a state that
  /// cannot be saved. Packets and attempts are reported at the counts 1, 10, 100 and so on.
  virtual void noticed(const std::string& /*text*/) {}
};

}  // namespace ks
