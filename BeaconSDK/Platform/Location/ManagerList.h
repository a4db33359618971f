#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

/// What the engine knows of one location manager; outlives it while a task still refers to it.
struct ManagerState {
  /// Null when the manager is gone.
  CLLocationManager* manager = nullptr;
  CLLocationManagerDelegate* delegate = nullptr;

  Metres distanceFilter{0};
  bool wantsUpdates = false;
  bool wantsSignificantChanges = false;
  bool wantsOneFix = false;
  Wakeup oneFixTimeout;
  /// Where the device was when updates of either kind were last reported.
  std::optional<CLLocationCoordinate2D> lastUpdate;
  std::optional<CLLocationCoordinate2D> lastSignificantChange;

  /// Calls `event(manager, delegate)` while both are there.
  template <class Event>
  void tell(Event event) {
    if (manager != nullptr && delegate != nullptr) event(*manager, *delegate);
  }
};

/// All living managers in the order in which they were made.
class ManagerList {
 public:
  void add(std::shared_ptr<ManagerState> state) { states_.push_back(std::move(state)); }
  void remove(const ManagerState& state) {
    std::erase_if(states_, [&](const auto& entry) { return entry.get() == &state; });
  }
  /// A copy: callbacks may make and destroy managers.
  std::vector<std::shared_ptr<ManagerState>> all() const { return states_; }
  bool hasDelegate() const {
    return std::any_of(states_.begin(), states_.end(),
                       [](const auto& state) { return state->delegate != nullptr; });
  }

 private:
  std::vector<std::shared_ptr<ManagerState>> states_;
};

}  // namespace ks
