#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "BeaconSDK/Platform/Location/ManagerList.h"
#include "BeaconSDK/Platform/Location/Positions/PositionDemand.h"

namespace ks {

/// A significant change is a move of this far, or of the fix's uncertainty where that is more:
/// about the reach of one radio cell in a town.
inline constexpr Metres kSignificantChange{500};
/// A fix this young answers a request for one at once.
inline constexpr Seconds kFreshFix{10};
/// Longer than a satellite receiver takes to start from nothing, mostly.
inline constexpr Seconds kOneFixTimeout{30};
/// The uncertainty wanted for standard updates and single fixes.
inline constexpr Metres kBestAccuracy{10};
/// A significant change may be noticed this late.
inline constexpr Seconds kSignificantInterval{60};

/// Hands fixes to the managers that want them.
class LocationUpdates {
 public:
  /// `demandChanged` is called when a request has ended by itself.
  LocationUpdates(Clock& clock, DispatchQueue& queue, const ManagerList& managers,
                  std::function<void()> demandChanged)
      : clock_(clock),
        queue_(queue),
        managers_(managers),
        demandChanged_(std::move(demandChanged)) {}

  void handleFix(const CLLocation& fix);
  /// The error goes to those who wait for one fix, which ends their request, and to those who want
  /// standard updates.
  void fail(const Error& error);
  /// The answer comes in a task of its own, or with the next fix.
  void requestOne(const std::shared_ptr<ManagerState>& manager);
  const std::optional<CLLocation>& last() const { return last_; }
  /// Of all managers together; absent while none wants positions.
  std::optional<PositionWish> wish() const;

 private:
  Clock& clock_;
  DispatchQueue& queue_;
  const ManagerList& managers_;
  std::function<void()> demandChanged_;
  std::optional<CLLocation> last_;
  Seconds lastUptime_{0};
};

}  // namespace ks
