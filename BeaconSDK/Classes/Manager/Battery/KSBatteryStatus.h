#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Platform/Api/Platform.h"

/// The key of an advertisement's service data, and the service whose data holds battery levels.
inline constexpr const char* kCBAdvDataServiceData = "kCBAdvDataServiceData";
inline constexpr const char* kCBCBUUID = "D00D";

/// Reads the battery levels of beacons from their advertisements.
///
/// Requested beacons are stored under a key of name, UUID, minor and major, for the lifetime of the
/// monitor. The radio scans only while a stored beacon has no level; every level received meanwhile
/// is kept. Each ranging result requests its beacons again, so a repeated request is recognized
/// without building the key. Main queue only.
class KSBatteryStatus : public ks::CBCentralManagerDelegate {
 public:
  explicit KSBatteryStatus(ks::Platform& platform);

  /// Stores the beacon, unless it is stored or has no key, and starts scanning if needed.
  void requestBatteryForBeacon(const KSPrivateBeacon& beacon);
  /// Returns the level as the beacon sent it, 0 to 255; nothing before the first reading.
  std::optional<std::int64_t> beaconBatteryForBeacon(const KSPrivateBeacon& beacon) const;
  /// Returns name, UUID, minor and major concatenated; absent for a beacon without name or UUID, or
  /// with minor 0.
  static std::optional<std::string> keyForBeacon(const KSPrivateBeacon& beacon);
  /// Returns the level in a beacon's service data, of either layout; nothing for data of another
  /// length.
  static std::optional<std::uint8_t> levelInServiceData(const ks::Data& data);
  ks::CBManagerState radioState() const { return centralManager_->state(); }
  void startScanningIfNeeded();
  void stopScanningIfNeeded();

  void centralManagerDidUpdateState(ks::CBCentralManager& central) override;
  void didDiscoverPeripheral(ks::CBCentralManager& central, const ks::CBPeripheral& peripheral,
                             const ks::Dictionary& advertisementData, ks::Dbm rssi) override;

 private:
  /// What a beacon's key is made of.
  template <class Text>
  struct Identity {
    Text name;
    ks::UUID uuid;
    std::int64_t minor;
    std::int64_t major;
  };
  struct Hash {
    using is_transparent = void;
    template <class Text>
    std::size_t operator()(const Identity<Text>& identity) const {
      return std::hash<std::string_view>{}(identity.name) ^
             std::hash<ks::UUID>{}(identity.uuid) * 3 ^
             static_cast<std::size_t>(identity.minor << 20 ^ identity.major) * 0x9E3779B97F4A7C15U;
    }
  };
  struct Equal {
    using is_transparent = void;
    template <class A, class B>
    bool operator()(const Identity<A>& a, const Identity<B>& b) const {
      return a.minor == b.minor && a.major == b.major && a.uuid == b.uuid && a.name == b.name;
    }
  };
  struct Entry {
    std::string key;
    std::optional<std::uint8_t> level;
  };

  /// Marks the beacon as requested; false when it was before, or has no name or UUID.
  bool isNew(const KSPrivateBeacon& beacon);
  void readTaggedData(const ks::Data& data);
  void readIdentifiedData(const ks::Data& data);
  /// Stores the level in the first entry whose key fits.
  template <class Predicate>
  void storeFirst(Predicate fits, std::uint8_t level);

  boost::unordered_flat_set<Identity<std::string>, Hash, Equal> requested_;
  /// In order of insertion, which decides between beacons that a reading fits.
  std::vector<Entry> entries_;
  std::unordered_map<std::string, std::size_t> indexByKey_;
  /// Entries without a level.
  std::size_t waitingCount_ = 0;
  /// Nothing was received since the scan began, so restarting it would change nothing.
  bool isScanUnheard_ = false;
  std::unique_ptr<ks::CBCentralManager> centralManager_;
};
