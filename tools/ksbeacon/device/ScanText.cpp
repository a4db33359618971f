#include "tools/ksbeacon/device/ScanText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/timeline/DecisionText.h"

namespace ks::tool {

namespace {

constexpr const char* kColumns =
    "{:<36} {:>5} {:>5}  {:>5} {:>5}  {:>8}  {:<9}  {:>8}  {:>7}  {:>6}";

template <class T>
std::string numberOr(const std::optional<T>& number, const char* form) {
  return number ? fmt::format(fmt::runtime(form), *number) : "-";
}

std::optional<double> valueOf(const std::optional<Dbm>& strength) {
  return strength ? std::optional(strength->value) : std::nullopt;
}

std::optional<double> secondsOf(const std::optional<Seconds>& span) {
  return span ? std::optional(span->count()) : std::nullopt;
}

Value rounded(const std::optional<double>& number, double steps) {
  return number ? Value(std::round(*number * steps) / steps) : Value(Null{});
}

std::optional<double> distanceOf(const HeardBeacon& beacon) {
  return beacon.distance.value < 0 ? std::nullopt : std::optional(beacon.distance.value);
}

const char* proximityOf(const HeardBeacon& beacon) {
  return proximityInWords(static_cast<std::int64_t>(beacon.proximity));
}

}  // namespace

std::string beaconHeading() {
  return fmt::format(fmt::runtime(kColumns), "UUID", "major", "minor", "RSSI", "raw", "distance",
                     "proximity", "interval", "battery", "seen");
}

std::string beaconLine(const HeardBeacon& beacon) {
  return fmt::format(
      fmt::runtime(kColumns), beacon.frame.proximityUUID.UUIDString(), beacon.frame.major,
      beacon.frame.minor, numberOr(valueOf(beacon.filteredRssi), "{:.0f}"),
      numberOr(valueOf(beacon.rssi), "{:.0f}"), numberOr(distanceOf(beacon), "{:.1f} m"),
      proximityOf(beacon), numberOr(secondsOf(beacon.interval), "{:.2f} s"),
      numberOr(beacon.battery, "{}"), fmt::format("{:.0f} s", beacon.silence.count()));
}

std::string beaconJson(const HeardBeacon& beacon, Date now) {
  return jsonText(Dictionary{{"lastSeen", dateInUTC(now - beacon.silence)},
                             {"uuid", beacon.frame.proximityUUID.UUIDString()},
                             {"major", beacon.frame.major},
                             {"minor", beacon.frame.minor},
                             {"address", beacon.address},
                             {"measuredPower", beacon.frame.measuredPower.value},
                             {"rssi", rounded(valueOf(beacon.filteredRssi), 10)},
                             {"rawRssi", rounded(valueOf(beacon.rssi), 10)},
                             {"distance", rounded(distanceOf(beacon), 100)},
                             {"proximity", proximityOf(beacon)},
                             {"interval", rounded(secondsOf(beacon.interval), 1000)},
                             {"battery", beacon.battery ? Value(*beacon.battery) : Value(Null{})},
                             {"silence", rounded(beacon.silence.count(), 1000)}});
}

std::vector<std::string> beaconTable(const std::vector<HeardBeacon>& beacons, std::size_t rows) {
  std::vector<std::string> lines{beaconHeading() + "\n"};
  const bool fits = beacons.size() + 1 <= rows;
  const std::size_t shown = fits ? beacons.size() : std::max<std::size_t>(rows, 2) - 2;
  for (std::size_t i = 0; i < shown; ++i) lines.push_back(beaconLine(beacons[i]) + "\n");
  if (!fits) lines.push_back(fmt::format("and {} more\n", beacons.size() - shown));
  return lines;
}

}  // namespace ks::tool
