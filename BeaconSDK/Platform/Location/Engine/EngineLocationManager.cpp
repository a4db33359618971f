#include "BeaconSDK/Platform/Location/Engine/EngineLocationManager.h"

#include <utility>

namespace ks {

EngineLocationManager::EngineLocationManager(std::weak_ptr<LocationEngineCore> core)
    : core_(std::move(core)) {
  state_->manager = this;
  if (const auto engine = core_.lock()) engine->addManager(state_);
}

EngineLocationManager::~EngineLocationManager() {
  state_->manager = nullptr;
  state_->delegate = nullptr;
  if (const auto core = core_.lock()) core->removeManager(state_);
}

void EngineLocationManager::setDelegate(CLLocationManagerDelegate* delegate) {
  const auto core = core_.lock();
  if (!core) return;
  state_->delegate = delegate;
  core->delegateChanged(*state_);
}

void EngineLocationManager::wishesChanged() {
  if (const auto core = core_.lock()) core->wishesChanged(state_);
}

void EngineLocationManager::startMonitoringSignificantLocationChanges() {
  if (std::exchange(state_->wantsSignificantChanges, true)) return;
  state_->lastSignificantChange.reset();
  wishesChanged();
}

void EngineLocationManager::stopMonitoringSignificantLocationChanges() {
  state_->wantsSignificantChanges = false;
  wishesChanged();
}

void EngineLocationManager::startUpdatingLocation() {
  if (std::exchange(state_->wantsUpdates, true)) return;
  state_->lastUpdate.reset();
  wishesChanged();
}

void EngineLocationManager::stopUpdatingLocation() {
  state_->wantsUpdates = false;
  wishesChanged();
}

void EngineLocationManager::requestLocation() {
  if (const auto core = core_.lock()) core->requestLocation(state_);
}

std::optional<CLLocation> EngineLocationManager::location() const {
  const auto core = core_.lock();
  return core ? core->lastLocation() : std::nullopt;
}

void EngineLocationManager::startMonitoringForRegion(std::shared_ptr<const CLRegion> region) {
  if (const auto core = core_.lock()) core->startMonitoring(state_, std::move(region));
}

void EngineLocationManager::stopMonitoringForRegion(const CLRegion& region) {
  if (const auto core = core_.lock()) core->stopMonitoring(region.identifier());
}

void EngineLocationManager::requestStateForRegion(const CLRegion& region) {
  if (const auto core = core_.lock()) core->requestState(state_, region.identifier());
}

std::vector<std::shared_ptr<const CLRegion>> EngineLocationManager::monitoredRegions() const {
  std::vector<std::shared_ptr<const CLRegion>> regions;
  const auto core = core_.lock();
  if (!core) return regions;
  for (const auto& [id, entry] : core->regions().all()) regions.push_back(entry->region);
  return regions;
}

void EngineLocationManager::startRangingBeaconsInRegion(
    std::shared_ptr<const CLBeaconRegion> region) {
  if (const auto core = core_.lock()) core->startRanging(state_, std::move(region));
}

void EngineLocationManager::stopRangingBeaconsInRegion(const CLBeaconRegion& region) {
  if (const auto core = core_.lock()) core->stopRanging(*state_, region.identifier());
}

}  // namespace ks
