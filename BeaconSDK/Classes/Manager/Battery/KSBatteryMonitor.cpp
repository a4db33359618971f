#include "BeaconSDK/Classes/Manager/Battery/KSBatteryMonitor.h"

void KSBatteryMonitor::create() {
  requested_.clear();
  status_ = std::make_unique<KSBatteryStatus>();
}

void KSBatteryMonitor::requestBatteryForBeacon(const KSPrivateBeacon& beacon) {
  if (!status_) return;
  if (!beacon.name() || !beacon.uuid()) {
    status_->startScanningIfNeeded();
    return;
  }
  const Identity<std::string_view> identity{*beacon.name(), *beacon.uuid(), beacon.minor(),
                                            beacon.major()};
  if (requested_.contains(identity)) {
    status_->startScanningIfNeeded();
    return;
  }
  requested_.insert({*beacon.name(), identity.uuid, identity.minor, identity.major});
  status_->requestBatteryForBeacon(beacon);
}
