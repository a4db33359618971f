#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/UUID.h"
#include "BeaconSDK/Platform/Api/Units.h"

namespace ks {

/// The application's permission to use the device's position.
enum class CLAuthorizationStatus : std::int32_t {
  notDetermined = 0,
  restricted = 1,
  denied = 2,
  authorizedAlways = 3,
  authorizedWhenInUse = 4,
};

enum class CLRegionState : std::int64_t { unknown = 0, inside = 1, outside = 2 };

/// Distance class of a ranged beacon. Contents use the same numbers for the wanted proximity, with
/// 0 for any.
enum class CLProximity : std::int64_t { unknown = 0, immediate = 1, near = 2, far = 3 };

/// What the application uses positions for.
enum class CLActivityType : std::int64_t {
  other = 1,
  automotiveNavigation = 2,
  fitness = 3,
  otherNavigation = 4,
};

/// A point on the WGS 84 ellipsoid, in degrees: latitude -90 to 90, longitude -180 to 180.
struct CLLocationCoordinate2D {
  double latitude = 0;
  double longitude = 0;
  friend bool operator==(const CLLocationCoordinate2D&, const CLLocationCoordinate2D&) = default;
};

/// Mean radius of the earth (IUGG); distances are measured on a sphere of this radius.
inline constexpr Metres kMeanEarthRadius{6371008.8};

/// Returns the great-circle distance on a sphere of the mean earth radius.
Metres distanceBetween(CLLocationCoordinate2D a, CLLocationCoordinate2D b);

/// One position fix.
struct CLLocation {
  CLLocationCoordinate2D coordinate;
  /// Radius of the uncertainty, 68% confidence; negative when the coordinate is not valid.
  Metres horizontalAccuracy{-1};
  Date timestamp;

  /// "<+45.07,+7.68> +/- 5.00m @ 2018-05-04 12:03:27 +0000".
  std::string description() const;
};

/// A region that the location service monitors. Regions are equal by identifier.
class CLRegion : public Object {
 public:
  static constexpr const char* kClassName = "CLRegion";
  static const Class kClass;

  const std::string& identifier() const { return identifier_; }
  bool notifyOnEntry() const { return notifyOnEntry_; }
  void setNotifyOnEntry(bool flag) { notifyOnEntry_ = flag; }
  bool notifyOnExit() const { return notifyOnExit_; }
  void setNotifyOnExit(bool flag) { notifyOnExit_ = flag; }

  const Class& objectClass() const override { return kClass; }
  bool isEqual(const Object* other) const override;
  std::size_t hash() const override;

 protected:
  CLRegion() = default;
  explicit CLRegion(std::string identifier) : identifier_(std::move(identifier)) {}

 private:
  std::string identifier_;
  bool notifyOnEntry_ = true;
  bool notifyOnExit_ = true;
};

/// A circle on the earth.
class CLCircularRegion : public CLRegion {
 public:
  static constexpr const char* kClassName = "CLCircularRegion";
  static const Class kClass;

  CLCircularRegion() = default;
  CLCircularRegion(CLLocationCoordinate2D center, Metres radius, std::string identifier)
      : CLRegion(std::move(identifier)),
        latitude_(center.latitude),
        longitude_(center.longitude),
        radius_(radius.value) {}

  CLLocationCoordinate2D center() const { return {latitude_, longitude_}; }
  Metres radius() const { return {radius_}; }
  /// True on and within the border.
  bool containsCoordinate(CLLocationCoordinate2D coordinate) const;

  const Class& objectClass() const override { return kClass; }
  std::string description() const override;

 private:
  double latitude_ = 0;
  double longitude_ = 0;
  double radius_ = 0;
};

/// All beacons of one proximity UUID, or only those with the given major and minor.
class CLBeaconRegion : public CLRegion {
 public:
  static constexpr const char* kClassName = "CLBeaconRegion";
  static const Class kClass;

  CLBeaconRegion() = default;
  CLBeaconRegion(UUID proximityUUID, std::string identifier,
                 std::optional<std::uint16_t> major = std::nullopt,
                 std::optional<std::uint16_t> minor = std::nullopt);

  UUID proximityUUID() const { return proximityUUID_.value_or(UUID{}); }
  std::optional<std::uint16_t> major() const;
  std::optional<std::uint16_t> minor() const;
  bool notifyEntryStateOnDisplay() const { return notifyEntryStateOnDisplay_; }
  void setNotifyEntryStateOnDisplay(bool flag) { notifyEntryStateOnDisplay_ = flag; }
  bool matches(UUID uuid, std::uint16_t major, std::uint16_t minor) const;

  const Class& objectClass() const override { return kClass; }
  std::string description() const override;

 private:
  static constexpr std::int32_t kAny = -1;
  std::optional<UUID> proximityUUID_;
  std::int32_t major_ = kAny;
  std::int32_t minor_ = kAny;
  bool notifyEntryStateOnDisplay_ = false;
};

/// One beacon of a ranging result.
struct CLBeacon {
  UUID proximityUUID;
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  CLProximity proximity = CLProximity::unknown;
  /// Estimated distance; negative without a recent usable signal.
  Metres accuracy{-1};
  /// Filtered signal strength; 0 when unknown.
  Dbm rssi{0};
};

class CLLocationManager;

/// Receives a location manager's events on the main queue. No event arrives after the delegate was
/// replaced or the manager destroyed. Every operation has an empty default.
class CLLocationManagerDelegate {
 public:
  virtual ~CLLocationManagerDelegate() = default;
  /// Called with at least one location, the newest last.
  virtual void didUpdateLocations(CLLocationManager&, const std::vector<CLLocation>&) {}
  virtual void didDetermineState(CLLocationManager&, CLRegionState,
                                 const std::shared_ptr<const CLRegion>&) {}
  virtual void didEnterRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>&) {}
  virtual void didExitRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>&) {}
  /// Called about once a second for each ranged region, the nearest beacon first; the list may be
  /// empty.
  virtual void didRangeBeacons(CLLocationManager&, const std::vector<CLBeacon>&,
                               const std::shared_ptr<const CLRegion>&) {}
  virtual void didStartMonitoringForRegion(CLLocationManager&,
                                           const std::shared_ptr<const CLRegion>&) {}
  virtual void monitoringDidFailForRegion(CLLocationManager&,
                                          const std::shared_ptr<const CLRegion>&, const Error&) {}
  virtual void didFailWithError(CLLocationManager&, const Error&) {}
  virtual void didChangeAuthorizationStatus(CLLocationManager&, CLAuthorizationStatus) {}
};

/// Positions, region monitoring and beacon ranging. Main queue only.
///
/// Monitored regions belong to the application, not to one manager: they and their states survive
/// the manager and the process.
class CLLocationManager {
 public:
  virtual ~CLLocationManager() = default;

  /// Sets the delegate, which is not owned and may be null. Clear it before the delegate is
  /// destroyed.
  virtual void setDelegate(CLLocationManagerDelegate* delegate) = 0;
  virtual void setPausesLocationUpdatesAutomatically(bool flag) = 0;
  virtual void setActivityType(CLActivityType type) = 0;
  /// Minimum distance that the device moves between two standard updates.
  virtual void setDistanceFilter(Metres distance) = 0;

  virtual void startMonitoringSignificantLocationChanges() = 0;
  virtual void stopMonitoringSignificantLocationChanges() = 0;
  virtual void startUpdatingLocation() = 0;
  virtual void stopUpdatingLocation() = 0;
  /// Requests one fix; `didUpdateLocations` or `didFailWithError` follows.
  virtual void requestLocation() = 0;
  /// Returns the last fix; absent before the first.
  virtual std::optional<CLLocation> location() const = 0;

  /// Starts monitoring a region, replacing one of the same identifier.
  /// `didStartMonitoringForRegion` or `monitoringDidFailForRegion` follows, and for a beacon region
  /// its state as soon as it is known.
  virtual void startMonitoringForRegion(std::shared_ptr<const CLRegion> region) = 0;
  virtual void stopMonitoringForRegion(const CLRegion& region) = 0;
  /// `didDetermineState` follows if the region is monitored.
  virtual void requestStateForRegion(const CLRegion& region) = 0;
  /// Returns the monitored regions in the order in which monitoring began.
  virtual std::vector<std::shared_ptr<const CLRegion>> monitoredRegions() const = 0;

  virtual void startRangingBeaconsInRegion(std::shared_ptr<const CLBeaconRegion> region) = 0;
  virtual void stopRangingBeaconsInRegion(const CLBeaconRegion& region) = 0;
};

/// Capabilities of the device's location service. Any thread.
class LocationServices {
 public:
  virtual ~LocationServices() = default;
  virtual CLAuthorizationStatus authorizationStatus() const = 0;
  virtual bool isMonitoringAvailableForCircularRegions() const = 0;
  virtual bool isMonitoringAvailableForBeaconRegions() const = 0;
  virtual std::unique_ptr<CLLocationManager> makeLocationManager() = 0;
};

}  // namespace ks
