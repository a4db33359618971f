#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Location/Radio/ScanningCentral.h"
#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"
#include "BeaconSDK/Platform/Simulated/SimulatedWorld.h"

namespace ks {

/// The location service and the Bluetooth radio of a device in a simulated world: passes the
/// world's signals to the location engine and the radio while they are demanded. Main queue only.
class SimulatedLocation : private LocationDemandListener, private SimulatedWorldReceiver {
 public:
  /// Monitored regions are stored in `stateFile`.
  SimulatedLocation(Clock& clock, DispatchQueue& mainQueue, Console& console,
                    std::filesystem::path stateFile, SimulatedWorldOptions options);
  SimulatedLocation(const SimulatedLocation&) = delete;
  SimulatedLocation& operator=(const SimulatedLocation&) = delete;

  SimulatedWorld& world() { return world_; }
  LocationEngine& engine() { return engine_; }
  ScanningRadio& radio() { return radio_; }

  void setBluetoothState(CBManagerState state);
  /// Sets the function called with each notice about the input, besides the console; may be null.
  void setNoticeListener(std::function<void(const std::string&)> listener) {
    noticeListener_ = std::move(listener);
  }
  /// Whether the device can monitor circular regions, and beacon regions.
  void setMonitoringAvailable(bool circularRegions, bool beaconRegions);

 private:
  void locationDemandChanged(const LocationDemand& demand) override;
  void noticed(const std::string& text) override;
  void didReceiveAdvertisement(const Advertisement& advertisement) override;
  void didFix(const CLLocation& fix) override;
  void positionLost() override;
  void updateScanning();
  void updateListening();

  Console& console_;
  FileLocationStateStore store_;
  SimulatedWorld world_;
  LocationEngine engine_;
  ScanningRadio radio_;
  std::function<void(const std::string&)> noticeListener_;
  bool beaconsAvailable_ = true;
};

}  // namespace ks
