#include "tools/ksbeacon/device/Calibration.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "tools/ksbeacon/output/JsonText.h"

namespace ks::tool {

namespace {

std::string nameOf(const BeaconFrame& frame) {
  return fmt::format("{}:{}:{}", frame.proximityUUID.UUIDString(), frame.major, frame.minor);
}

double rounded(double number) { return std::round(number * 10) / 10; }

}  // namespace

void Calibration::hear(const Advertisement& advertisement) {
  if (!isUsable(advertisement.rssi)) return;
  for (const ManufacturerData& data : advertisement.manufacturerData) {
    const auto frame = readBeaconFrame(data).frame;
    if (!frame) continue;
    const std::tuple identity{frame->proximityUUID, frame->major, frame->minor};
    if (beacons_.size() >= kMostBeacons && !beacons_.contains(identity)) continue;
    Sums& sums = beacons_[identity];
    sums.frame = *frame;
    ++sums.packets;
    sums.strength += advertisement.rssi.value;
    sums.squares += advertisement.rssi.value * advertisement.rssi.value;
  }
}

std::variant<ReceiverMeasurement, std::string> Calibration::result() const {
  std::vector<const Sums*> heard;
  for (const auto& [identity, sums] : beacons_) heard.push_back(&sums);
  if (heard.empty()) return "no beacon was heard";
  std::ranges::sort(heard, std::ranges::greater{}, [](const Sums* sums) { return sums->excess(); });
  const Sums& nearest = *heard.front();
  const std::string name = nameOf(nearest.frame);
  if (nearest.packets < kLeastPackets) {
    return fmt::format("only {} packets of {}, the nearest beacon, came; {} are needed: --for",
                       nearest.packets, name, kLeastPackets);
  }
  if (!isPlausiblePower(nearest.frame.measuredPower)) {
    return fmt::format("{} claims {:.0f} dBm at 1 m, which no beacon has: set it up first", name,
                       nearest.frame.measuredPower.value);
  }
  if (heard.size() > 1 && nearest.excess() - heard[1]->excess() < kLeastLeadDb) {
    return fmt::format("{} and {} are equally near: take one of them away", name,
                       nameOf(heard[1]->frame));
  }
  const double variance =
      nearest.squares / static_cast<double>(nearest.packets) - nearest.mean() * nearest.mean();
  return ReceiverMeasurement{
      nearest.frame, nearest.packets, {nearest.mean()}, std::sqrt(std::max(variance, 0.0))};
}

std::string measurementText(const ReceiverMeasurement& measurement) {
  return fmt::format(
      "{} claims {:.0f} dBm at 1 m; {} packets came with {:.1f} dBm, deviation {:.1f} dB.\n"
      "If it stands 1 m away, this machine's receiver has a gain of {:.1f} dB:\n"
      "  ksbeacon run --receiver-gain {:.1f}",
      nameOf(measurement.frame), measurement.frame.measuredPower.value, measurement.packets,
      measurement.strength.value, measurement.deviationDb, measurement.gain().value,
      measurement.gain().value);
}

std::string measurementJson(const ReceiverMeasurement& measurement) {
  return jsonText(Dictionary{{"uuid", measurement.frame.proximityUUID.UUIDString()},
                             {"major", measurement.frame.major},
                             {"minor", measurement.frame.minor},
                             {"measuredPower", measurement.frame.measuredPower.value},
                             {"packets", static_cast<std::int64_t>(measurement.packets)},
                             {"strength", rounded(measurement.strength.value)},
                             {"deviation", rounded(measurement.deviationDb)},
                             {"receiverGain", rounded(measurement.gain().value)}});
}

}  // namespace ks::tool
