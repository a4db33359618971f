#pragma once

#include <memory>
#include <set>
#include <vector>

#include "BeaconSDK/Platform/Location/Positions/CircleIndex.h"
#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"
#include "BeaconSDK/Platform/Location/Regions/RegionReports.h"

namespace ks {

/// A crossing by less than this many times the fix's uncertainty needs more fixes that agree, over
/// at least this time: a device that stands on a border does not flap.
inline constexpr double kClearCrossing = 3;
inline constexpr Seconds kCrossingPatience{10};

/// Decides from fixes which circles the device is in.
///
/// A fix speaks for inside when its whole circle of uncertainty lies inside, for outside when it
/// lies outside, and for nothing otherwise. A fix touches only the circles around it and those that
/// the device was in: the rest is known to be outside without a look.
class CircleMonitor {
 public:
  CircleMonitor(const RegionBook& book, RegionReports& reports) : book_(book), reports_(reports) {}

  void add(const std::shared_ptr<MonitoredRegion>& region);
  void remove(const MonitoredRegion& region);
  void handleFix(const CLLocation& fix, Seconds now);
  /// Looks at one region in the light of a fix; needed where somebody asks for its state.
  void consider(const std::shared_ptr<MonitoredRegion>& region, const CLLocation& fix, Seconds now);
  /// Lets every fix look at a region whose state somebody waits for.
  void attend(const MonitoredRegion& region) { updateAttention(region); }
  bool isEmpty() const { return radii_.empty(); }
  /// Of the smallest circle; there must be one.
  Metres smallestRadius() const { return *radii_.begin(); }

 private:
  void updateAttention(const MonitoredRegion& region);

  const RegionBook& book_;
  RegionReports& reports_;
  CircleIndex index_;
  std::multiset<Metres> radii_;
  /// Circles that every fix has to look at.
  std::set<std::uint64_t> attention_;
};

}  // namespace ks
