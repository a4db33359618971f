#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/UUID.h"
#include "BeaconSDK/Platform/Api/Units.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// From a moment up to, not including, another.
struct DateInterval {
  Date from;
  Date to;
  bool contains(Date date) const { return date >= from && date < to; }
  friend bool operator==(const DateInterval&, const DateInterval&) = default;
};

/// The battery level that a beacon advertises beside its frame, as data of the service "D00D".
struct SimulatedBattery {
  enum class Layout {
    /// The first four letters of the beacon's name, two unused bytes, the level.
    name,
    /// An unused byte, the proximity UUID, major and minor big-endian, two unused bytes, the level.
    identity,
  };
  Layout layout = Layout::identity;
  /// Only for `Layout::name`; cut or padded with blanks to four letters.
  std::string name{};
  std::uint8_t level = 100;
  /// Between two advertisements of the level: rarer than frames, for the beacon's battery's sake.
  Seconds interval{10};
};

/// A beacon in the simulated world.
struct SimulatedBeacon {
  CLLocationCoordinate2D coordinate{};
  UUID proximityUUID{};
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  /// The strength at 1 m that the beacon claims and, unless it is badly calibrated, has.
  Dbm measuredPower{-59};
  /// How much stronger the beacon really is than it claims.
  Dbm calibrationError{0};
  /// Between two frames; at least 20 ms, the shortest that the radio's standard allows.
  Seconds interval{1};
  /// Standard deviation of each received strength: 4 dB is usual indoors.
  Dbm noise{0};
  /// The share of advertisements that are lost, 0 to 1.
  double lossProbability = 0;
  /// When it is off; at all other times it advertises.
  std::vector<DateInterval> off{};
  std::optional<SimulatedBattery> battery{};

  bool isOn(Date date) const;
};

/// The raw advertisement of a beacon's frame: flags and manufacturer data, 30 bytes.
Data frameAdvertisement(const SimulatedBeacon& beacon);

/// The raw advertisement of a beacon's battery level: flags and service data, at most 31 bytes;
/// empty when it advertises none.
Data batteryAdvertisement(const SimulatedBeacon& beacon);

}  // namespace ks
