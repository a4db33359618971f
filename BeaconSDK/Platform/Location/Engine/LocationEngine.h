#pragma once

#include <memory>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Engine/LocationCounters.h"
#include "BeaconSDK/Platform/Location/Engine/LocationDemand.h"
#include "BeaconSDK/Platform/Location/LocationErrors.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"
#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"

namespace ks {

class LocationEngineCore;

/// A location service made of positions and raw advertisements, for devices whose system has none.
///
/// The platform feeds it and asks what it needs; managers made by it report to the application.
/// Pure logic over a clock and a queue: equal input gives equal events.
///
/// - Every event reaches every manager's delegate, except the answers to a manager's own requests,
///   its locations and its ranging. A crossing is reported as `didDetermineState`, then
///   `didEnterRegion` or `didExitRegion`. A region with `notifyOnEntry` or `notifyOnExit` off
///   crosses silently in that direction.
/// - A region that is found to be inside for the first time counts as entered.
/// - Crossings are reported when a delegate is there; until then they are kept.
/// - The first evidence of each run about a beacon region is reported by `didDetermineState` also
///   when it confirms the state of the run before.
/// - Monitoring needs `authorizedAlways`; ranging and locations need that or `authorizedWhenInUse`.
///   Without it input is ignored and nothing is demanded.
///
/// Main queue only, apart from the operations of `LocationServices`. Input must not be given from
/// within a delegate's callback. Managers may outlive the engine and are then inert.
class LocationEngine : public LocationServices {
 public:
  /// Reads the regions of earlier runs from `store` at once. The store and the listener must
  /// outlive the engine. The authorization begins as `notDetermined`.
  LocationEngine(Clock& clock, DispatchQueue& mainQueue, LocationStateStore& store,
                 LocationDemandListener& listener);
  /// Saves what is unsaved and ends all timers.
  ~LocationEngine() override;

  CLAuthorizationStatus authorizationStatus() const override;
  bool isMonitoringAvailableForCircularRegions() const override;
  bool isMonitoringAvailableForBeaconRegions() const override;
  std::unique_ptr<CLLocationManager> makeLocationManager() override;

  /// Delegates are notified of a change in a task of its own.
  void setAuthorizationStatus(CLAuthorizationStatus status);
  /// False where the device has no radio, which stops listening too. True at first.
  void setBeaconScanningAvailable(bool available);
  /// True while the radio cannot listen for now: silence then proves nothing. Beacon regions can be
  /// monitored all the same. False at first.
  void setBeaconScanningPaused(bool paused);
  /// False where the device has no source of positions. True at first.
  void setPositioningAvailable(bool available);

  /// How much stronger than usual this device receives, in dB: what it reports 1 m from a beacon,
  /// less the power that the beacon claims. Subtracted from every strength from now on. 0 at first.
  void setReceiverGain(Dbm gain);

  /// Constant time; allocates only for a beacon that was not known.
  void handleAdvertisement(const Advertisement& advertisement);
  /// The same for a beacon whose frame is already known.
  void handleBeacon(const BeaconFrame& frame, Dbm rssi, Seconds age = Seconds{0});
  /// While positions are demanded fixes are expected to come again and again, also of a device that
  /// stands still. A fix that the device can hardly have reached waits for another one that agrees.
  void handleFix(const CLLocation& fix);
  /// The source of positions has given up for now.
  void positionFailed(const Error& error);
  /// Reports the state of the inside beacon regions with `notifyEntryStateOnDisplay`.
  void handleDisplayOn();
  /// Does that from now on whenever the application becomes active. `center` must outlive the
  /// engine.
  void observeApplication(NSNotificationCenter& center);

  LocationDemand demand() const;
  LocationCounters counters() const;

  /// Hears all that the radio hears, whoever sent it: for showing a person what is around. While
  /// there is a listener every advertisement is demanded, also without authorization. Null for
  /// none; not from within the listener.
  void setAdvertisementListener(AdvertisementListener listener);

 private:
  std::shared_ptr<LocationEngineCore> core_;
  NSNotificationCenter::Observation becameActive_;
};

}  // namespace ks
