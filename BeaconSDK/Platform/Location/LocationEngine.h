#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"
#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"

namespace ks {

/// The domain of the location service's errors, and their codes.
inline constexpr const char* CLErrorDomain = "kCLErrorDomain";
enum class CLErrorCode : std::int64_t {
  locationUnknown = 0,
  denied = 1,
  regionMonitoringDenied = 4,
  regionMonitoringFailure = 5,
};
Error locationError(CLErrorCode code);

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

/// What became of the input so far.
struct LocationCounters {
  std::uint64_t advertisements = 0;
  /// Elements or beacon frames that were malformed, truncated or padding.
  std::uint64_t skippedElements = 0;
  /// Beacon frames of a watched or ranged proximity UUID.
  std::uint64_t matchedBeacons = 0;
  /// Beacons that found no room because too many of their UUID are around.
  std::uint64_t untrackedBeacons = 0;
  /// Packets that claim a power at 1 m that no beacon has; the usual one stood in for it.
  std::uint64_t replacedPowers = 0;
  /// Beacons whose identity two senders use in turn: distances between them mean nothing.
  std::uint64_t sharedIdentities = 0;
  std::uint64_t fixes = 0;
  /// Fixes that were invalid or late, or jumps that another fix denied.
  std::uint64_t rejectedFixes = 0;
  /// Circles that the device stood in and that were smaller than the uncertainty of its fixes.
  std::uint64_t tooSmallCircles = 0;
  /// Times that the store could not save.
  std::uint64_t failedSaves = 0;
  friend bool operator==(const LocationCounters&, const LocationCounters&) = default;
};

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

  using AdvertisementListener = std::function<void(const Advertisement&)>;
  /// Hears all that the radio hears, whoever sent it: for showing a person what is around. While
  /// there is a listener every advertisement is demanded, also without authorization. Null for
  /// none; not from within the listener.
  void setAdvertisementListener(AdvertisementListener listener);

  class Core;

 private:
  std::shared_ptr<Core> core_;
  NSNotificationCenter::Observation becameActive_;
};

}  // namespace ks
