#pragma once

#include <functional>
#include <mutex>
#include <utility>

#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatformOptions.h"

namespace ks {

/// The device's identity, from settings that may change at any time. Any thread.
class SimulatedDevice : public UIDevice, public ASIdentifierManager {
 public:
  explicit SimulatedDevice(SimulatedSettings settings) : settings_(std::move(settings)) {}

  /// Returns a copy of the current settings.
  SimulatedSettings settings() const {
    const std::lock_guard lock(mutex_);
    return settings_;
  }
  /// Calls `change` with the settings while holding the lock.
  void change(const std::function<void(SimulatedSettings&)>& change) {
    const std::lock_guard lock(mutex_);
    change(settings_);
  }

  std::string systemVersion() const override { return settings().systemVersion; }
  std::string machine() const override { return settings().machine; }
  UUID identifierForVendor() const override { return settings().identifierForVendor; }
  bool isAdvertisingTrackingEnabled() const override {
    return settings().advertisingTrackingEnabled;
  }
  UUID advertisingIdentifier() const override { return settings().advertisingIdentifier; }

 private:
  mutable std::mutex mutex_;
  SimulatedSettings settings_;
};

}  // namespace ks
