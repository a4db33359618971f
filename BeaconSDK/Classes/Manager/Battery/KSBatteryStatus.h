#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Platform/Api/CoreBluetooth.h"

/// The key of an advertisement's service data, and the service whose data holds battery levels.
inline constexpr const char* kCBAdvDataServiceData = "kCBAdvDataServiceData";
inline constexpr const char* kCBCBUUID = "D00D";

/// Reads the battery levels of beacons from their advertisements.
///
/// A beacon whose level is wanted is filed under a key made of its name, UUID, minor and major. The
/// radio scans only while a filed beacon has no level yet; every level heard meanwhile is kept. The
/// entries live as long as the monitor. Main queue only.
class KSBatteryStatus : public ks::CBCentralManagerDelegate {
 public:
  KSBatteryStatus();

  /// Files the beacon unless it is filed or has no key, and scans when that is needed.
  void requestBatteryForBeacon(const KSPrivateBeacon& beacon);
  /// The level as the beacon sent it, 0 to 255; nothing before the first reading.
  std::optional<std::int64_t> beaconBatteryForBeacon(const KSPrivateBeacon& beacon) const;
  /// Name, UUID, minor and major in a row. A beacon without a name or UUID, or with minor 0, has
  /// none.
  static std::optional<std::string> keyForBeacon(const KSPrivateBeacon& beacon);
  /// The level in a beacon's service data, of either layout; nothing for data of another length.
  static std::optional<std::uint8_t> levelInServiceData(const ks::Data& data);
  void startScanningIfNeeded();
  void stopScanningIfNeeded();

  void centralManagerDidUpdateState(ks::CBCentralManager& central) override;
  void didDiscoverPeripheral(ks::CBCentralManager& central, const ks::CBPeripheral& peripheral,
                             const ks::Dictionary& advertisementData, ks::Dbm rssi) override;

 private:
  struct Entry {
    std::string key;
    std::optional<std::uint8_t> level;
  };

  void readTaggedData(const ks::Data& data);
  void readIdentifiedData(const ks::Data& data);
  /// Stores the level with the first entry whose key fits.
  template <class Predicate>
  void storeFirst(Predicate fits, std::uint8_t level);

  /// In order of insertion, which decides between beacons that a reading fits.
  std::vector<Entry> entries_;
  std::unordered_map<std::string, std::size_t> indexByKey_;
  /// Entries without a level.
  std::size_t waitingCount_ = 0;
  /// Nothing was heard since the scan began, so beginning it again would change nothing.
  bool isScanUnheard_ = false;
  std::unique_ptr<ks::CBCentralManager> centralManager_;
};
