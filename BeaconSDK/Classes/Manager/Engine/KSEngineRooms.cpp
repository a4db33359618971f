#include "BeaconSDK/Classes/Manager/Engine/KSEngineRooms.h"

#include <optional>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/UIDevice+UUID.h"
#include "BeaconSDK/Classes/Manager/Health/HeldData.h"
#include "BeaconSDK/Platform/Api/Diagnostics/CountingLocationServices.h"

KSEngineRooms::KSEngineRooms(ks::Platform& device, const KSPortalAccess& portal,
                             const ks::Refinements& chosen, const ks::Consent& consent,
                             ks::CLLocationManagerDelegate& delegate)
    : refinements(chosen),
      platform(device),
      network(KSNetwork::initWithRootURL(platform, portal.rootURL, portal.locale, portal.username,
                                         portal.password, portal.sessionIdentifier, nullptr)),
      settingsManager(KSSettingsManager::initWithNetwork(network, mainQueue, refinements)),
      statsManager(KSStatsManager::initWithNetwork(network, clock)),
      outbox(refinements.keptStatistics ? makeOutbox(portal.rootURL.absoluteString) : nullptr),
      locationAccess(platform.locationServices(), delegate, observer),
      consent_(consent) {
  blockedContents.loadBlockedContents();
  cache.loadBeaconsForLocation([this](const std::shared_ptr<KSPrivateBeacon>& beacon) {
    return book.addUnlessKnown(beacon);
  });
  restoreStays();
  applyConsent();
}

void KSEngineRooms::restoreStays() {
  const KSStays::Stored stored = stays.load();
  if (!stored.isPresent) return;
  // Of when a stay began and ended that file knows more than the zones' own.
  for (const auto& [identifier, beacons] : std::as_const(cache).beaconsForLocation()) {
    for (const auto& beacon : beacons) beacon->setSentEnterEvent(false);
  }
  for (const auto& beacon : stored.beacons) {
    const auto known = book.addUnlessKnown(beacon);
    if (known != beacon) known->continueStay(*beacon);
    blockedContents.applyTo(known->content().get());
  }
  for (const auto& geofence : stored.geofences) {
    if (geofence->monitoringRegion()) cache.setGeofence(geofence);
  }
}

void KSEngineRooms::setManager(std::weak_ptr<const ks::Object> manager) {
  link.setManager(std::move(manager));
  auto take = link.whileAlive(
      [this](KSContentDownloadType type, const std::optional<ks::Records>& content,
             const std::optional<ks::Dictionary>& metaData, const std::optional<ks::Error>& error) {
        lookAtClock();
        if (error) {
          healthWatch.downloadFailed(*error);
          intake.contentErrorWithType(type, *error);
        } else {
          if (content) healthWatch.replied(type);
          intake.contentLoadedWithType(type, content, metaData);
        }
      });
  network->setStatisticHandler(
      link.whileAlive([this](ks::Statistic statistic) { takeStatistic(std::move(statistic)); }));
  if (outbox) outbox->sendNext();
  auto refused = link.whileAlive([this](KSContentDownloadType type) { loginRefused(type); });
  network->setRefusalHandler(
      [&mainQueue = mainQueue, refused = std::move(refused)](KSContentDownloadType type) {
        mainQueue.async([refused, type] { refused(type); });
      });
  // Replies come on the session's queue; the engine lives on the main queue.
  network->setCompletionBlock(
      [&mainQueue = mainQueue, take = std::move(take)](
          KSContentDownloadType type, const std::optional<ks::Records>& content,
          const std::optional<ks::Dictionary>& metaData, const std::optional<ks::Error>& error) {
        mainQueue.async(
            [take, type, content, metaData, error] { take(type, content, metaData, error); });
      });
}

std::shared_ptr<KSStatsOutbox> KSEngineRooms::makeOutbox(const std::string& rootURL) {
  const std::string device = ks::UIDeviceUUID::currentDeviceUUID();
  const auto send = [this](const KSStatsOutbox::Event& event, KSStatsOutbox::Reply reply) {
    auto request = ks::NSURLRequestKS::defaultPostRequestWithUrl({event.url});
    request.headers.set("Idempotency-Key", event.idempotencyKey);
    request.httpBody = event.body;
    network->upload(std::move(request),
                    [&mainQueue = mainQueue, reply = std::move(reply)](std::optional<int> status) {
                      mainQueue.async([reply, status] { reply(status); });
                    });
  };
  return std::make_shared<KSStatsOutbox>(
      ks::NSFileManagerHelpers::cacheFilePath("KSProximityManager/statistics"), rootURL,
      device.empty() ? KSStatsOutbox::kNoOrigin : device, send, mainQueue);
}

void KSEngineRooms::loginRefused(KSContentDownloadType type) {
  healthWatch.loginRefused();
  if (const auto watching = observer.get()) watching->loginRefused();
  if (!refinements.startAlwaysAnswers) return;
  intake.contentErrorWithType(type, ks::NSErrorHelpers::errorWithDescription(
                                        "The portal refuses the user's name or password"));
}

void KSEngineRooms::lookAtClock() {
  healthWatch.lookAtClock();
  clock.keep();
}

ks::Health KSEngineRooms::health() const {
  ks::Health health = healthWatch.health();
  health.started = state.started;
  health.starting = state.starting;
  health.permission = platform.locationServices().authorizationStatus();
  health.isDeaf = network->isReset();
  health.zonesKnown = cache.zonesKnown();
  health.regionsMonitored = locationAccess.monitoredRegions().size();
  health.wantsPositions = consent_.positions;
  if (batteryStatus) health.adapter = batteryStatus->radioState();
  if (outbox) {
    health.statistics = outbox->ledger();
    health.statisticsDropped = outbox->droppedLately();
    health.areStatisticsStuck = outbox->pause() > KSStatsOutbox::kFirstPause;
  }
  const auto* const counting =
      dynamic_cast<const ks::CountingLocationServices*>(&platform.locationServices());
  if (counting != nullptr) health.counters = counting->counts();
  health.isCacheWritable = ks::HeldData::canWrite();
  health.judge();
  return health;
}

void KSEngineRooms::setConsent(const ks::Consent& consent) {
  consent_ = consent;
  applyConsent();
}

void KSEngineRooms::applyConsent() {
  network->setSendsIdentifiers(consent_.identifiers);
  settingsManager->setKeepsTags(consent_.tags);
  stays.setCounts(consent_.statistics);
  locationAccess.setKeepsPositions(consent_.positions);
  if (!consent_.positions) {
    regionMonitor.forgetPosition();
    // The heads of its documents hold positions.
    ks::HeldData::removeDocuments();
  }
  if (!outbox) return;
  if (!consent_.statistics) outbox->purge();
  if (!consent_.identifiers) outbox->forgetOrigin();
}

void KSEngineRooms::forgetHeld() {
  blockedContents.forgetHeld();
  stays.forgetHeld();
  cache.forgetHeld();
  if (outbox) outbox->purge();
}

void KSEngineRooms::takeStatistic(ks::Statistic statistic) {
  if (!consent_.statistics) return;
  if (const auto watching = observer.get()) {
    watching->statisticMade({statistic.event, statistic.zone});
  }
  if (outbox) {
    outbox->add(std::move(statistic.request.url.absoluteString),
                std::move(statistic.request.httpBody), clock.now());
  } else {
    network->upload(std::move(statistic.request));
  }
}
