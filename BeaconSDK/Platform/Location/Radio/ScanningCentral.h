#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreBluetooth.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {

/// The Bluetooth centrals of a device whose system gives raw advertisements: one radio with any
/// number of scanning centrals. Main queue only. Centrals may outlive the radio and are then inert.
class ScanningRadio {
 public:
  /// Called in a separate task when the first central starts scanning or the last one stops.
  using ScanDemand = std::function<void(bool wanted)>;

  ScanningRadio(DispatchQueue& mainQueue, ScanDemand demandChanged);
  ~ScanningRadio();
  ScanningRadio(const ScanningRadio&) = delete;
  ScanningRadio& operator=(const ScanningRadio&) = delete;

  /// The delegate must outlive the central; its first state event comes in a separate task.
  std::unique_ptr<CBCentralManager> makeCentralManager(CBCentralManagerDelegate& delegate);

  CBManagerState state() const;
  /// Sets the state and notifies every central. Scans stop when the radio is no longer powered on.
  /// Initially `unknown`.
  void setState(CBManagerState state);
  /// Reports the sender once to each scan for a service that the advertisement lists or carries
  /// data for. A scan remembers the last 4096 senders.
  void handleAdvertisement(const Advertisement& advertisement);
  /// True while any central scans.
  bool isScanWanted() const;

  class Core;

 private:
  std::shared_ptr<Core> core_;
};

}  // namespace ks
