#include "BeaconSDK/Classes/Manager/Regions/KSLocationAccess.h"

#include <utility>

namespace {

/// Coarse enough to spare the battery, fine enough for a shop's front yard.
constexpr ks::Metres kDistanceFilter{30.0};

using Kind = ks::RegionActivity::Kind;

}  // namespace

bool KSLocationAccess::isAuthorized() const {
  return services_.authorizationStatus() == ks::CLAuthorizationStatus::authorizedAlways;
}

bool KSLocationAccess::mayMonitorRegions() const {
  if (!services_.isMonitoringAvailableForCircularRegions()) return false;
  if (!services_.isMonitoringAvailableForBeaconRegions()) return false;
  return isAuthorized() ||
         services_.authorizationStatus() == ks::CLAuthorizationStatus::notDetermined;
}

void KSLocationAccess::create() {
  manager_ = services_.makeLocationManager();
  ranged_.clear();
  manager_->setDelegate(&delegate_);
  manager_->setPausesLocationUpdatesAutomatically(false);
  manager_->setActivityType(ks::CLActivityType::other);
  manager_->setDistanceFilter(kDistanceFilter);
  if (!keepsPositions_) return;
  manager_->startMonitoringSignificantLocationChanges();
  manager_->requestLocation();
}

void KSLocationAccess::setKeepsPositions(bool keeps) {
  if (std::exchange(keepsPositions_, keeps) == keeps) return;
  if (!keeps) currentLocation_.reset();
  if (!manager_) return;
  if (keeps) {
    manager_->startMonitoringSignificantLocationChanges();
  } else {
    manager_->stopMonitoringSignificantLocationChanges();
  }
}

void KSLocationAccess::clearDelegate() {
  if (manager_) manager_->setDelegate(nullptr);
}

void KSLocationAccess::stopMonitoringSignificantLocationChanges() {
  if (manager_) manager_->stopMonitoringSignificantLocationChanges();
}

std::optional<ks::CLLocation> KSLocationAccess::serviceLocation() const {
  return manager_ ? manager_->location() : std::nullopt;
}

KSLocationAccess::Regions KSLocationAccess::monitoredRegions() const {
  return manager_ ? manager_->monitoredRegions() : Regions{};
}

void KSLocationAccess::startMonitoring(std::shared_ptr<const ks::CLRegion> region) {
  if (!manager_ || !region) return;
  tell(Kind::monitoringStarted, *region);
  manager_->startMonitoringForRegion(std::move(region));
}

void KSLocationAccess::stopMonitoring(const ks::CLRegion& region) {
  if (!manager_) return;
  tell(Kind::monitoringStopped, region);
  manager_->stopMonitoringForRegion(region);
}

void KSLocationAccess::requestState(const ks::CLRegion& region) {
  if (manager_) manager_->requestStateForRegion(region);
}

void KSLocationAccess::startRanging(std::shared_ptr<const ks::CLBeaconRegion> region) {
  if (!manager_ || !region) return;
  tell(Kind::rangingStarted, *region);
  ranged_.insert(region->identifier());
  manager_->startRangingBeaconsInRegion(std::move(region));
}

void KSLocationAccess::stopRanging(const ks::CLBeaconRegion& region) {
  if (!manager_) return;
  tell(Kind::rangingStopped, region);
  ranged_.erase(region.identifier());
  manager_->stopRangingBeaconsInRegion(region);
}

void KSLocationAccess::tell(Kind kind, const ks::CLRegion& region) const {
  if (const auto observer = observer_.get()) observer->regionActivityChanged({kind, region});
}
