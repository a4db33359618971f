#pragma once

#include <functional>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks {

/// The least uncertainty that is believed, in metres. GeoClue says 0 for an HDOP up to 1, 1 up to 2
/// and 3 up to 5, and a satellite receiver without correction data errs by 5 m at an HDOP of 1.
inline constexpr double kLeastUncertainty = 5;

/// One fix as a source gives it.
struct PositionReport {
  CLLocationCoordinate2D coordinate;
  Metres horizontalAccuracy{kLeastUncertainty};
  /// How long ago it was taken.
  Seconds age{0};
  friend bool operator==(const PositionReport&, const PositionReport&) = default;
};

/// Absent when the values name no place on earth; an uncertainty below the least, or one that is
/// not known, becomes the least.
std::optional<PositionReport> positionReport(double latitude, double longitude, double uncertainty);

/// How a source of positions stands.
struct PositionSourceStatus {
  enum class Stage {
    /// Not asked for anything.
    idle,
    starting,
    /// Works; fixes come when it has some.
    ready,
    /// Missing, broken or refused; used as soon as that changes.
    unusable,
  };
  Stage stage = Stage::idle;
  /// "GeoClue waits for an agent".
  std::string detail;
  /// The one command or setting that mends it.
  std::string mend;
  friend bool operator==(const PositionSourceStatus&, const PositionSourceStatus&) = default;
};

/// Called on the main thread, never from within a call to the source.
struct PositionSourceListener {
  std::function<void(const PositionReport&)> reported;
  std::function<void()> statusChanged;
};

}  // namespace ks
