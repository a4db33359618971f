#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "BeaconSDK/Classes/Manager/Common/EngineObserver.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerNotifications.h"
#include "BeaconSDK/Classes/Manager/Health/Health.h"
#include "BeaconSDK/Classes/Manager/Zones/ZoneTables.h"
#include "BeaconSDK/Classes/Network/KSContentDownload.h"
#include "BeaconSDK/Classes/Settings/Consent.h"
#include "BeaconSDK/Classes/Settings/KSSettingsManager.h"
#include "BeaconSDK/Classes/Settings/Refinements.h"
#include "BeaconSDK/Classes/Stats/StatsLedger.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

/// The one object that an application creates and keeps.
///
/// It builds the engine's rooms, owns them and forwards to them; its own business is the lifecycle:
/// starting, pausing with the application, background fetches and the reset. Main queue only, apart
/// from `enteredZones` and `enableLogging`. Notifications are posted asynchronously on
/// the main queue with the manager as object. Once the last reference is gone no callback runs.
/// Callbacks may start, reset or release the manager.
class KSProximityManager : public ks::Object, private ks::CLLocationManagerDelegate {
 public:
  /// No error means that the library is running.
  using StartCompletion = std::function<void(const std::optional<ks::Error>&)>;
  /// Never empty.
  using FetchCompletion = std::function<void(ks::UIBackgroundFetchResult)>;

  static constexpr const char* kClassName = "KSProximityManager";
  static const ks::Class kClass;
  /// Names the background URL session; compare it in the application's background-transfer hook.
  static constexpr const char* kSessionIdentifier = "KSBeaconApp";
  /// The portal used when the application names none; the host is reserved for examples.
  static constexpr const char* kDefaultPortalURL = "https://portal.example.com/app";

  /// Restores zones and blocked contents from the cache folder. Null when that folder cannot be
  /// created. Without `url` the default portal is used. `refinements` hold until the end, `consent`
  /// until it is changed.
  static std::shared_ptr<KSProximityManager> initWithUsername(
      std::string username, std::string password, std::optional<ks::NSURL> url, ks::NSLocale locale,
      const ks::Refinements& refinements = {}, const ks::Consent& consent = {});
  /// Switches the library's trace for the whole process. Any thread.
  static void enableLogging(bool enabled);

  /// Begins to work; needs the always-authorized location permission and the category list, which
  /// it fetches. While started or starting it does nothing and never calls `completion`; otherwise
  /// `completion` runs once, inside the call when nothing has to be fetched first.
  void start(StartCompletion completion);
  /// `start` without interest in the result.
  void retry();
  /// For the application's background-fetch hook. Starts the library first if need be. `completion`
  /// runs before downloads have ended; while the library is starting it does not run.
  void performFetchWithCompletionHandler(FetchCompletion completion);
  /// For the application's background-transfer hook: keeps the handler when the session is the
  /// library's, and ignores it otherwise.
  void handleEventsForBackgroundURLSession(std::string_view identifier,
                                           std::function<void()> completionHandler);
  /// Ends all monitoring and forgets zones and locations; blocked contents stay. The portal
  /// connection is closed for good.
  void reset();

  bool started() const;
  bool starting() const;
  const ks::LocationList& locations() const;
  KSSettingsManager& settingsManager();
  /// The zones that the device is in, beacons first; nothing when it is in none. Any thread.
  std::optional<std::vector<std::shared_ptr<KSProximityZone>>> enteredZones() const;
  /// When the location list was last replaced from the portal; kept in the user defaults.
  std::optional<ks::Date> lastLocationsRefreshDate() const;
  void setLastLocationsRefreshDate(std::optional<ks::Date> date);
  /// The last portal download failed; kept in the user defaults.
  bool errorHappened() const;
  void setErrorHappened(bool flag);
  /// Geofences by the identifier of their monitored region, a copy.
  ks::GeofenceTable prefetchGeofences() const;
  void setPrefetchGeofences(ks::GeofenceTable geofences);
  /// The cached zone, or null. Beacons are found under kind 3, geofences under kind 4.
  std::shared_ptr<KSProximityZone> proximityZoneForIdentifier(
      std::string_view identifier, KSContentDownloadType contentType) const;

  /// Shows the zone's content to the user 5 seconds from now, with its icon and media, replacing
  /// the library's earlier notification unless `everyAnnouncement` is refined. Fetches the files
  /// before it returns.
  void showNotificationForProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// The same, but returns at once and fetches the files meanwhile: for main loops that must go on.
  void fetchAndShowNotificationForProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// A message box with the single button "OK".
  void showMessage(std::string title, std::string message);
  /// The file in the temporary directory that holds what `url` names; see `KSContentNotifier`.
  std::optional<std::filesystem::path> contentPathFromRemoteUrl(
      const std::optional<std::string>& url, std::string_view filePrefix);
  /// Reports that the user opened the zone's content.
  void incrementLoyaltyForProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// Drops every beacon region and begins a new neighbourhood around the device.
  void reloadBeacons();

  /// Readers of the notifications' user information; null, false or nothing when it is missing.
  static std::shared_ptr<KSProximityZone> proximityZoneFromNotification(
      const ks::NSNotification& notification);
  static bool isNotificationForDwellingProximityZone(const ks::NSNotification& notification);
  static std::shared_ptr<KSLocation> locationFromNotification(
      const ks::NSNotification& notification);
  static std::shared_ptr<ks::Error> errorFromNotification(const ks::NSNotification& notification);
  /// Posts `notification` at once with the error under "error".
  void postError(const ks::Error& error, std::string notification);

  /// The state of the library and of what it stands on, judged. Writes and removes a small file to
  /// see whether the cache folder takes it.
  ks::Health health() const;
  const ks::Consent& consent() const;
  /// Takes effect at once; see `ks::Consent`. Not kept: the application remembers its user's word.
  void setConsent(const ks::Consent& consent);
  /// Resets the library, for good, and removes everything that it holds on this device; see
  /// `ks::HeldData`. The portal keeps what it was sent.
  void purge();

  const ks::Refinements& refinements() const;
  /// What became of the statistics; absent unless they are kept.
  std::optional<ks::StatsLedger> statisticsLedger() const;

  /// Sets the decision observer, replacing any previous one.
  void setEngineObserver(std::weak_ptr<ks::EngineObserver> observer);

  KSProximityManager(const KSProximityManager&) = delete;
  KSProximityManager& operator=(const KSProximityManager&) = delete;
  ~KSProximityManager() override;
  const ks::Class& objectClass() const override { return kClass; }

 private:
  struct Key {};

 public:
  /// For `initWithUsername` alone.
  explicit KSProximityManager(Key);

 private:
  class Rooms;

  void didUpdateLocations(ks::CLLocationManager& manager,
                          const std::vector<ks::CLLocation>& locations) override;
  void didDetermineState(ks::CLLocationManager& manager, ks::CLRegionState state,
                         const std::shared_ptr<const ks::CLRegion>& region) override;
  void didEnterRegion(ks::CLLocationManager& manager,
                      const std::shared_ptr<const ks::CLRegion>& region) override;
  void didExitRegion(ks::CLLocationManager& manager,
                     const std::shared_ptr<const ks::CLRegion>& region) override;
  void didRangeBeacons(ks::CLLocationManager& manager, const std::vector<ks::CLBeacon>& beacons,
                       const std::shared_ptr<const ks::CLRegion>& region) override;
  void didStartMonitoringForRegion(ks::CLLocationManager& manager,
                                   const std::shared_ptr<const ks::CLRegion>& region) override;
  void monitoringDidFailForRegion(ks::CLLocationManager& manager,
                                  const std::shared_ptr<const ks::CLRegion>& region,
                                  const ks::Error& error) override;
  void didFailWithError(ks::CLLocationManager& manager, const ks::Error& error) override;

  std::unique_ptr<Rooms> rooms_;
};
