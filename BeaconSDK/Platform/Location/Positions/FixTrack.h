#pragma once

#include <deque>
#include <optional>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Faster than any airliner, in metres a second: a fix that implies more is never told.
inline constexpr double kFastestMove = 350;
/// A device may be this much faster than it was last, in metres a second: a runner's start. What
/// asks for more is believed when a second fix agrees.
inline constexpr double kSpeedGain = 3;
/// The gain counts for so long; after a longer pause, too, one fix alone proves no departure.
inline constexpr Seconds kLongestGain{60};
/// Two fixes that agree on a move may lie as far apart as a car on a motorway gets, in metres a
/// second.
inline constexpr double kMotorwaySpeed = 50;
/// The uncertainty of a fix grows with its age by the usual walk, in metres a second.
inline constexpr double kUncertaintyGrowth = 1.4;
/// Twice the radius that holds 68% of the errors holds 99% of them.
inline constexpr double kSureRadius = 2;
/// Within this time a move must exceed the errors to count as motion.
inline constexpr Seconds kMotionWindow{30};
/// A doubtful fix that no other one denies is believed after this time, or after this many usual
/// pauses between fixes.
inline constexpr Seconds kLeastPatience{20};
inline constexpr double kPatientPauses = 3;

/// A fix that is believed.
struct TrackPoint {
  CLLocationCoordinate2D coordinate;
  /// Radius of 68%, grown with the age.
  Metres uncertainty{0};
  /// The uptime when it was measured.
  Seconds taken{0};
  Date timestamp;
  friend bool operator==(const TrackPoint&, const TrackPoint&) = default;
};

/// From one believed fix to the next.
struct TrackStep {
  /// Absent at the beginning.
  std::optional<TrackPoint> from;
  TrackPoint to;
  /// The device moves by more than the errors explain.
  bool moving = false;
  /// How long it has not.
  Seconds rest{0};
  /// The source says no more than it said before: no evidence of its own.
  bool repeated = false;
};

/// Decides which fixes are believed: a fix must be valid and newer than the last good one, and
/// reachable from it at about the speed that the device had. Any other place is doubtful until a
/// different fix agrees with it, or none denies it for a while. Single spikes, the common fault of
/// positioning services, so change nothing, whatever the pause between fixes.
class FixTrack {
 public:
  enum class Verdict {
    /// Invalid, or older than the last good fix.
    rejected,
    /// Implies an impossible speed: nobody is told yet.
    held,
    /// Possible, but no proof of a crossing yet.
    doubtful,
    accepted,
  };

  struct Finding {
    Verdict verdict = Verdict::rejected;
    /// What is believed now, in order.
    std::vector<TrackStep> steps;
    /// A fix that was held or doubtful was wrong.
    bool denied = false;
  };

  Finding offer(const CLLocation& fix, Seconds uptime, Date now);
  /// The doubtful fix is believed since nothing has denied it; there may be none.
  std::optional<TrackStep> release();
  bool isDoubtful() const { return doubt_.has_value(); }
  Seconds patience() const;

  /// The last believed fix, with the uncertainty that it has by now.
  std::optional<TrackPoint> last(Seconds uptime) const;
  /// Of late, in metres a second; 0 while the errors explain all movement.
  double speed() const { return speed_; }
  /// How long the device has not moved by more than the errors explain.
  Seconds rest(Seconds uptime) const { return uptime - movedAt_; }

 private:
  Verdict doubtVerdict(const TrackPoint& point) const;
  bool isReachable(const TrackPoint& from, const TrackPoint& to, double speed) const;
  bool isExpected(const TrackPoint& point) const;
  bool agreesWithDoubt(const TrackPoint& point) const;
  TrackStep accept(TrackPoint point);
  void learnPause(Seconds uptime);

  /// The believed fixes of the motion window, and at least the last one.
  std::deque<TrackPoint> points_;
  std::optional<TrackPoint> doubt_;
  double speed_ = 0;
  Seconds movedAt_{0};
  std::optional<Seconds> lastOffer_;
  Seconds pause_{0};
};

}  // namespace ks
