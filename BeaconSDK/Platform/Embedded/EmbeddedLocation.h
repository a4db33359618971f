#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Location/Radio/ScanningCentral.h"
#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"

namespace ks {

/// What the host should listen for right now; everything else can sleep.
struct EmbeddedDemand {
  LocationDemand location;
  /// Advertisements of all kinds are wanted, for beacons' battery levels.
  bool peripherals = false;
  friend bool operator==(const EmbeddedDemand&, const EmbeddedDemand&) = default;
};

/// The location service and the Bluetooth radio of a device whose host hears and knows where it is.
/// Main queue only. Input that arrives while the library calls back is taken in the next turn.
class EmbeddedLocation : private LocationDemandListener {
 public:
  using DemandHandler = std::function<void(const EmbeddedDemand&)>;

  /// Monitored regions are kept in `stateFile`.
  EmbeddedLocation(Clock& clock, DispatchQueue& mainQueue, Console& console,
                   std::filesystem::path stateFile);
  EmbeddedLocation(const EmbeddedLocation&) = delete;
  EmbeddedLocation& operator=(const EmbeddedLocation&) = delete;

  LocationEngine& engine() { return engine_; }
  ScanningRadio& radio() { return radio_; }

  /// Powered on at first.
  void setBluetoothState(CBManagerState state);
  void handleAdvertisement(const Advertisement& advertisement);
  EmbeddedDemand demand() const;
  /// Called in a task of its own when the demand has changed; null for none.
  void setDemandHandler(DemandHandler handler) { handler_ = std::move(handler); }

 private:
  void locationDemandChanged(const LocationDemand& demand) override;
  void noticed(const std::string& text) override { console_.log(text); }
  void tell() const;

  Console& console_;
  FileLocationStateStore store_;
  DemandHandler handler_;
  LocationEngine engine_;
  ScanningRadio radio_;
};

}  // namespace ks
