#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Location/Engine/LocationCounters.h"
#include "BeaconSDK/Platform/Location/Engine/LocationDemand.h"
#include "BeaconSDK/Platform/Location/ManagerList.h"
#include "BeaconSDK/Platform/Location/Positions/CircleMonitor.h"
#include "BeaconSDK/Platform/Location/Positions/FixTrack.h"
#include "BeaconSDK/Platform/Location/Positions/LocationUpdates.h"
#include "BeaconSDK/Platform/Location/Radio/BeaconPresence.h"
#include "BeaconSDK/Platform/Location/Radio/BeaconRanging.h"
#include "BeaconSDK/Platform/Location/Radio/BeaconTable.h"
#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"
#include "BeaconSDK/Platform/Location/Regions/RegionKeeper.h"
#include "BeaconSDK/Platform/Location/Regions/RegionReports.h"

namespace ks {

/// How long an explicit question for a state may stay open; then the answer is `unknown`.
inline constexpr Seconds kStateRequestTimeout{40};

/// The rooms of the location engine and what goes on between them. Managers hold it weakly: when it
/// is gone they do nothing.
class LocationEngineCore : public std::enable_shared_from_this<LocationEngineCore> {
 public:
  LocationEngineCore(Clock& clock, DispatchQueue& queue, LocationStateStore& store,
                     LocationDemandListener& listener);
  void restore();
  /// Saves, and ends everything that could call back.
  void close();

  void addManager(const std::shared_ptr<ManagerState>& manager) { managers_.add(manager); }
  void removeManager(const std::shared_ptr<ManagerState>& manager);
  void delegateChanged(const ManagerState& manager);
  /// What the manager wants of locations has changed.
  void wishesChanged(const std::shared_ptr<ManagerState>& manager);
  void requestLocation(const std::shared_ptr<ManagerState>& manager);
  const std::optional<CLLocation>& lastLocation() const { return updates_.last(); }
  void startMonitoring(const std::shared_ptr<ManagerState>& manager,
                       std::shared_ptr<const CLRegion> region);
  void stopMonitoring(const std::string& identifier);
  void requestState(const std::shared_ptr<ManagerState>& manager, const std::string& identifier);
  const RegionRegistry& regions() const { return book_; }
  void startRanging(const std::shared_ptr<ManagerState>& manager,
                    std::shared_ptr<const CLBeaconRegion> region);
  void stopRanging(const ManagerState& manager, const std::string& identifier);

  void setAuthorizationStatus(CLAuthorizationStatus status);
  void setBeaconScanningAvailable(bool available);
  void setBeaconScanningPaused(bool paused);
  bool isBeaconScanningPaused() const { return scanningPaused_; }
  void setReceiverGain(Dbm gain) { gain_ = gain; }
  Dbm receiverGain() const { return gain_; }
  /// The packet's time is its age here.
  void handleBeacon(BeaconPacket packet);
  void handleFix(const CLLocation& fix);
  void positionFailed(const Error& error);
  void handleDisplayOn();
  LocationDemand demand() const;
  void setAdvertisementListener(AdvertisementListener listener);
  void tellListener(const Advertisement& advertisement) const {
    if (advertisementListener_) advertisementListener_(advertisement);
  }

  std::atomic<CLAuthorizationStatus> authorization{CLAuthorizationStatus::notDetermined};
  std::atomic<bool> positioning = true;
  std::atomic<bool> scanning = true;
  LocationCounters counters;

 private:
  bool isAuthorized() const;
  bool mayMonitor() const { return authorization == CLAuthorizationStatus::authorizedAlways; }
  bool canMonitor(const CLRegion* region) const;
  std::shared_ptr<MonitoredRegion> watch(std::shared_ptr<const CLRegion> region);
  void insert(const std::shared_ptr<MonitoredRegion>& region);
  void unwatch(const std::shared_ptr<MonitoredRegion>& region);
  void monitoringBegan(const std::shared_ptr<ManagerState>& manager,
                       const std::shared_ptr<MonitoredRegion>& region);
  /// Answers who asked, as far as an answer is known.
  void settle(const std::shared_ptr<MonitoredRegion>& region);
  /// Looks at a region in the light of the last believed fix.
  void considerLast(const std::shared_ptr<MonitoredRegion>& region);
  /// Tells the listener in a task of its own.
  void notice(std::string text);
  void handleSteps(const std::vector<TrackStep>& steps);
  /// What circles need of positions.
  PositionWish circleWish() const;

  /// Runs `work` in a task of its own, unless the engine has gone by then.
  template <class Work>
  void post(Work work);
  void updateListening();
  void demandMayHaveChanged();

  Clock& clock_;
  DispatchQueue& queue_;
  LocationDemandListener& listener_;

  /// False while the saved state is unreadable.
  bool scanningPaused_ = false;
  Dbm gain_{0};
  ManagerList managers_;
  RegionRegistry book_;
  RegionKeeper keeper_;
  RegionReports reports_;
  CircleMonitor circles_;
  BeaconTable table_;
  BeaconPresence presence_;
  BeaconRanging ranging_;
  LocationUpdates updates_;
  FixTrack track_;
  Wakeup doubtTimeout_;
  /// The fix that nobody was told of because of its impossible speed.
  std::optional<CLLocation> held_;

  AdvertisementListener advertisementListener_;
  LocationDemand told_;
  bool demandPosted_ = false;
  bool closed_ = false;
};

}  // namespace ks
