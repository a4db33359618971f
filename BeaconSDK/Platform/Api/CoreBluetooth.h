#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/UUID.h"
#include "BeaconSDK/Platform/Api/Units.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// A Bluetooth service identifier as text: "D00D" for a 16-bit one, upper case.
struct CBUUID {
  std::string UUIDString;
  friend auto operator<=>(const CBUUID&, const CBUUID&) = default;
};

enum class CBManagerState : std::int64_t {
  unknown = 0,
  resetting = 1,
  unsupported = 2,
  unauthorized = 3,
  poweredOff = 4,
  poweredOn = 5,
};

/// A device that advertises; the identifier is stable while the scan lasts.
struct CBPeripheral {
  std::string identifier;
};

/// The key of an advertisement's service data: a dictionary from service identifier ("D00D") to
/// bytes.
inline constexpr const char* CBAdvertisementDataServiceDataKey = "kCBAdvDataServiceData";

class CBCentralManager;

/// Receives a central's events on the main queue, none after the central is gone.
class CBCentralManagerDelegate {
 public:
  virtual ~CBCentralManagerDelegate() = default;
  /// Called once soon after the central was created and on every change.
  virtual void centralManagerDidUpdateState(CBCentralManager& central) = 0;
  virtual void didDiscoverPeripheral(CBCentralManager& central, const CBPeripheral& peripheral,
                                     const Dictionary& advertisementData, Dbm rssi) = 0;
};

/// The Bluetooth Low Energy scanner. Main queue only.
class CBCentralManager {
 public:
  virtual ~CBCentralManager() = default;
  virtual CBManagerState state() const = 0;
  virtual bool isScanning() const = 0;
  /// Reports peripherals that advertise one of `services`, each peripheral once per scan. Replaces
  /// a running scan. Does nothing unless powered on.
  virtual void scanForPeripheralsWithServices(const std::vector<CBUUID>& services) = 0;
  virtual void stopScan() = 0;
};

}  // namespace ks
