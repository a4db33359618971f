#pragma once

#include <memory>
#include <string>

#include "BeaconSDK/Classes/Manager/Engine/KSApplicationActivity.h"
#include "BeaconSDK/Classes/Manager/Engine/KSContentIntake.h"
#include "BeaconSDK/Classes/Manager/Engine/KSLifecycle.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionEvents.h"
#include "BeaconSDK/Classes/Settings/KSRefinements.h"
#include "BeaconSDK/Classes/Stats/KSStatsOutbox.h"

/// Who may use the portal, where it is, and in which language.
struct KSPortalAccess {
  ks::NSURL rootURL;
  ks::NSLocale locale;
  std::string username;
  std::string password;
  std::string sessionIdentifier;
};

/// The engine: every room with what it stands on, in the order in which they are built. A room
/// knows only rooms declared before it.
class KSEngineRooms {
 public:
  /// Restores the caches. `delegate` receives the location manager's events.
  KSEngineRooms(const KSPortalAccess& portal, const KSRefinements& refinements,
                ks::CLLocationManagerDelegate& delegate);
  /// From now on the rooms act in the manager's name, and portal replies are taken.
  void setManager(std::weak_ptr<const ks::Object> manager);

  const KSRefinements refinements;
  KSManagerLink link;
  KSObserverSlot observer;
  KSEngineState state;
  KSCacheFolder folder{observer};
  KSBlockedContents blockedContents{folder};
  KSZoneCache cache{folder, blockedContents};
  std::shared_ptr<KSNetwork> network;
  std::shared_ptr<KSSettingsManager> settingsManager;
  std::shared_ptr<KSStatsManager> statsManager;
  /// Null unless statistics are kept.
  std::shared_ptr<KSStatsOutbox> outbox;
  KSLocationAccess locationAccess{observer};
  KSBatteryMonitor batteryMonitor;
  KSContentDelivery delivery;
  KSDwellingZones dwelling;
  KSContentTrigger trigger;
  KSRegionBook book;
  KSProximityTracker tracker;
  KSZoneSynchronizer synchronizer;
  KSRegionMonitor regionMonitor;
  KSRegionEvents regionEvents;
  KSApplicationActivity activity;
  KSLifecycle lifecycle;
  KSContentIntake intake;

 private:
  std::shared_ptr<KSStatsOutbox> makeOutbox(const std::string& rootURL);
  void takeStatistic(KSStatistic statistic);
};
