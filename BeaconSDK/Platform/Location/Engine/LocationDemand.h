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
  /// Something about the input that a person should know, in one sentence: a circle too small for
  /// the positions in it, a beacon that claims an impossible power or shares its identity, too many
  /// beacons, a state that cannot be saved. Packets and attempts are told when there was 1, 10, 100
  /// and so on of them.
  virtual void noticed(const std::string& /*text*/) {}
};

}  // namespace ks
