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

/// A half-open interval: `from` is inside, `to` is not.
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
  /// Only for `Layout::name`; truncated or padded with blanks to four letters.
  std::string name{};
  std::uint8_t level = 100;
  /// Time between two advertisements of the level; longer than that of frames, to save the beacon's
  /// battery.
  Seconds interval{10};
};

/// A beacon in the simulated world.
struct SimulatedBeacon {
  CLLocationCoordinate2D coordinate{};
  UUID proximityUUID{};
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  /// Advertised strength at 1 m; also the real one, without a calibration error.
  Dbm measuredPower{-59};
  /// Real less advertised strength.
  Dbm calibrationError{0};
  /// Time between two frames; at least 20 ms, the minimum of the Bluetooth standard.
  Seconds interval{1};
  /// Standard deviation of each received strength: 4 dB is usual indoors.
  Dbm noise{0};
  /// Share of advertisements that are lost, 0 to 1.
  double lossProbability = 0;
  /// Intervals in which the beacon is off.
  std::vector<DateInterval> off{};
  std::optional<SimulatedBattery> battery{};

  bool isOn(Date date) const;
};

/// Returns the raw advertisement of a beacon's frame: flags and manufacturer data, 30 bytes.
Data frameAdvertisement(const SimulatedBeacon& beacon);

/// Returns the raw advertisement of a beacon's battery level: flags and service data, at most 31
/// bytes; empty when it advertises none.
Data batteryAdvertisement(const SimulatedBeacon& beacon);

}  // namespace ks
