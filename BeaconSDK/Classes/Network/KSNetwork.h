#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Classes/Network/KSContentDownload.h"
#include "BeaconSDK/Classes/Network/KSResponseParser.h"
#include "BeaconSDK/Classes/Network/NSURLRequest+KS.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

class KSProximityZoneContentCategory;
class KSStatProximityZoneInteraction;

/// One complete event on its way to the portal.
struct KSStatistic {
  /// "beacons/enter", ...: zone kind and event.
  std::string event;
  /// The portal's identifier of the zone.
  std::string zone;
  ks::NSURLRequest request;
};

/// The portal client: requests documents, parses the replies and posts statistics.
///
/// All transfers are tasks of one background URL session, at most one connection at a time. Nothing
/// is queued or retried here: each download ends in one report to the completion block (none when
/// the portal refuses the credentials), and a failed upload in one line of the system log.
///
/// Operations may be called from any thread. Parsing and the completion block run on the session's
/// serial delegate queue, in the order in which the replies arrived.
class KSNetwork : public ks::NSURLSessionDelegate, public std::enable_shared_from_this<KSNetwork> {
 public:
  /// `sessionIdentifier` names the background session.
  static std::shared_ptr<KSNetwork> initWithRootURL(ks::NSURL rootURL, const ks::NSLocale& locale,
                                                    const std::string& username,
                                                    const std::string& password,
                                                    const std::string& sessionIdentifier,
                                                    KSContentCompletionBlock completionBlock);

  /// The folder of the HTTP cache: the application's bundle identifier and "KSBeaconSDK" under the
  /// caches folder.
  static std::filesystem::path cachePath();

  /// The "Authorization" value: "Basic " and the Base64 text of "username:password". Credentials
  /// above 48 bytes give a value with CR LF after every 64 characters; the URL session takes line
  /// breaks out of this header.
  static std::string authHeaderForUsername(const std::string& username,
                                           const std::string& password);

  const ks::NSURL& rootURL() const { return rootURL_; }

  /// The handler that the system gave the application for this session's background events; called
  /// once, on the main queue, when they are over.
  std::function<void()> backgroundSessionCompletionHandler() const;
  void setBackgroundSessionCompletionHandler(std::function<void()> handler);

  KSContentCompletionBlock completionBlock() const;
  void setCompletionBlock(KSContentCompletionBlock block);

  /// Cancels all transfers for good; each running download still ends in its report. To start
  /// another one afterwards is a programming fault and has no effect.
  void reset();
  bool isReset() const { return isReset_; }

  void loadProximityZoneContentCategories();
  /// Asks for the locations, the beacons (100 around) and the geofences near `location`, in this
  /// order; for nothing without a location. The beacons arrive as the zones of an unknown location.
  void loadLocations(const std::optional<ks::CLLocation>& location);
  void loadProximityZonesForLocation(
      const std::string& locationIdentifier,
      const std::vector<std::shared_ptr<KSProximityZoneContentCategory>>& disabledCategories,
      const ks::Dictionary& tags);
  /// Each of the beacons ("UUID:major:minor") is answered: one that the portal does not know by a
  /// placeholder zone without content.
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

  /// Posts one event. An event without its zone, content or time where the portal requires them is
  /// dropped with a log line.
  void postEnterProximityZone(const KSStatProximityZoneInteraction& interaction);
  void postExitProximityZone(const KSStatProximityZoneInteraction& interaction);
  void postProximityZoneNotification(const KSStatProximityZoneInteraction& interaction);
  void postProximityZoneInteraction(const KSStatProximityZoneInteraction& interaction);
  void postEnterGeofenceZone(const KSStatProximityZoneInteraction& interaction);
  void postExitGeofenceZone(const KSStatProximityZoneInteraction& interaction);

  /// Called on the delegate queue when the portal refuses the credentials of a download, which is
  /// then reported to nobody else. Set before the first download.
  void setRefusalHandler(std::function<void(KSContentDownloadType)> handler) {
    refusalHandler_ = std::move(handler);
  }

  using StatisticHandler = std::function<void(KSStatistic)>;
  /// Hands each complete event to `handler` instead of posting it, on the posting thread. Set
  /// before the first event.
  void setStatisticHandler(StatisticHandler handler) { statisticHandler_ = std::move(handler); }

  /// Starts a transfer of `request`.
  void download(ks::NSURLRequest request);
  /// Sends the request's body from a file of its own in the temporary directory, which is removed
  /// when the transfer has ended.
  void upload(ks::NSURLRequest request) { upload(std::move(request), nullptr); }
  /// The reply's status; absent when the transfer failed.
  using UploadCompletion = std::function<void(std::optional<int> status)>;
  /// As `upload`; `completion` is called once, on the delegate queue, or at once when the body
  /// could not be written. After `reset` it is not called.
  void upload(ks::NSURLRequest request, UploadCompletion completion);

  /// Reports a success; without a result, nothing.
  void notifyNewContentAvailableForType(KSContentDownloadType type,
                                        const std::optional<KSRecords>& content) const;
  /// Reports a success, also without a result.
  void notifyNewContentAvailableForType(KSContentDownloadType type,
                                        const std::optional<KSRecords>& content,
                                        const ks::Dictionary& metaData) const;
  void notifyContentDownloadErrorForType(KSContentDownloadType type, const ks::Error& error) const;

  /// The entries of a notification's user information, for applications that pass results on as
  /// notifications: "result", "error" (null when missing), "category" (0 when missing) and
  /// "metaData" (absent when missing).
  static ks::Value contentFromNotification(const ks::NSNotification& notification);
  static std::shared_ptr<ks::Error> errorFromNotification(const ks::NSNotification& notification);
  static KSContentDownloadType contentTypeFromNotification(const ks::NSNotification& notification);
  static ks::Value metaDataFromNotification(const ks::NSNotification& notification);

  /// Parses the document in `file`. One that cannot be opened counts as an empty list; one that
  /// cannot be read as JSON is reported to the completion block and yields nothing.
  template <class Converter>
  std::optional<KSResponseParser::Records<Converter>> processJSONAtLocation(
      const std::filesystem::path& file, const Converter& itemConverter,
      KSContentDownloadType type) {
    documentIsParsed_ = false;
    const auto document = documentAtLocation(file);
    if (!document) return KSResponseParser::Records<Converter>{};
    auto records = KSResponseParser::records(*document, itemConverter);
    documentIsParsed_ = records.ok();
    if (records) return std::move(records.value());
    reportUnreadable(type, records.error());
    return std::nullopt;
  }
  /// These forward to `KSResponseParser`.
  static ks::Dictionary sanitizeDictionary(const ks::Dictionary& dictionary);
  static std::shared_ptr<KSProximityZoneContent> contentFromType(std::string_view type);
  static std::int64_t proximityFromString(std::string_view text);
  std::shared_ptr<KSPrivateBeacon> convertToPrivateBeacon(const ks::Dictionary& item) const;

  void didFinishDownloadingToURL(ks::NSURLSession& session, ks::NSURLSessionTask& downloadTask,
                                 const std::filesystem::path& file) override;
  /// Documents that cannot be parsed stay out of the cache: the next request fetches them again.
  bool willCacheResponse(ks::NSURLSession& session, ks::NSURLSessionTask& downloadTask) override;
  void didCompleteWithError(ks::NSURLSession& session, ks::NSURLSessionTask& task,
                            const std::optional<ks::Error>& error) override;
  void didBecomeInvalidWithError(ks::NSURLSession& session,
                                 const std::optional<ks::Error>& error) override;
  void didFinishEventsForBackgroundURLSession(ks::NSURLSession& session) override;

 private:
  struct Key {};

 public:
  /// For `initWithRootURL` alone.
  KSNetwork(Key, ks::NSURL rootURL, KSContentCompletionBlock completionBlock,
            const ks::Clock& clock, ks::DispatchQueue& mainQueue);
  /// Invalidation reports nothing for running tasks, so their upload files are removed here.
  ~KSNetwork() override;

 private:
  /// Absent when the file cannot be opened.
  static std::optional<std::string> documentAtLocation(const std::filesystem::path& file);
  void reportUnreadable(KSContentDownloadType type, const ks::Error& error) const;
  void contentCategoriesDownloadedToURL(const std::filesystem::path& file);
  void locationsDownloadedToURL(const std::filesystem::path& file);
  void proximityZonesForLocation(const std::optional<std::string>& locationIdentifier,
                                 const std::filesystem::path& file);
  void proximityZonesForBeaconIdentifiers(const std::vector<std::string>& beaconIdentifiers,
                                          const std::filesystem::path& file);
  void contentGeofencesDownloadedForLocation(const std::optional<std::string>& locationIdentifier,
                                             const std::filesystem::path& file);
  void finishUpload(ks::NSURLSessionTask& task, std::optional<ks::Error> error);
  void post(KSStatistic statistic);

  const ks::NSURL rootURL_;
  const ks::Clock& clock_;
  ks::DispatchQueue& mainQueue_;
  /// Used on the delegate queue, as is the next.
  const KSResponseParser parser_;
  /// Whether the document that arrived last could be parsed.
  bool documentIsParsed_ = false;
  std::shared_ptr<ks::NSURLSession> urlSession_;
  std::atomic<bool> isReset_{false};
  /// Guards the two blocks, which the main queue sets and the delegate queue calls.
  mutable std::mutex blocksMutex_;
  std::function<void()> backgroundSessionCompletionHandler_;
  KSContentCompletionBlock completionBlock_;
  StatisticHandler statisticHandler_;
  std::function<void(KSContentDownloadType)> refusalHandler_;
  std::mutex uploadsMutex_;
  /// The body files of the running uploads, with the completion of each.
  std::map<std::filesystem::path, UploadCompletion> uploads_;
};
