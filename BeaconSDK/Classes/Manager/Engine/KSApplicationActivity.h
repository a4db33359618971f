#pragma once

#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Alarm.h"
#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLink.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneSynchronizer.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

/// Follows the application into the foreground and out of it: timers run only while it is active.
class KSApplicationActivity {
 public:
  /// After the application became active the zones are checked once, this much later.
  static constexpr ks::Seconds kZoneCheckDelay{60.0};

  KSApplicationActivity(const KSManagerLink& link, const KSEngineState& state,
                        KSZoneSynchronizer& synchronizer, KSSettingsManager& settingsManager,
                        const KSRefinements& refinements)
      : link_(link),
        state_(state),
        synchronizer_(synchronizer),
        settingsManager_(settingsManager),
        refinements_(refinements) {}

  /// Observes the application until the end. Every call adds a registration, and each registration
  /// hears every event; with `oneActivation` only the first call does.
  void registerForApplicationNotifications();
  void appDidBecomeActive();
  void appWillResignActive();
  void createRefreshBeaconsTimer();
  /// Checks the zones on the global queue.
  void beaconsUpdate();
  void invalidateTimers();

 private:
  void refreshCategoriesThenLocations();

  const KSManagerLink& link_;
  const KSEngineState& state_;
  KSZoneSynchronizer& synchronizer_;
  KSSettingsManager& settingsManager_;
  const KSRefinements& refinements_;
  ks::Alarm refreshBeaconsTimer_{ks::AlarmName::refreshBeacons};
  std::vector<ks::NSNotificationCenter::Observation> observations_;
};
