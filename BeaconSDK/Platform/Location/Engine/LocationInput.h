#pragma once

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {

/// Input of a location engine. Main queue only.
class LocationInput {
 public:
  virtual ~LocationInput() = default;
  /// Delegates are notified of a change in a separate task.
  virtual void setAuthorizationStatus(CLAuthorizationStatus status) = 0;
  /// False if the device has no radio; also stops scanning. Default: true.
  virtual void setBeaconScanningAvailable(bool available) = 0;
  /// True while the radio cannot scan for now: silence then proves nothing. Beacon regions can be
  /// monitored all the same. Default: false.
  virtual void setBeaconScanningPaused(bool paused) = 0;
  /// False if the device has no source of positions. Default: true.
  virtual void setPositioningAvailable(bool available) = 0;
  /// Sets the receiver gain in dB: the strength reported 1 m from a beacon, less the power that the
  /// beacon claims. Subtracted from every later strength. Default: 0.
  virtual void setReceiverGain(Dbm gain) = 0;
  /// Constant time; allocates only for a beacon that was not known.
  virtual void handleAdvertisement(const Advertisement& advertisement) = 0;
  /// While positions are demanded, fixes must keep coming, also of a device that does not move. A
  /// fix that is implausibly far away is held until another one confirms it.
  virtual void handleFix(const CLLocation& fix) = 0;
  /// Reports that the position source gives no positions for now.
  virtual void positionFailed(const Error& error) = 0;
};

}  // namespace ks
