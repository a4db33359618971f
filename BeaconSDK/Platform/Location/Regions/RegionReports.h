#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Location/ManagerList.h"
#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"

namespace ks {

/// Turns what was found out about regions into events.
class RegionReports {
 public:
  /// `stateChanged` is called when the application has been told of a new state.
  RegionReports(const ManagerList& managers,
                std::function<void(const MonitoredRegion& region)> stateChanged)
      : managers_(managers), stateChanged_(std::move(stateChanged)) {}

  /// There is evidence for `state`. Reports a crossing, the first state of a beacon region, and
  /// answers who asked; waits for a delegate while there is none.
  void found(const std::shared_ptr<MonitoredRegion>& region, CLRegionState state);
  /// Tells those who asked, and nobody else.
  void answer(const std::shared_ptr<MonitoredRegion>& region, CLRegionState state);
  /// Tells every delegate, without a crossing.
  void remind(const std::shared_ptr<MonitoredRegion>& region);
  /// A delegate has come: reports what has waited for one.
  void flush();

 private:
  void report(const std::shared_ptr<MonitoredRegion>& region);

  const ManagerList& managers_;
  std::function<void(const MonitoredRegion& region)> stateChanged_;
  std::vector<std::shared_ptr<MonitoredRegion>> waiting_;
};

}  // namespace ks
