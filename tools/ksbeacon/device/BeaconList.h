#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"
#include "BeaconSDK/Platform/Location/Radio/BeaconMemory.h"

namespace ks::tool {

/// What is known of a beacon that was heard.
struct HeardBeacon {
  BeaconFrame frame;
  /// The sender of the last packet, as "AA:BB:CC:DD:EE:FF".
  std::string address;
  /// Of the last packet with a usable strength, as it came; absent before that.
  std::optional<Dbm> rssi;
  /// Smoothed; absent when it is too old to be believed.
  std::optional<Dbm> filteredRssi;
  /// From the smoothed strength; -1 while that is unknown.
  Metres distance{-1};
  CLProximity proximity = CLProximity::unknown;
  /// The mean time between packets; absent while only one is known.
  std::optional<Seconds> interval;
  /// As the beacon sends it, 0 to 255; absent until it does.
  std::optional<int> battery;
  /// Since the last packet.
  Seconds silence{0};
};

/// The beacons around, whoever owns them. Holds at most `kMostBeacons`, and each until it was
/// silent for `kMemory`.
class BeaconList {
 public:
  static constexpr std::size_t kMostBeacons = 4096;
  static constexpr Seconds kMemory{60};

  /// How much stronger than usual the receiver is, in dB: less in what comes from now on.
  void setReceiverGain(Dbm gain) { gain_ = gain; }
  /// Only beacons of this UUID are kept; absent: all.
  void setUUID(std::optional<UUID> uuid) { uuid_ = uuid; }
  /// `now` never goes back; the packet came the advertisement's age before.
  void hear(const Advertisement& advertisement, Seconds now);
  /// The nearest first, those of unknown distance last. Forgets silent ones.
  std::vector<HeardBeacon> beacons(Seconds now);

 private:
  using Identity = std::tuple<UUID, std::uint16_t, std::uint16_t>;
  struct Entry {
    HeardBeacon beacon;
    BeaconMemory memory;
  };
  HeardBeacon describe(const Entry& entry, Seconds now) const;
  void forget(Seconds now);

  Dbm gain_{0};
  std::optional<UUID> uuid_;
  std::map<Identity, Entry> entries_;
  /// Battery levels by sender: they may come in packets of their own.
  std::map<std::string, int> batteries_;
};

}  // namespace ks::tool
