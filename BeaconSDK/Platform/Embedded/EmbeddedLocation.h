#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Location/Radio/ScanningCentral.h"
#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"

namespace ks {

/// The input that the host must supply now; everything else can be switched off.
struct EmbeddedDemand {
  LocationDemand location;
  /// All advertisements are needed, for battery levels of beacons.
  bool peripherals = false;
  friend bool operator==(const EmbeddedDemand&, const EmbeddedDemand&) = default;
};

/// The location service and the Bluetooth radio of a device whose host supplies advertisements and
/// positions. Main queue only. Input during a callback is processed in the next turn.
class EmbeddedLocation : private LocationDemandListener {
 public:
  using DemandHandler = std::function<void(const EmbeddedDemand&)>;

  /// Monitored regions are stored in `stateFile`.
  EmbeddedLocation(Clock& clock, DispatchQueue& mainQueue, Console& console,
                   std::filesystem::path stateFile);
  EmbeddedLocation(const EmbeddedLocation&) = delete;
  EmbeddedLocation& operator=(const EmbeddedLocation&) = delete;

  LocationEngine& engine() { return engine_; }
  ScanningRadio& radio() { return radio_; }

  /// Initially powered on.
  void setBluetoothState(CBManagerState state);
  void handleAdvertisement(const Advertisement& advertisement);
  EmbeddedDemand demand() const;
  /// Sets the function called, in a separate task, when the demand has changed; may be null.
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
