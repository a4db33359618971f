#include "bench/filters/Recordings.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "BeaconSDK/Platform/Simulated/SplitMix64.h"

namespace ks::bench {

namespace {

/// A new recording from its first line; `distance` is that of a standing one.
Recording begin(std::istringstream& line, Metres& distance) {
  Recording recording;
  std::string kind;
  std::string track;
  line >> kind >> recording.receiver;
  recording.walks = kind == "walking";
  if (recording.walks) {
    line >> track;
  } else {
    line >> distance.value;
  }
  line >> recording.power.value;
  return recording;
}

}  // namespace

double Recording::meanLossDb(Seconds until) const {
  double sum = 0;
  double count = 0;
  for (const auto& packet : packets) {
    if (packet.time > until || !isUsable(packet.rssi)) continue;
    sum += power.value - packet.rssi.value;
    ++count;
  }
  return sum / count;
}

std::vector<Recording> loadRecordings(const std::filesystem::path& file) {
  std::ifstream in(file);
  std::vector<Recording> recordings;
  Metres distance{0};
  Seconds time{0};
  for (std::string text; std::getline(in, text);) {
    std::istringstream line(text);
    if (text.starts_with("standing") || text.starts_with("walking")) {
      recordings.push_back(begin(line, distance));
      time = Seconds{0};
    } else {
      double milliseconds = 0;
      double rssi = 0;
      double centimetres = 0;
      line >> milliseconds >> rssi;
      if (!line || recordings.empty()) throw std::runtime_error("no recording: " + file.string());
      time += Seconds{milliseconds / 1000};
      if (line >> centimetres) distance = {centimetres / 100};
      recordings.back().packets.push_back({time, {rssi}, distance});
    }
  }
  if (recordings.empty()) throw std::runtime_error("no recordings in " + file.string());
  return recordings;
}

Recording thinned(const Recording& recording, double lossShare, Seconds gap, std::uint64_t seed) {
  SplitMix64 random(SplitMix64::mix(seed));
  Recording result = recording;
  result.packets.clear();
  Seconds next{0};
  for (const auto& packet : recording.packets) {
    if (packet.time < next) continue;
    next = packet.time + gap;
    if (random.uniform() >= lossShare) result.packets.push_back(packet);
  }
  return result;
}

}  // namespace ks::bench
