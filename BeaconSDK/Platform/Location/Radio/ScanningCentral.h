#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreBluetooth.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {

/// The Bluetooth centrals of a device whose system gives raw advertisements: one radio, any number
/// of centrals that scan on it. Main queue only. Centrals may outlive the radio and are then inert.
class ScanningRadio {
 public:
  /// Called in a task of its own when the first central begins to scan or the last one ends.
  using ScanDemand = std::function<void(bool wanted)>;

  ScanningRadio(DispatchQueue& mainQueue, ScanDemand demandChanged);
  ~ScanningRadio();
  ScanningRadio(const ScanningRadio&) = delete;
  ScanningRadio& operator=(const ScanningRadio&) = delete;

  /// The delegate must outlive the central; it hears the state in a task of its own.
  std::unique_ptr<CBCentralManager> makeCentralManager(CBCentralManagerDelegate& delegate);

  CBManagerState state() const;
  /// Notifies every central. Scans end when the radio is no longer powered on. `unknown` at first.
  void setState(CBManagerState state);
  /// Reports the sender to each scan that looks for a service which the advertisement names or
  /// carries data for, once per scan. A scan remembers the last 4096 senders.
  void handleAdvertisement(const Advertisement& advertisement);
  /// True while any central scans.
  bool isScanWanted() const;

  class Core;

 private:
  std::shared_ptr<Core> core_;
};

}  // namespace ks
