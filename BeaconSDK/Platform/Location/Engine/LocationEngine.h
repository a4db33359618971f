#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Engine/LocationCounters.h"
#include "BeaconSDK/Platform/Location/Engine/LocationDemand.h"
#include "BeaconSDK/Platform/Location/Engine/LocationInput.h"
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
class LocationEngine : public LocationServices, public LocationInput {
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

  void setAuthorizationStatus(CLAuthorizationStatus status) override;
  void setBeaconScanningAvailable(bool available) override;
  void setBeaconScanningPaused(bool paused) override;
  void setPositioningAvailable(bool available) override;
  void setReceiverGain(Dbm gain) override;
  Dbm receiverGain() const;
  void handleAdvertisement(const Advertisement& advertisement) override;
  /// The same for a beacon whose frame is already known.
  void handleBeacon(const BeaconFrame& frame, Dbm rssi, Seconds age = Seconds{0});
  void handleFix(const CLLocation& fix) override;
  void positionFailed(const Error& error) override;
  /// Reports the state of the inside beacon regions with `notifyEntryStateOnDisplay`.
  void handleDisplayOn();
  /// Does that from now on whenever the application becomes active. `center` must outlive the
  /// engine.
  void observeApplication(NSNotificationCenter& center);

  LocationDemand demand() const;
  LocationCounters counters() const;

  /// Hands the device to another engine: from now on all input goes to `input`, which is told what
  /// was set so far, and the demand is what `setDemand` says. This engine saves and does nothing
  /// more. `input` must outlive what feeds this engine; null drops input.
  void redirect(LocationInput* input);
  /// After `redirect`: the other engine's demand.
  void setDemand(const LocationDemand& demand);

  /// Hears all that the radio hears, whoever sent it: for showing a person what is around. While
  /// there is a listener every advertisement is demanded, also without authorization. Null for
  /// none; not from within the listener.
  void setAdvertisementListener(AdvertisementListener listener);

 private:
  struct Redirection {
    LocationInput* input = nullptr;
    LocationDemand demand;
  };

  /// Hands input on if it is not for this engine.
  bool isRedirected(const std::function<void(LocationInput&)>& hand) const;

  LocationDemandListener& listener_;
  std::shared_ptr<LocationEngineCore> core_;
  std::optional<Redirection> redirection_;
  NSNotificationCenter::Observation becameActive_;
};

}  // namespace ks
