#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZAdapter.h"
#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZDevices.h"
#include "BeaconSDK/Platform/Linux/Bus/LinuxServiceContext.h"
#include "BeaconSDK/Platform/Linux/Bus/RetryPause.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"
#include "BeaconSDK/Platform/Location/Radio/ScanningCentral.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

/// The Bluetooth radio by way of the machine's Bluetooth daemon: every adapter that is powered
/// listens.
///
/// Nothing is asked of the daemon while nobody listens; only its adapters are followed. While
/// somebody does, one subscription follows all devices.
class BlueZRadio {
 public:
  explicit BlueZRadio(const LinuxServiceContext& context);

  /// Called once after the radio was made and on every change.
  void locationDemandChanged(const LocationDemand& demand);
  ServiceState state() const;
  /// The centrals may outlive the radio and are then inert.
  std::unique_ptr<CBCentralManager> makeCentralManager(CBCentralManagerDelegate& delegate);

  /// `unsupported` without a daemon or adapter, `resetting` while the daemon that was there is
  /// away, `unauthorized` when the bus refuses, `unknown` until it has answered. A daemon that has
  /// just come has 3 s to find an adapter.
  CBManagerState managerState() const;

 private:
  enum class Daemon {
    /// Nothing was heard of it yet.
    unknown,
    /// It is not there, and was not since the start.
    absent,
    /// It was there.
    gone,
    /// It is there and does not answer.
    silent,
    /// The bus does not let this process talk to it.
    refused,
    known,
  };

  void presenceChanged(bool present);
  void readObjects();
  void objectsRead(GVariant* reply, const GError* error);
  void objectAppeared(std::string_view path, GVariant* interfaces);
  void objectDisappeared(std::string_view path, GVariant* interfaces);
  void adapterChanged(std::string_view path, GVariant* properties);
  void deviceChanged(std::string_view path, GVariant* properties, GVariant* dropped);
  void deviceFound(std::string_view path);
  void report(const Advertisement& advertisement);
  BlueZAdapter* adapterAt(std::string_view path);
  BlueZAdapter* addAdapter(std::string_view path);

  void wishesChanged();
  void followDevices(bool follow);
  void update();
  bool anyAdapter(bool (*property)(const BlueZAdapter&)) const;
  ServiceState poweredState() const;

  DispatchQueue& queue_;
  Console& console_;
  LocationEngine& location_;
  ScanningRadio scanning_;

  Daemon daemon_ = Daemon::unknown;
  bool beaconsWanted_ = false;
  bool everythingWanted_ = false;
  RadioListening listening_ = RadioListening::none;
  BlueZDevices devices_;
  /// Zero while there is none.
  std::uint64_t deviceSignals_ = 0;
  bool reading_ = false;
  bool readAgain_ = false;
  RetryPause retryPause_;
  Wakeup retry_;
  /// Armed while the daemon may still be looking for adapters.
  Wakeup adapterGrace_;
  bool wasKnown_ = false;
  ServiceState told_;

  BusService service_;
  /// By object path; they use the service.
  std::map<std::string, std::shared_ptr<BlueZAdapter>, std::less<>> adapters_;
};

}  // namespace ks
