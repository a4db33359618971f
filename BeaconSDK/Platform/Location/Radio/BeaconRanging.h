#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Location/ManagerList.h"
#include "BeaconSDK/Platform/Location/Radio/BeaconTable.h"

namespace ks {

/// Reports the beacons of the ranged regions once a second.
class BeaconRanging {
 public:
  BeaconRanging(Clock& clock, DispatchQueue& queue, BeaconTable& table)
      : clock_(clock), queue_(queue), table_(table) {}

  /// A ranged region of the same manager and identifier is replaced.
  void start(const std::shared_ptr<ManagerState>& manager,
             std::shared_ptr<const CLBeaconRegion> region);
  void stop(const ManagerState& manager, const std::string& identifier);
  void stopAll(const ManagerState& manager);
  /// Nothing is reported while the device must not or cannot listen.
  void setAllowed(bool allowed);
  bool isWanted() const { return allowed_ && !ranged_.empty(); }

 private:
  struct Ranged {
    std::shared_ptr<ManagerState> manager;
    std::shared_ptr<const CLBeaconRegion> region;
    bool active = true;
  };

  template <class Predicate>
  void stopIf(Predicate predicate);
  void end(Ranged& ranged);
  void updateTimer();
  void tick();
  std::vector<CLBeacon> beaconsIn(const CLBeaconRegion& region) const;

  Clock& clock_;
  DispatchQueue& queue_;
  BeaconTable& table_;
  std::vector<std::shared_ptr<Ranged>> ranged_;
  bool allowed_ = false;
  Seconds nextTick_{0};
  Wakeup timer_;
};

}  // namespace ks
