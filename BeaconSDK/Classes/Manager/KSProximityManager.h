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
/// Creates and owns the parts of the engine and forwards to them; manages the lifecycle itself:
/// start, pause with the application, background fetches and reset. Main queue only, except
/// `enteredZones` and `enableLogging`. Posts notifications asynchronously on the main queue with
/// itself as object. No callback runs after the last reference is released. Callbacks may start,
/// reset or release the manager.
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
  /// The portal used without a URL of the application's; the host is reserved for examples.
  static constexpr const char* kDefaultPortalURL = "https://portal.example.com/app";

  /// Creates a manager and restores zones and blocked contents from the cache folder; null if that
  /// folder cannot be created. Without `url` the default portal is used. `refinements` are fixed;
  /// `consent` can be changed later.
  static std::shared_ptr<KSProximityManager> initWithUsername(
      std::string username, std::string password, std::optional<ks::NSURL> url, ks::NSLocale locale,
      const ks::Refinements& refinements = {}, const ks::Consent& consent = {});
  /// Enables or disables the trace of the whole process. Any thread.
  static void enableLogging(bool enabled);

  /// Starts the library. Requires the always-authorized location permission, and fetches the
  /// category list. Does nothing and never calls `completion` while started or starting; otherwise
  /// calls `completion` once, before returning if nothing has to be fetched first.
  void start(StartCompletion completion);
  /// Calls `start` without a completion.
  void retry();
  /// Call from the application's background-fetch hook. Starts the library if needed. Calls
  /// `completion` before downloads have finished, and not at all while the library is starting.
  void performFetchWithCompletionHandler(FetchCompletion completion);
  /// Call from the application's background-transfer hook. Keeps the handler if `identifier` is the
  /// library's session, and ignores it otherwise.
  void handleEventsForBackgroundURLSession(std::string_view identifier,
                                           std::function<void()> completionHandler);
  /// Stops all monitoring and drops zones and locations; blocked contents are kept. Closes the
  /// portal connection permanently.
  void reset();

  bool started() const;
  bool starting() const;
  const ks::LocationList& locations() const;
  KSSettingsManager& settingsManager();
  /// Returns the zones that the device is in, beacons first; absent when it is in none. Any thread.
  std::optional<std::vector<std::shared_ptr<KSProximityZone>>> enteredZones() const;
  /// The zones that the portal has sent and the library still holds: beacons by location, then
  /// geofences.
  std::vector<std::shared_ptr<KSProximityZone>> knownZones() const;
  /// When the location list was last replaced from the portal; stored in the user defaults.
  std::optional<ks::Date> lastLocationsRefreshDate() const;
  void setLastLocationsRefreshDate(std::optional<ks::Date> date);
  /// True when the last portal download failed; stored in the user defaults.
  bool errorHappened() const;
  void setErrorHappened(bool flag);
  /// Returns a copy of the geofences by the identifier of their monitored region.
  ks::GeofenceTable prefetchGeofences() const;
  void setPrefetchGeofences(ks::GeofenceTable geofences);
  /// Returns the cached zone, or null. Beacons are found under kind 3, geofences under kind 4.
  std::shared_ptr<KSProximityZone> proximityZoneForIdentifier(
      std::string_view identifier, KSContentDownloadType contentType) const;

  /// Schedules a notification with the zone's content, icon and media in 5 seconds. Replaces the
  /// library's previous notification, unless the refinement `everyAnnouncement` is on. Fetches the
  /// files before it returns.
  void showNotificationForProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// As above, but returns immediately and fetches the files in the background, for main loops that
  /// must not block.
  void fetchAndShowNotificationForProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// Shows a message box with the single button "OK".
  void showMessage(std::string title, std::string message);
  /// Returns the file in the temporary directory with the content of `url`; see
  /// `KSContentNotifier`.
  std::optional<std::filesystem::path> contentPathFromRemoteUrl(
      const std::optional<std::string>& url, std::string_view filePrefix);
  /// Reports that the user opened the zone's content.
  void incrementLoyaltyForProximityZone(const std::shared_ptr<KSProximityZone>& zone);
  /// Drops every beacon region and starts a new neighbourhood around the device.
  void reloadBeacons();

  /// Read the notifications' user information; null, false or nothing when it is missing.
  static std::shared_ptr<KSProximityZone> proximityZoneFromNotification(
      const ks::NSNotification& notification);
  static bool isNotificationForDwellingProximityZone(const ks::NSNotification& notification);
  static std::shared_ptr<KSLocation> locationFromNotification(
      const ks::NSNotification& notification);
  static std::shared_ptr<ks::Error> errorFromNotification(const ks::NSNotification& notification);
  /// Posts `notification` synchronously with the error under "error".
  void postError(const ks::Error& error, std::string notification);

  /// Returns a snapshot of the library's state with the problems found. Writes and removes a small
  /// file to test the cache folder.
  ks::Health health() const;
  const ks::Consent& consent() const;
  /// Takes effect immediately; see `ks::Consent`. Not stored: the application keeps its user's
  /// choice.
  void setConsent(const ks::Consent& consent);
  /// Resets the library permanently and removes everything that it stores on this device; see
  /// `ks::HeldData`. Deletes nothing on the portal.
  void purge();

  const ks::Refinements& refinements() const;
  /// Returns the delivery counts of the statistics; absent without the refinement `keptStatistics`.
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
