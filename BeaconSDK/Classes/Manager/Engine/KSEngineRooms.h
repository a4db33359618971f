#pragma once

#include <memory>
#include <string>

#include "BeaconSDK/Classes/Beacon/Content/KSZoneClock.h"
#include "BeaconSDK/Classes/Manager/Common/KSSteadyClock.h"
#include "BeaconSDK/Classes/Manager/Engine/KSApplicationActivity.h"
#include "BeaconSDK/Classes/Manager/Engine/KSContentIntake.h"
#include "BeaconSDK/Classes/Manager/Engine/KSLifecycle.h"
#include "BeaconSDK/Classes/Manager/Engine/KSRegionEvents.h"
#include "BeaconSDK/Classes/Manager/Health/KSHealthWatch.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSContentNotifier.h"
#include "BeaconSDK/Classes/Settings/Consent.h"
#include "BeaconSDK/Classes/Settings/Refinements.h"
#include "BeaconSDK/Classes/Stats/KSStatsOutbox.h"

/// Credentials, address and language for the portal.
struct KSPortalAccess {
  ks::NSURL rootURL;
  ks::NSLocale locale;
  std::string username;
  std::string password;
  std::string sessionIdentifier;
};

/// The engine: all its parts, in the order in which they are built. Each knows only parts declared
/// before it.
class KSEngineRooms {
 public:
  /// Restores the caches. `device` must outlive the engine, whose parts receive only the services
  /// that they use. `delegate` receives the location manager's events.
  KSEngineRooms(ks::Platform& device, const KSPortalAccess& portal,
                const ks::Refinements& refinements, const ks::Consent& consent,
                ks::CLLocationManagerDelegate& delegate);
  /// Sets the manager as sender of notifications, and starts taking portal replies.
  void setManager(std::weak_ptr<const ks::Object> manager);

  ks::Health health() const;
  const ks::Consent& consent() const { return consent_; }
  void setConsent(const ks::Consent& consent);
  /// Call before the files are removed: writes nothing from then on.
  void forgetHeld();
  /// Call at each event of the device: detects changes of the wall clock.
  void lookAtClock();

  const ks::Refinements refinements;
  ks::Platform& platform;
  ks::DispatchQueue& mainQueue = platform.mainQueue();
  KSSteadyClock clock{platform.clock(), platform.userDefaults(), refinements.steadyClock};
  KSZoneClock::Scope zoneClock{clock};
  KSHealthWatch healthWatch{platform.clock()};

  KSManagerLink link{mainQueue, platform.notificationCenter()};
  KSObserverSlot observer;
  KSEngineState state{platform.userDefaults()};
  KSBlockedContents blockedContents{platform, observer, clock};
  KSZoneCache cache{platform, observer, blockedContents};
  std::shared_ptr<KSNetwork> network;
  std::shared_ptr<KSSettingsManager> settingsManager;
  std::shared_ptr<KSStatsManager> statsManager;
  /// Null unless statistics are kept.
  std::shared_ptr<KSStatsOutbox> outbox;
  /// Null until the engine first runs.
  std::unique_ptr<KSBatteryStatus> batteryStatus;
  KSZoneStatistics statistics{*statsManager, *settingsManager, batteryStatus};
  KSStays stays{platform, statistics, observer, refinements, clock};
  KSContentDelivery delivery{link, blockedContents, statistics};
  KSDwellingZones dwelling{delivery, statistics, observer,
                           clock,    mainQueue,  platform.application()};
  KSContentTrigger trigger{delivery, dwelling, *settingsManager, observer, clock};
  KSLocationAccess locationAccess;
  KSRegionBook book{dwelling, refinements};
  KSContentRequests contentRequests{*network, *settingsManager, observer};
  KSProximityTracker tracker{locationAccess,  book,          trigger, stays,
                             contentRequests, batteryStatus, clock};
  KSRegionMonitor regionMonitor{locationAccess, cache};
  KSPortalRefresh refresh{network,   *settingsManager,      cache, locationAccess, clock,
                          mainQueue, platform.globalQueue()};
  KSZoneSynchronizer synchronizer{link,          state,   cache,           book,        tracker,
                                  regionMonitor, refresh, contentRequests, refinements, clock};
  KSNeighbourhood neighbourhood{state, locationAccess, regionMonitor, refresh,
                                book,  dwelling,       cache,         stays};
  KSRegionEvents regionEvents{cache, book, tracker, trigger, stays, neighbourhood, refinements};
  KSApplicationActivity activity{
      link, state, refresh, *settingsManager, refinements, platform.notificationCenter(), clock};
  KSLifecycle lifecycle{platform,         link,          state,          *network,
                        *settingsManager, batteryStatus, locationAccess, regionMonitor,
                        refresh,          neighbourhood, activity,       refinements};
  KSContentIntake intake{state, *settingsManager, synchronizer, *network};
  KSContentNotifier notifier{platform, refinements};

 private:
  void restoreStays();
  void applyConsent();
  void loginRefused(KSContentDownloadType type);
  std::shared_ptr<KSStatsOutbox> makeOutbox(const std::string& rootURL);
  void takeStatistic(ks::Statistic statistic);

  ks::Consent consent_;
};
