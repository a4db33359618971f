#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Location/Positions/CircleIndex.h"
#include "BeaconSDK/Platform/Location/Positions/FixTrack.h"
#include "BeaconSDK/Platform/Location/Positions/PositionDemand.h"
#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"
#include "BeaconSDK/Platform/Location/Regions/RegionReports.h"

namespace ks {

/// A crossing by this many times the fix's uncertainty is clear.
inline constexpr double kClearCrossing = 3;
/// While the device hardly gets on between two fixes, fixes that amount to this many uncertainties
/// together decide.
inline constexpr double kMovingEvidence = 2;
/// A moving device passes through a circle when one fix lies inside and the mean of the last fixes,
/// those within four uncertainties, no farther outside than this share of the uncertainty: a
/// single fix says little where others lie beside it.
inline constexpr double kPassingDoubt = 0.75;
inline constexpr double kPassingReach = 4;
inline constexpr std::size_t kMostRecent = 8;
/// Fixes that amount to this many uncertainties outside end a passage that was not one.
inline constexpr double kGivenUp = 3;
/// At rest, fixes must agree on an unclear crossing for a thirtieth of the rest, but at least and
/// at most for this long: a device that stands on a border does not flap.
inline constexpr double kPatienceShare = 1.0 / 30;
inline constexpr Seconds kCrossingPatience{10};
inline constexpr Seconds kLongestPatience{60};
/// When the source only repeats itself, after this time.
inline constexpr Seconds kRepeatPatience{30};
/// The way between two fixes counts as straight for this long.
inline constexpr Seconds kLongestPath{60};
/// So many fixes within a circle that is smaller than their uncertainty prove that it is too small.
inline constexpr int kVagueVisits = 5;

/// Decides from the device's track which circles it is in.
///
/// A fix speaks for inside when its whole circle of uncertainty lies inside, for outside when it
/// lies outside. At rest two different fixes must speak for a crossing, at once when it is clear,
/// for some time when not. While the device moves, evidence adds up, and the farther it gets
/// between two fixes the less is asked for: when the way exceeds both uncertainties, the more
/// likely side decides, and the way itself counts for circles that it crosses. A step touches only
/// the circles around it and those that the device was in.
class CircleMonitor {
 public:
  using TooSmall = std::function<void(const CLCircularRegion& circle, Metres uncertainty)>;

  /// `tooSmall` is called once for each circle that the device stood in and that is smaller than
  /// the uncertainty there, so that it cannot be entered.
  CircleMonitor(const RegionRegistry& book, RegionReports& reports, TooSmall tooSmall)
      : book_(book), reports_(reports), tooSmall_(std::move(tooSmall)) {}

  void add(const std::shared_ptr<MonitoredRegion>& region);
  void remove(const MonitoredRegion& region);
  void handleStep(const TrackStep& step, Seconds now);
  /// Looks at one region in the light of a step; needed where somebody asks for its state.
  void consider(const std::shared_ptr<MonitoredRegion>& region, const TrackStep& step, Seconds now);
  /// Lets every step look at a region whose state somebody waits for.
  void attend(const MonitoredRegion& region) { updateAttention(region); }
  bool isEmpty() const { return count_ == 0; }
  /// A crossing waits for more fixes.
  bool isUndecided() const { return !pending_.empty(); }
  /// Seen from there; at most `kFarthestBorder` away.
  NearestBorder nearestBorder(CLLocationCoordinate2D place) const;

 private:
  /// What speaks for a crossing that is not decided.
  struct Evidence {
    /// Depths beyond the border, as shares of their uncertainties.
    double weight = 0;
    int speaking = 0;
    /// When the first one spoke.
    Seconds since{0};
  };

  void judge(const std::shared_ptr<MonitoredRegion>& region, const TrackStep& step, Metres depth,
             Seconds now);
  bool passes(const MonitoredRegion& region, const TrackStep& step, Metres depth) const;
  bool isDecided(const MonitoredRegion& region, const Evidence& evidence, const TrackStep& step,
                 Metres depth, Seconds now) const;
  void stay(const std::shared_ptr<MonitoredRegion>& region, const TrackStep& step, Metres depth);
  void cross(const std::shared_ptr<MonitoredRegion>& region, CLRegionState state);
  void noteVague(const MonitoredRegion& region, Metres uncertainty);
  void updateAttention(const MonitoredRegion& region);

  const RegionRegistry& book_;
  RegionReports& reports_;
  TooSmall tooSmall_;
  CircleIndex index_;
  std::size_t count_ = 0;
  /// Circles that every step has to look at.
  std::set<std::uint64_t> attention_;
  std::unordered_map<std::uint64_t, Evidence> pending_;
  /// Where the last fixes were, the newest at the end.
  std::deque<CLLocationCoordinate2D> recent_;
  /// The circles of the step that is handled; kept for its memory.
  std::vector<std::uint64_t> touched_;
  /// Vague fixes within circles that are too small for them.
  std::unordered_map<std::uint64_t, int> vague_;

  /// The last answer about the nearest border, which holds for a while around its place.
  struct Surroundings {
    CLLocationCoordinate2D place;
    NearestBorder border;
  };
  mutable std::optional<Surroundings> surroundings_;
};

}  // namespace ks
