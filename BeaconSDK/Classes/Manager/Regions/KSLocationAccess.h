#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"

/// The engine's one location manager, and the device's last position.
///
/// Until the manager is created, and on a device that never permits it, every request is silently
/// dropped and there are no regions.
class KSLocationAccess {
 public:
  using Regions = std::vector<std::shared_ptr<const ks::CLRegion>>;

  /// `delegate` receives the location manager's events.
  KSLocationAccess(ks::LocationServices& services, ks::CLLocationManagerDelegate& delegate,
                   const KSObserverSlot& observer)
      : services_(services), delegate_(delegate), observer_(observer) {}
  KSLocationAccess(const KSLocationAccess&) = delete;
  KSLocationAccess& operator=(const KSLocationAccess&) = delete;
  ~KSLocationAccess() { clearDelegate(); }

  /// True when the user permits positions and regions at all times.
  bool isAuthorized() const;
  /// True when the device can monitor circles and beacons, and the user has not refused it.
  bool mayMonitorRegions() const;

  bool exists() const { return manager_ != nullptr; }
  /// Creates the location manager with the engine's settings, starts following significant changes
  /// and requests one position.
  void create();
  void clearDelegate();
  void stopMonitoringSignificantLocationChanges();

  const std::optional<ks::CLLocation>& currentLocation() const { return currentLocation_; }
  void setCurrentLocation(const std::optional<ks::CLLocation>& location) {
    if (keepsPositions_) currentLocation_ = location;
  }
  /// False drops the position and ignores new ones. Default: true.
  void setKeepsPositions(bool keeps);
  bool keepsPositions() const { return keepsPositions_; }
  /// Returns the location service's own position, which may be newer than the last one reported.
  std::optional<ks::CLLocation> serviceLocation() const;

  Regions monitoredRegions() const;
  void startMonitoring(std::shared_ptr<const ks::CLRegion> region);
  void stopMonitoring(const ks::CLRegion& region);
  void requestState(const ks::CLRegion& region);
  void startRanging(std::shared_ptr<const ks::CLBeaconRegion> region);
  void stopRanging(const ks::CLBeaconRegion& region);
  bool isRanging(const std::string& regionIdentifier) const {
    return ranged_.contains(regionIdentifier);
  }

 private:
  void tell(ks::RegionActivity::Kind kind, const ks::CLRegion& region) const;

  ks::LocationServices& services_;
  ks::CLLocationManagerDelegate& delegate_;
  const KSObserverSlot& observer_;
  std::unique_ptr<ks::CLLocationManager> manager_;
  /// Identifiers of the ranged regions.
  std::set<std::string> ranged_;
  std::optional<ks::CLLocation> currentLocation_;
  bool keepsPositions_ = true;
};

namespace ks {

/// The region as a beacon region, or null.
inline std::shared_ptr<const CLBeaconRegion> asBeaconRegion(
    const std::shared_ptr<const CLRegion>& region) {
  return std::dynamic_pointer_cast<const CLBeaconRegion>(region);
}

/// The region as a circle, or null.
inline std::shared_ptr<const CLCircularRegion> asCircularRegion(
    const std::shared_ptr<const CLRegion>& region) {
  return std::dynamic_pointer_cast<const CLCircularRegion>(region);
}

}  // namespace ks
