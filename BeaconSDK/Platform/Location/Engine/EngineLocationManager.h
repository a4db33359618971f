#pragma once

#include <memory>

#include "BeaconSDK/Platform/Location/Engine/LocationEngineCore.h"

namespace ks {

/// A location manager that hands its calls to the engine.
class EngineLocationManager : public CLLocationManager {
 public:
  explicit EngineLocationManager(std::weak_ptr<LocationEngineCore> core);
  ~EngineLocationManager() override;

  void setDelegate(CLLocationManagerDelegate* delegate) override;
  /// The device's source of positions decides by itself.
  void setPausesLocationUpdatesAutomatically(bool) override {}
  void setActivityType(CLActivityType) override {}
  void setDistanceFilter(Metres distance) override { state_->distanceFilter = distance; }

  void startMonitoringSignificantLocationChanges() override;
  void stopMonitoringSignificantLocationChanges() override;
  void startUpdatingLocation() override;
  void stopUpdatingLocation() override;
  void requestLocation() override;
  std::optional<CLLocation> location() const override;

  void startMonitoringForRegion(std::shared_ptr<const CLRegion> region) override;
  void stopMonitoringForRegion(const CLRegion& region) override;
  void requestStateForRegion(const CLRegion& region) override;
  std::vector<std::shared_ptr<const CLRegion>> monitoredRegions() const override;

  void startRangingBeaconsInRegion(std::shared_ptr<const CLBeaconRegion> region) override;
  void stopRangingBeaconsInRegion(const CLBeaconRegion& region) override;

 private:
  void wishesChanged();

  std::shared_ptr<ManagerState> state_ = std::make_shared<ManagerState>();
  std::weak_ptr<LocationEngineCore> core_;
};

}  // namespace ks
