#include "tools/ksbeacon/host/ObservedPlatform.h"

#include <utility>

#include "BeaconSDK/Platform/Api/Diagnostics/CountingLocationServices.h"

namespace ks::tool {

namespace {

/// A manager that passes everything on: calls inward, events to the listener and then outward. The
/// delegate sees this manager, the one it made.
class ObservedManager : public CLLocationManager, private CLLocationManagerDelegate {
 public:
  ObservedManager(std::unique_ptr<CLLocationManager> inner, LocationListener& listener)
      : inner_(std::move(inner)), listener_(listener) {}
  ~ObservedManager() override { inner_->setDelegate(nullptr); }
  ObservedManager(const ObservedManager&) = delete;
  ObservedManager& operator=(const ObservedManager&) = delete;

  void setDelegate(CLLocationManagerDelegate* delegate) override {
    delegate_ = delegate;
    inner_->setDelegate(delegate == nullptr ? nullptr : this);
  }
  void setPausesLocationUpdatesAutomatically(bool flag) override {
    inner_->setPausesLocationUpdatesAutomatically(flag);
  }
  void setActivityType(CLActivityType type) override { inner_->setActivityType(type); }
  void setDistanceFilter(Metres distance) override { inner_->setDistanceFilter(distance); }
  void startMonitoringSignificantLocationChanges() override {
    inner_->startMonitoringSignificantLocationChanges();
  }
  void stopMonitoringSignificantLocationChanges() override {
    inner_->stopMonitoringSignificantLocationChanges();
  }
  void startUpdatingLocation() override { inner_->startUpdatingLocation(); }
  void stopUpdatingLocation() override { inner_->stopUpdatingLocation(); }
  void requestLocation() override { inner_->requestLocation(); }
  std::optional<CLLocation> location() const override { return inner_->location(); }
  void startMonitoringForRegion(std::shared_ptr<const CLRegion> region) override {
    inner_->startMonitoringForRegion(std::move(region));
  }
  void stopMonitoringForRegion(const CLRegion& region) override {
    inner_->stopMonitoringForRegion(region);
  }
  void requestStateForRegion(const CLRegion& region) override {
    inner_->requestStateForRegion(region);
  }
  std::vector<std::shared_ptr<const CLRegion>> monitoredRegions() const override {
    return inner_->monitoredRegions();
  }
  void startRangingBeaconsInRegion(std::shared_ptr<const CLBeaconRegion> region) override {
    inner_->startRangingBeaconsInRegion(std::move(region));
  }
  void stopRangingBeaconsInRegion(const CLBeaconRegion& region) override {
    inner_->stopRangingBeaconsInRegion(region);
  }

 private:
  void didUpdateLocations(CLLocationManager&, const std::vector<CLLocation>& locations) override {
    for (const CLLocation& location : locations) listener_.located(location);
    delegate_->didUpdateLocations(*this, locations);
  }
  void didDetermineState(CLLocationManager&, CLRegionState state,
                         const std::shared_ptr<const CLRegion>& region) override {
    listener_.regionChanged(*region, state);
    delegate_->didDetermineState(*this, state, region);
  }
  void didEnterRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>& region) override {
    delegate_->didEnterRegion(*this, region);
  }
  void didExitRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>& region) override {
    delegate_->didExitRegion(*this, region);
  }
  void didRangeBeacons(CLLocationManager&, const std::vector<CLBeacon>& beacons,
                       const std::shared_ptr<const CLRegion>& region) override {
    if (const auto* ranged = dynamic_cast<const CLBeaconRegion*>(region.get())) {
      listener_.ranged(*ranged, beacons);
    }
    delegate_->didRangeBeacons(*this, beacons, region);
  }
  void didStartMonitoringForRegion(CLLocationManager&,
                                   const std::shared_ptr<const CLRegion>& region) override {
    delegate_->didStartMonitoringForRegion(*this, region);
  }
  void monitoringDidFailForRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>& region,
                                  const Error& error) override {
    listener_.monitoringFailed(region.get(), error);
    delegate_->monitoringDidFailForRegion(*this, region, error);
  }
  void didFailWithError(CLLocationManager&, const Error& error) override {
    listener_.monitoringFailed(nullptr, error);
    delegate_->didFailWithError(*this, error);
  }
  void didChangeAuthorizationStatus(CLLocationManager&, CLAuthorizationStatus status) override {
    delegate_->didChangeAuthorizationStatus(*this, status);
  }

  std::unique_ptr<CLLocationManager> inner_;
  LocationListener& listener_;
  CLLocationManagerDelegate* delegate_ = nullptr;
};

class ObservedServices : public CountingLocationServices {
 public:
  ObservedServices(LocationServices& inner, LocationListener& listener)
      : inner_(inner), listener_(listener) {}

  CLAuthorizationStatus authorizationStatus() const override {
    return inner_.authorizationStatus();
  }
  bool isMonitoringAvailableForCircularRegions() const override {
    return inner_.isMonitoringAvailableForCircularRegions();
  }
  bool isMonitoringAvailableForBeaconRegions() const override {
    return inner_.isMonitoringAvailableForBeaconRegions();
  }
  std::unique_ptr<CLLocationManager> makeLocationManager() override {
    return std::make_unique<ObservedManager>(inner_.makeLocationManager(), listener_);
  }
  std::map<std::string, std::int64_t> counts() const override {
    const auto* const counting = dynamic_cast<const CountingLocationServices*>(&inner_);
    if (counting == nullptr) return {};
    return counting->counts();
  }

 private:
  LocationServices& inner_;
  LocationListener& listener_;
};

}  // namespace

ObservedPlatform::ObservedPlatform(Platform& device, LocationListener& listener)
    : ForwardingPlatform(device),
      clock_(device.clock()),
      locationServices_(std::make_unique<ObservedServices>(device.locationServices(), listener)) {}

bool ObservedPlatform::handle(const std::string& name, const Dictionary& arguments) {
  if (name != "moveClock") return false;
  clock_.jump(Seconds{arguments["by"].doubleValue()});
  return true;
}

}  // namespace ks::tool
