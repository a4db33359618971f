#pragma once

#include <optional>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks {

/// Faster than any airliner, in metres a second: a fix that implies more is a jump.
inline constexpr double kFastestMove = 350;
/// A jump that no later fix denies is believed after this time.
inline constexpr Seconds kJumpPatience{10};

/// Keeps fixes out that cannot be true: invalid ones, and single jumps across the map that some
/// positioning services report with a small uncertainty.
class FixGate {
 public:
  enum class Verdict { accepted, held, rejected };

  /// `accepted`: the fix is good. `held`: it is a jump from the last good one; it stands when the
  /// next fix is near it, or when `release` is called.
  Verdict offer(const CLLocation& fix, Seconds uptime);
  /// The held fix, which counts as good from now on.
  std::optional<CLLocation> release();

 private:
  struct Timed {
    CLLocation fix;
    Seconds uptime{0};
  };
  static bool isReachable(const Timed& from, const Timed& to);

  std::optional<Timed> good_;
  std::optional<Timed> held_;
};

}  // namespace ks
