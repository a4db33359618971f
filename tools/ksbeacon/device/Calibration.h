#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <tuple>
#include <variant>

#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks::tool {

/// What a machine that stands 1 m from a beacon has measured.
struct ReceiverMeasurement {
  BeaconFrame frame;
  std::size_t packets = 0;
  /// Mean strength of the packets, and their standard deviation, in dB.
  Dbm strength{0};
  double deviationDb = 0;
  /// How much stronger than the beacon claims it was received: the receiver's gain.
  Dbm gain() const { return {strength.value - frame.measuredPower.value}; }
};

/// Measures the gain of this machine's receiver from the packets of the nearest beacon, which must
/// stand 1 m away.
class Calibration {
 public:
  /// Enough to tell the mean to 1 dB with the usual noise of 4 dB.
  static constexpr std::size_t kLeastPackets = 20;
  /// The next beacon must be weaker by this much: twice as far away.
  static constexpr double kLeastLeadDb = 6;
  static constexpr std::size_t kMostBeacons = 4096;

  void hear(const Advertisement& advertisement);
  /// The measurement, or why there is none.
  std::variant<ReceiverMeasurement, std::string> result() const;

 private:
  struct Sums {
    BeaconFrame frame;
    std::size_t packets = 0;
    double strength = 0;
    double squares = 0;
    double mean() const { return strength / static_cast<double>(packets); }
    /// Above the claimed power, in dB.
    double excess() const { return mean() - frame.measuredPower.value; }
  };
  std::map<std::tuple<UUID, std::uint16_t, std::uint16_t>, Sums> beacons_;
};

/// "UUID:1:2 claims -59 dBm at 1 m; ..." and the option that says so to `ksbeacon run`.
std::string measurementText(const ReceiverMeasurement& measurement);
/// The same as one JSON object.
std::string measurementJson(const ReceiverMeasurement& measurement);

}  // namespace ks::tool
