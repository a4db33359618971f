#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks {

/// Who gives positions.
enum class PositionSource : std::size_t { geoClue, gpsd };

/// The uncertainty of a kept fix grows by this much in a second, in metres: a brisk cyclist.
inline constexpr double kUncertaintyGrowth = 5;
/// A receiver daemon reports every second while it has a fix, so one that has been silent for this
/// long has none.
inline constexpr Seconds kGpsdSilence{10};

/// Which source's fix is told when several give some. By these rules:
///
/// 1. The last fix of each source is kept: of gpsd for `kGpsdSilence`, of GeoClue, which reports
///    changes only, until it is replaced or forgotten.
/// 2. Its uncertainty grows by `kUncertaintyGrowth` for every second of its age.
/// 3. A fix is told when it arrives, unless the kept fix of another source is the more certain at
///    that moment. So a source that falls silent gives way after as many seconds as the
///    difference of the uncertainties asks for.
class PositionChoice {
 public:
  /// True when the fix is to be told. `taken` and `now` are uptimes.
  bool offer(PositionSource source, const CLLocation& fix, Seconds taken, Seconds now);
  void forget(PositionSource source) { kept(source).reset(); }
  /// The most certain fix that is kept.
  std::optional<CLLocation> best(Seconds now) const;

 private:
  struct Kept {
    CLLocation fix;
    Seconds taken{0};
  };
  std::optional<Kept>& kept(PositionSource source) {
    return kept_[static_cast<std::size_t>(source)];
  }
  /// Absent when there is none, or none any more.
  std::optional<double> uncertainty(PositionSource source, Seconds now) const;

  std::array<std::optional<Kept>, 2> kept_;
};

}  // namespace ks
