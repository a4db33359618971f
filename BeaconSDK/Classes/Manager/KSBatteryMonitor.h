#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "BeaconSDK/Classes/Manager/KSBatteryStatus.h"

/// The engine's battery readings. Until the first start there is no radio: requests are dropped and
/// no level is known. Each start begins with an empty table.
class KSBatteryMonitor {
 public:
  void create() { status_ = std::make_unique<KSBatteryStatus>(); }
  void requestBatteryForBeacon(const KSPrivateBeacon& beacon) {
    if (status_) status_->requestBatteryForBeacon(beacon);
  }
  std::optional<std::int64_t> beaconBatteryForBeacon(const KSPrivateBeacon& beacon) const {
    return status_ ? status_->beaconBatteryForBeacon(beacon) : std::nullopt;
  }

 private:
  std::unique_ptr<KSBatteryStatus> status_;
};
