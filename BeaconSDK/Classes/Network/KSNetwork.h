#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Network/KSContentDownload.h"
#include "BeaconSDK/Classes/Network/NSURLRequest+KS.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

class KSProximityZoneContentCategory;
class KSStatProximityZoneInteraction;

namespace ks {

class Platform;
class PortalReplies;
class PortalSession;

/// One complete event for the portal.
struct Statistic {
  /// "beacons/enter", ...: zone kind and event.
  std::string event;
  /// The portal's identifier of the zone.
  std::string zone;
  NSURLRequest request;
};

}  // namespace ks

/// The portal client: requests documents, parses the replies and posts statistics.
///
/// All transfers are tasks of one background URL session, over at most one connection. Nothing is
/// queued or retried here: each download ends in one call of the completion block (none when the
/// portal refuses the credentials), a failed upload in one line of the system log.
///
/// Operations may be called from any thread. Parsing and the completion block run on the session's
/// serial delegate queue, in the order in which the replies arrived.
class KSNetwork {
 public:
  /// Opens a session of `platform`, which must outlive the client; `sessionIdentifier` names it.
  static std::shared_ptr<KSNetwork> initWithRootURL(ks::Platform& platform, ks::NSURL rootURL,
                                                    const ks::NSLocale& locale,
                                                    const std::string& username,
                                                    const std::string& password,
                                                    const std::string& sessionIdentifier,
                                                    ks::ContentCompletionBlock completionBlock);

  /// The folder of the HTTP cache: the application's bundle identifier and "KSBeaconSDK" under the
  /// caches folder.
  static std::filesystem::path cachePath(ks::Platform& platform);

  /// Returns the "Authorization" value: "Basic " and the Base64 text of "username:password".
  /// Credentials above 48 bytes give a value with CR LF after every 64 characters; the URL session
  /// removes line breaks from this header.
  static std::string authHeaderForUsername(const std::string& username,
                                           const std::string& password);

  const ks::NSURL& rootURL() const { return rootURL_; }

  /// The handler that the system gave the application for this session's background events; called
  /// once, on the main queue, when they are over.
  std::function<void()> backgroundSessionCompletionHandler() const;
  void setBackgroundSessionCompletionHandler(std::function<void()> handler);

  ks::ContentCompletionBlock completionBlock() const;
  void setCompletionBlock(ks::ContentCompletionBlock block);

  /// Cancels all transfers permanently; each running download is still reported. Starting another
  /// one afterwards is a programming error and has no effect.
  void reset();
  bool isReset() const;

  void loadProximityZoneContentCategories();
  /// Requests the locations, the beacons (range 100) and the geofences near `location`, in this
  /// order; nothing without a location. The beacons are reported as the zones of an unknown
  /// location.
  void loadLocations(const std::optional<ks::CLLocation>& location);
  void loadProximityZonesForLocation(
      const std::string& locationIdentifier,
      const std::vector<std::shared_ptr<KSProximityZoneContentCategory>>& disabledCategories,
      const ks::Dictionary& tags);
  /// Requests the content of beacons ("UUID:major:minor"). One that the portal does not know is
  /// reported as a placeholder zone without content.
  void loadContentForBeacons(
      const std::vector<std::string>& beaconIdentifiers,
      const std::vector<std::shared_ptr<KSProximityZoneContentCategory>>& disabledCategories,
      const ks::Dictionary& tags);

  /// "dc": the categories' identifiers joined by commas, without the local category "-100"; none
  /// for an empty list.
  static std::optional<ks::NSURLQueryItem> queryItemForDisabledCategories(
      const std::vector<std::shared_ptr<KSProximityZoneContentCategory>>& categories);
  /// One item for each tag, its name prefixed with "_".
  static std::vector<ks::NSURLQueryItem> queryItemsForTags(const ks::Dictionary& tags);

  /// Post one event. An event without the zone, content or time that the portal requires is dropped
  /// with a log line.
  void postEnterProximityZone(const KSStatProximityZoneInteraction& interaction);
  void postExitProximityZone(const KSStatProximityZoneInteraction& interaction);
  void postProximityZoneNotification(const KSStatProximityZoneInteraction& interaction);
  void postProximityZoneInteraction(const KSStatProximityZoneInteraction& interaction);
  void postEnterGeofenceZone(const KSStatProximityZoneInteraction& interaction);
  void postExitGeofenceZone(const KSStatProximityZoneInteraction& interaction);

  /// Sets the function called on the delegate queue when the portal refuses the credentials of a
  /// download, which is then not reported otherwise. Set it before the first download.
  void setRefusalHandler(std::function<void(KSContentDownloadType)> handler);

  /// False omits the device's identifier from every request. Default: true.
  void setSendsIdentifiers(bool sends);

  using StatisticHandler = std::function<void(ks::Statistic)>;
  /// Passes each complete event to `handler`, on the posting thread, instead of posting it. Set it
  /// before the first event.
  void setStatisticHandler(StatisticHandler handler) { statisticHandler_ = std::move(handler); }

  /// Starts a transfer of `request`.
  void download(ks::NSURLRequest request);
  /// Uploads the request's body from a file in the temporary directory, which is removed after the
  /// transfer.
  void upload(ks::NSURLRequest request) { upload(std::move(request), nullptr); }
  /// The reply's status; absent when the transfer failed.
  using UploadCompletion = std::function<void(std::optional<int> status)>;
  /// As `upload`. Calls `completion` once, on the delegate queue, or immediately if the body could
  /// not be written; never after `reset`.
  void upload(ks::NSURLRequest request, UploadCompletion completion);

  /// Return the entries of a notification's user information, for applications that forward results
  /// as notifications: "result", "error" (null when missing), "category" (0 when missing) and
  /// "metaData" (absent when missing).
  static ks::Value contentFromNotification(const ks::NSNotification& notification);
  static std::shared_ptr<ks::Error> errorFromNotification(const ks::NSNotification& notification);
  static KSContentDownloadType contentTypeFromNotification(const ks::NSNotification& notification);
  static ks::Value metaDataFromNotification(const ks::NSNotification& notification);

 private:
  struct Key {};

 public:
  /// For `initWithRootURL` alone.
  KSNetwork(Key, ks::NSURL rootURL, std::shared_ptr<ks::PortalReplies> replies,
            std::shared_ptr<ks::PortalSession> session);

 private:
  void post(ks::Statistic statistic);

  const ks::NSURL rootURL_;
  const std::shared_ptr<ks::PortalReplies> replies_;
  const std::shared_ptr<ks::PortalSession> session_;
  StatisticHandler statisticHandler_;
};
