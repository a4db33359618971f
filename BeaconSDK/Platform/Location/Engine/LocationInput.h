#pragma once

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {

/// What a device feeds a location engine with. Main queue only.
class LocationInput {
 public:
  virtual ~LocationInput() = default;
  /// Delegates are notified of a change in a task of its own.
  virtual void setAuthorizationStatus(CLAuthorizationStatus status) = 0;
  /// False where the device has no radio, which stops listening too. True at first.
  virtual void setBeaconScanningAvailable(bool available) = 0;
  /// True while the radio cannot listen for now: silence then proves nothing. Beacon regions can be
  /// monitored all the same. False at first.
  virtual void setBeaconScanningPaused(bool paused) = 0;
  /// False where the device has no source of positions. True at first.
  virtual void setPositioningAvailable(bool available) = 0;
  /// How much stronger than usual this device receives, in dB: what it reports 1 m from a beacon,
  /// less the power that the beacon claims. Subtracted from every strength from now on. 0 at first.
  virtual void setReceiverGain(Dbm gain) = 0;
  /// Constant time; allocates only for a beacon that was not known.
  virtual void handleAdvertisement(const Advertisement& advertisement) = 0;
  /// While positions are demanded fixes are expected to come again and again, also of a device that
  /// stands still. A fix that the device can hardly have reached waits for another one that agrees.
  virtual void handleFix(const CLLocation& fix) = 0;
  /// The source of positions has given up for now.
  virtual void positionFailed(const Error& error) = 0;
};

}  // namespace ks
