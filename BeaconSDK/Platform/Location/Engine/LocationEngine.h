#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Diagnostics/CountingLocationServices.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Engine/LocationCounters.h"
#include "BeaconSDK/Platform/Location/Engine/LocationDemand.h"
#include "BeaconSDK/Platform/Location/Engine/LocationInput.h"
#include "BeaconSDK/Platform/Location/LocationErrors.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"
#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"

namespace ks {

class LocationEngineCore;

/// A location service computed from positions and raw advertisements, for devices whose system has
/// none.
///
/// The platform supplies the input that `demand` asks for; the managers that the engine creates
/// report to the application. Pure logic over a clock and a queue: equal input gives equal events.
///
/// - Every event reaches every manager's delegate, except the replies to a manager's own requests,
///   its locations and its ranging. A crossing is reported as `didDetermineState`, then
///   `didEnterRegion` or `didExitRegion`. A region with `notifyOnEntry` or `notifyOnExit` off
///   crosses silently in that direction.
/// - A region that is first found to be inside counts as entered.
/// - Crossings are kept until there is a delegate to report them to.
/// - The first evidence of each run about a beacon region is reported by `didDetermineState` also
///   when it confirms the state of the previous run.
/// - Monitoring needs `authorizedAlways`; ranging and locations need that or `authorizedWhenInUse`.
///   Without it input is ignored and the demand is empty.
///
/// Main queue only, apart from the operations of `LocationServices`. Input must not be given from
/// within a delegate's callback. Managers may outlive the engine and are then inert.
class LocationEngine : public CountingLocationServices, public LocationInput {
 public:
  /// Reads the regions of earlier runs from `store` on construction. The store and the listener
  /// must outlive the engine. The authorization is initially `notDetermined`.
  LocationEngine(Clock& clock, DispatchQueue& mainQueue, LocationStateStore& store,
                 LocationDemandListener& listener);
  /// Saves unsaved state and cancels all timers.
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
  /// As `handleAdvertisement`, for a beacon frame that is already parsed.
  void handleBeacon(const BeaconFrame& frame, Dbm rssi, Seconds age = Seconds{0});
  void handleFix(const CLLocation& fix) override;
  void positionFailed(const Error& error) override;
  /// Reports the state of the inside beacon regions with `notifyEntryStateOnDisplay`.
  void handleDisplayOn();
  /// Calls `handleDisplayOn` whenever the application becomes active. `center` must outlive the
  /// engine.
  void observeApplication(NSNotificationCenter& center);

  LocationDemand demand() const;
  LocationCounters counters() const;
  std::map<std::string, std::int64_t> counts() const override { return counters().byName(); }

  /// Passes all further input to `input`, starting with the current settings; the demand is then
  /// the one of `setDemand`. This engine saves its state and stops. `input` must outlive the
  /// sources of this engine's input; null drops input.
  void redirect(LocationInput* input);
  /// Sets the demand of the other engine, after `redirect`.
  void setDemand(const LocationDemand& demand);

  /// Sets a listener for every received advertisement, whoever sent it, for scanners. While it is
  /// set, every advertisement is demanded, also without authorization. May be null; not from within
  /// the listener.
  void setAdvertisementListener(AdvertisementListener listener);

 private:
  struct Redirection {
    LocationInput* input = nullptr;
    LocationDemand demand;
  };

  /// Passes input on if it is redirected.
  bool isRedirected(const std::function<void(LocationInput&)>& hand) const;

  LocationDemandListener& listener_;
  std::shared_ptr<LocationEngineCore> core_;
  std::optional<Redirection> redirection_;
  NSNotificationCenter::Observation becameActive_;
};

}  // namespace ks
