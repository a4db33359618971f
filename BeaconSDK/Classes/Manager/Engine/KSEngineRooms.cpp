#include "BeaconSDK/Classes/Manager/Engine/KSEngineRooms.h"

#include <optional>
#include <utility>

#include "BeaconSDK/Platform/Api/Platform.h"

KSEngineRooms::KSEngineRooms(const KSPortalAccess& portal, ks::CLLocationManagerDelegate& delegate)
    : network(KSNetwork::initWithRootURL(portal.rootURL, portal.locale, portal.username,
                                         portal.password, portal.sessionIdentifier, nullptr)),
      settingsManager(KSSettingsManager::initWithNetwork(network)),
      statsManager(KSStatsManager::initWithNetwork(network)),
      delivery(link, blockedContents, *statsManager, *settingsManager, batteryMonitor),
      dwelling(delivery, statsManager, *settingsManager, observer),
      trigger(delivery, dwelling, *settingsManager, observer),
      book(blockedContents, dwelling),
      tracker({locationAccess, book, trigger, *network, *statsManager, *settingsManager,
               batteryMonitor, observer}),
      synchronizer({link, state, locationAccess, blockedContents, cache, book, tracker, network,
                    *settingsManager}),
      regionMonitor({state, locationAccess, batteryMonitor, cache, dwelling, book, synchronizer}),
      regionEvents({locationAccess, cache, book, dwelling, trigger, tracker, regionMonitor,
                    *statsManager, *settingsManager, batteryMonitor}),
      activity(link, state, synchronizer, *settingsManager),
      lifecycle({link, state, delegate, locationAccess, synchronizer, regionMonitor, activity,
                 network, *settingsManager}),
      intake(state, *settingsManager, synchronizer, *network) {
  blockedContents.loadBlockedContents();
  cache.loadBeaconsForLocation();
  for (const auto& [identifier, beacons] : std::as_const(cache).beaconsForLocation()) {
    for (const auto& beacon : beacons) book.append(beacon);
  }
}

void KSEngineRooms::setManager(std::weak_ptr<const ks::Object> manager) {
  link.setManager(std::move(manager));
  auto take = link.whileAlive(
      [this](KSContentDownloadType type, const std::optional<KSRecords>& content,
             const std::optional<ks::Dictionary>& metaData, const std::optional<ks::Error>& error) {
        if (error) {
          intake.contentErrorWithType(type, *error);
        } else {
          intake.contentLoadedWithType(type, content, metaData);
        }
      });
  // Replies come on the session's queue; the engine lives on the main queue.
  network->setCompletionBlock(
      [take = std::move(take)](KSContentDownloadType type, const std::optional<KSRecords>& content,
                               const std::optional<ks::Dictionary>& metaData,
                               const std::optional<ks::Error>& error) {
        ks::Platform::current().mainQueue().async(
            [take, type, content, metaData, error] { take(type, content, metaData, error); });
      });
}
