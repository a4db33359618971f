#pragma once

#include <vector>

#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLink.h"
#include "BeaconSDK/Classes/Manager/Synchronization/KSPortalRefresh.h"

/// Runs the engine's timers only while the application is active.
class KSApplicationActivity {
 public:
  KSApplicationActivity(const KSManagerLink& link, const KSEngineState& state,
                        KSPortalRefresh& refresh, KSSettingsManager& settingsManager,
                        const ks::Refinements& refinements,
                        ks::NSNotificationCenter& notificationCenter, const ks::Clock& clock)
      : link_(link),
        state_(state),
        refresh_(refresh),
        settingsManager_(settingsManager),
        refinements_(refinements),
        notificationCenter_(notificationCenter),
        clock_(clock) {}

  /// Observes the application until destroyed. Every call adds a registration that receives every
  /// event; with `oneActivation` only the first call does.
  void registerForApplicationNotifications();
  void appDidBecomeActive();
  void appWillResignActive();

 private:
  void refreshCategoriesThenLocations();

  const KSManagerLink& link_;
  const KSEngineState& state_;
  KSPortalRefresh& refresh_;
  KSSettingsManager& settingsManager_;
  const ks::Refinements& refinements_;
  ks::NSNotificationCenter& notificationCenter_;
  const ks::Clock& clock_;
  std::vector<ks::NSNotificationCenter::Observation> observations_;
};
