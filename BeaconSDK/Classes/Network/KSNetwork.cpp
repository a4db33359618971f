#include "BeaconSDK/Classes/Network/KSNetwork.h"

#include <utility>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Common/Foundation/NSData+Base64.h"
#include "BeaconSDK/Classes/Network/PortalReplies.h"
#include "BeaconSDK/Classes/Network/PortalSession.h"
#include "BeaconSDK/Platform/Api/Ascii.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace {

/// Requests of the portal's pages are small; the disk holds what a site's zones and images need.
/// How much stays in memory is a wish: a transport may decide for itself.
constexpr std::uint64_t kMemoryCacheCapacity = 16384;
constexpr std::uint64_t kDiskCacheCapacity = 256ULL * 1024 * 1024;
constexpr ks::Seconds kRequestTimeout{30};
constexpr ks::Seconds kResourceTimeout{60};
/// The portal serves one device's requests in turn.
constexpr int kConnectionsPerHost = 1;

/// How far around the device beacons are asked for, in the portal's unit.
constexpr float kUniqueIdentifiersRange = 100;

std::string lowerCased(const std::optional<std::string>& code) {
  return ks::asciiLowerCased(code.value_or("(null)"));
}

std::vector<ks::NSURLQueryItem> extraItems(
    const std::vector<std::shared_ptr<KSProximityZoneContentCategory>>& disabledCategories,
    const ks::Dictionary& tags) {
  std::vector<ks::NSURLQueryItem> items;
  if (auto item = KSNetwork::queryItemForDisabledCategories(disabledCategories)) {
    items.push_back(std::move(*item));
  }
  for (auto& item : KSNetwork::queryItemsForTags(tags)) items.push_back(std::move(item));
  return items;
}

}  // namespace

KSNetwork::KSNetwork(Key, ks::NSURL rootURL, std::shared_ptr<ks::PortalReplies> replies,
                     std::shared_ptr<ks::PortalSession> session)
    : rootURL_(std::move(rootURL)), replies_(std::move(replies)), session_(std::move(session)) {}

std::shared_ptr<KSNetwork> KSNetwork::initWithRootURL(ks::Platform& platform, ks::NSURL rootURL,
                                                      const ks::NSLocale& locale,
                                                      const std::string& username,
                                                      const std::string& password,
                                                      const std::string& sessionIdentifier,
                                                      ks::ContentCompletionBlock completionBlock) {
  ks::NSURLSessionConfiguration configuration;
  configuration.identifier = sessionIdentifier;
  configuration.urlCache = {kMemoryCacheCapacity, kDiskCacheCapacity, cachePath(platform)};
  auto& headers = configuration.httpAdditionalHeaders;
  headers.set("Accept-Language",
              lowerCased(locale.languageCode) + "-" + lowerCased(locale.countryCode));
  headers.set("Accept-Header", "application/json");
  headers.set("Authorization", authHeaderForUsername(username, password));
  configuration.timeoutIntervalForRequest = kRequestTimeout;
  configuration.timeoutIntervalForResource = kResourceTimeout;
  configuration.httpMaximumConnectionsPerHost = kConnectionsPerHost;

  auto replies = std::make_shared<ks::PortalReplies>(std::move(completionBlock));
  auto session = ks::PortalSession::open(platform, std::move(configuration), replies);
  return std::make_shared<KSNetwork>(Key{}, std::move(rootURL), std::move(replies),
                                     std::move(session));
}

std::filesystem::path KSNetwork::cachePath(ks::Platform& platform) {
  return platform.directories().caches / platform.mainBundle().bundleIdentifier / "KSBeaconSDK";
}

std::string KSNetwork::authHeaderForUsername(const std::string& username,
                                             const std::string& password) {
  return "Basic " + ks::NSDataBase64::base64EncodedString(username + ":" + password);
}

std::function<void()> KSNetwork::backgroundSessionCompletionHandler() const {
  return session_->backgroundSessionCompletionHandler();
}
void KSNetwork::setBackgroundSessionCompletionHandler(std::function<void()> handler) {
  session_->setBackgroundSessionCompletionHandler(std::move(handler));
}
ks::ContentCompletionBlock KSNetwork::completionBlock() const {
  return replies_->completionBlock();
}
void KSNetwork::setCompletionBlock(ks::ContentCompletionBlock block) {
  replies_->setCompletionBlock(std::move(block));
}
void KSNetwork::setRefusalHandler(std::function<void(KSContentDownloadType)> handler) {
  replies_->setRefusalHandler(std::move(handler));
}

void KSNetwork::reset() { session_->reset(); }
bool KSNetwork::isReset() const { return session_->isReset(); }
void KSNetwork::setSendsIdentifiers(bool sends) { session_->setSendsIdentifiers(sends); }
void KSNetwork::download(ks::NSURLRequest request) { session_->download(std::move(request)); }
void KSNetwork::upload(ks::NSURLRequest request, UploadCompletion completion) {
  session_->upload(std::move(request), std::move(completion));
}

void KSNetwork::loadProximityZoneContentCategories() {
  download(ks::NSURLRequestKS::contentCategoryRequest(rootURL_));
}

void KSNetwork::loadLocations(const std::optional<ks::CLLocation>& location) {
  if (!location) return;
  download(ks::NSURLRequestKS::locationsRequest(rootURL_, location));
  download(ks::NSURLRequestKS::beaconsUniqueIdentifiersRequest(rootURL_, location,
                                                               kUniqueIdentifiersRange));
  download(ks::NSURLRequestKS::prefetchGeofencesRequest(rootURL_, *location));
}

void KSNetwork::loadProximityZonesForLocation(
    const std::string& locationIdentifier,
    const std::vector<std::shared_ptr<KSProximityZoneContentCategory>>& disabledCategories,
    const ks::Dictionary& tags) {
  download(ks::NSURLRequestKS::proximityZonesForLocationRequest(
      rootURL_, locationIdentifier, extraItems(disabledCategories, tags)));
}

void KSNetwork::loadContentForBeacons(
    const std::vector<std::string>& beaconIdentifiers,
    const std::vector<std::shared_ptr<KSProximityZoneContentCategory>>& disabledCategories,
    const ks::Dictionary& tags) {
  download(ks::NSURLRequestKS::beaconContentRequest(rootURL_, beaconIdentifiers,
                                                    extraItems(disabledCategories, tags)));
}

std::optional<ks::NSURLQueryItem> KSNetwork::queryItemForDisabledCategories(
    const std::vector<std::shared_ptr<KSProximityZoneContentCategory>>& categories) {
  if (categories.empty()) return std::nullopt;
  std::string list;
  const char* separator = "";
  for (const auto& category : categories) {
    const auto& identifier = category->identifier;
    if (!identifier || identifier == KSProximityZoneContentCategory::kLocalIdentifier) continue;
    list.append(std::exchange(separator, ",")).append(*identifier);
  }
  return ks::NSURLQueryItem{"dc", std::move(list)};
}

std::vector<ks::NSURLQueryItem> KSNetwork::queryItemsForTags(const ks::Dictionary& tags) {
  std::vector<ks::NSURLQueryItem> items;
  for (const auto& [name, value] : tags) items.push_back({"_" + name, value.description()});
  return items;
}

ks::Value KSNetwork::contentFromNotification(const ks::NSNotification& notification) {
  return notification.userInfo["result"];
}

std::shared_ptr<ks::Error> KSNetwork::errorFromNotification(
    const ks::NSNotification& notification) {
  return notification.userInfo["error"].objectOf<ks::Error>();
}

KSContentDownloadType KSNetwork::contentTypeFromNotification(
    const ks::NSNotification& notification) {
  const auto number = notification.userInfo["category"].integerValue();
  return static_cast<KSContentDownloadType>(static_cast<std::int32_t>(number));
}

ks::Value KSNetwork::metaDataFromNotification(const ks::NSNotification& notification) {
  return notification.userInfo["metaData"];
}
