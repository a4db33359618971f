#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Units.h"

namespace ks::bench {

/// A packet of a recording. The distance is the true one.
struct RecordedPacket {
  Seconds time{0};
  Dbm rssi{0};
  Metres distance{0};
};

/// What one receiver heard of a beacon in one place, or on one walk.
struct Recording {
  std::string receiver;
  bool walks = false;
  Dbm power{0};
  std::vector<RecordedPacket> packets;

  /// How much weaker than at 1 m the beacon is on average, in dB.
  double meanLossDb(Seconds until = Seconds{1e9}) const;
};

/// Reads the form that recordings/README.md describes; throws `std::runtime_error` for another.
std::vector<Recording> loadRecordings(const std::filesystem::path& file);

/// The recording with that share of its packets lost, and none sooner than `gap` after another.
Recording thinned(const Recording& recording, double lossShare, Seconds gap, std::uint64_t seed);

}  // namespace ks::bench
