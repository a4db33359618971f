// Transfers: starting them, and what becomes of a finished one.

#include <algorithm>
#include <atomic>
#include <system_error>
#include <utility>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Location/KSLocation.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "BeaconSDK/Classes/Network/PortalNumber.h"

namespace {

constexpr ks::LogSource kLog{"BeaconSDK/Classes/Network/KSNetwork"};
constexpr const char* kRouting = "-[KSNetwork URLSession:downloadTask:didFinishDownloadingToURL:]";

constexpr int kStatusUnauthorized = 401;

/// Counts the uploads of the process, so that those of one second have files of their own.
std::atomic<std::int32_t> nextUpload{1};

std::filesystem::path nextUploadFile(ks::Date now) {
  const double seconds = ks::secondsSince1970(now);
  return ks::NSFileManagerHelpers::tempFilePath(ks::stringWithFormat(
      "%d-%d.dat", static_cast<std::int64_t>(seconds), nextUpload.fetch_add(1)));
}

ks::Dictionary locationMetaData(const std::optional<std::string>& locationIdentifier) {
  return {{"locationIdentifier", locationIdentifier.value_or(" ")}};
}

/// The parts of a beacon identifier "UUID:major:minor"; missing parts are empty or 0.
struct BeaconReference {
  explicit BeaconReference(std::string_view identifier) {
    const auto uuidText = nextPart(identifier);
    uuid = ks::UUID::fromString(uuidText);
    isCanonical = uuid && uuid->UUIDString() == uuidText;
    major = ks::PortalNumber::integerFromText(nextPart(identifier));
    minor = ks::PortalNumber::integerFromText(nextPart(identifier));
  }

  bool names(const KSPrivateBeacon& zone) const {
    return isCanonical && zone.uuid() == uuid && zone.major() == major && zone.minor() == minor;
  }
  std::shared_ptr<KSPrivateBeacon> placeholder() const {
    auto zone = std::make_shared<KSPrivateBeacon>();
    zone->setState(KSPrivateBeaconState::noContent);
    zone->setUuid(uuid);
    zone->setMajor(major);
    zone->setMinor(minor);
    return zone;
  }

  std::optional<ks::UUID> uuid;
  /// Only the upper-case form of the UUID names a zone.
  bool isCanonical = false;
  std::int32_t major = 0;
  std::int32_t minor = 0;

 private:
  /// Cuts the first part off `rest`.
  static std::string_view nextPart(std::string_view& rest) {
    const auto part = rest.substr(0, rest.find(':'));
    rest.remove_prefix(std::min(part.size() + 1, rest.size()));
    return part;
  }
};

}  // namespace

void KSNetwork::download(ks::NSURLRequest request) {
  if (isReset_) return;
  urlSession_->downloadTaskWithRequest(std::move(request))->resume();
}

void KSNetwork::upload(ks::NSURLRequest request, UploadCompletion completion) {
  if (isReset_) return;
  const auto file = nextUploadFile(clock_.now());
  if (!ks::writeFileAtomically(file, request.httpBody)) {
    ks::NSLog("%@", ks::NSErrorHelpers::errorWithDescription("Cannot write " + file.string()));
    if (completion) completion(std::nullopt);
    return;
  }
  {
    const std::lock_guard lock(uploadsMutex_);
    uploads_.emplace(file, std::move(completion));
  }
  const auto task = urlSession_->uploadTaskWithRequest(std::move(request), file);
  task->setTaskDescription(file.string());
  task->resume();
}

KSNetwork::~KSNetwork() {
  std::error_code ignored;
  for (const auto& [file, completion] : uploads_) std::filesystem::remove(file, ignored);
}

void KSNetwork::didFinishDownloadingToURL(ks::NSURLSession&, ks::NSURLSessionTask& downloadTask,
                                          const std::filesystem::path& file) {
  documentIsParsed_ = false;
  const auto response = downloadTask.response();
  if (!response) return;
  if (response->statusCode == kStatusUnauthorized) {
    kLog(kRouting, "Error");
    if (refusalHandler_) {
      refusalHandler_(ks::NSURLRequestKS::contentType(downloadTask.originalRequest()));
    }
    return;
  }
  const auto& request = downloadTask.originalRequest();
  switch (ks::NSURLRequestKS::contentType(request)) {
    case KSContentDownloadType::contentCategories:
      kLog(kRouting, "Content categories succesfully fetched");
      return contentCategoriesDownloadedToURL(file);
    case KSContentDownloadType::locations:
      kLog(kRouting, "Locations succesfully fetched");
      return locationsDownloadedToURL(file);
    case KSContentDownloadType::zonesForLocation: {
      const auto location = ks::NSURLRequestKS::locationIdentifier(request);
      kLog(kRouting, "Beacon zones + content fetched for location: %@", location);
      return proximityZonesForLocation(location, file);
    }
    case KSContentDownloadType::contentForBeacons: {
      const auto identifiers = ks::NSURLRequestKS::beaconIdentifiers(request);
      for (const auto& identifier : identifiers) {
        kLog(kRouting, "Beacon zones + content fetched for bid: %@", identifier);
      }
      return proximityZonesForBeaconIdentifiers(identifiers, file);
    }
    case KSContentDownloadType::geofences:
      kLog(kRouting, "Geofence zones + content succesfully fetched");
      return contentGeofencesDownloadedForLocation(ks::NSURLRequestKS::locationIdentifier(request),
                                                   file);
    case KSContentDownloadType::unknown:
      return;
  }
}

bool KSNetwork::willCacheResponse(ks::NSURLSession&, ks::NSURLSessionTask&) {
  return documentIsParsed_;
}

void KSNetwork::didCompleteWithError(ks::NSURLSession&, ks::NSURLSessionTask& task,
                                     const std::optional<ks::Error>& error) {
  if (task.kind() == ks::NSURLSessionTask::Kind::upload) {
    finishUpload(task, error);
  } else if (error) {
    notifyContentDownloadErrorForType(ks::NSURLRequestKS::contentType(task.originalRequest()),
                                      *error);
  }
}

void KSNetwork::didBecomeInvalidWithError(ks::NSURLSession&, const std::optional<ks::Error>&) {}

void KSNetwork::didFinishEventsForBackgroundURLSession(ks::NSURLSession&) {
  std::function<void()> handler;
  {
    const std::lock_guard lock(blocksMutex_);
    handler = std::exchange(backgroundSessionCompletionHandler_, nullptr);
  }
  // Behind the results of this session that went to the main queue before.
  if (handler) mainQueue_.async(std::move(handler));
}

void KSNetwork::finishUpload(ks::NSURLSessionTask& task, std::optional<ks::Error> error) {
  const std::filesystem::path file = task.taskDescription();
  UploadCompletion completion;
  {
    const std::lock_guard lock(uploadsMutex_);
    if (auto entry = uploads_.extract(file)) completion = std::move(entry.mapped());
  }
  const auto response = error ? std::nullopt : task.response();
  const auto status = response ? std::optional(response->statusCode) : std::nullopt;
  std::error_code reason;
  if (!std::filesystem::remove(file, reason)) {
    if (!reason) reason = std::make_error_code(std::errc::no_such_file_or_directory);
    error = ks::NSErrorHelpers::errorWithDescription("Cannot remove " + file.string() + ": " +
                                                     reason.message());
  }
  if (error) ks::NSLog("%@", *error);
  if (completion) completion(status);
}

void KSNetwork::contentCategoriesDownloadedToURL(const std::filesystem::path& file) {
  constexpr auto kType = KSContentDownloadType::contentCategories;
  notifyNewContentAvailableForType(
      kType, processJSONAtLocation(file, KSResponseParser::convertToCategory, kType));
}

void KSNetwork::locationsDownloadedToURL(const std::filesystem::path& file) {
  constexpr auto kType = KSContentDownloadType::locations;
  notifyNewContentAvailableForType(
      kType, processJSONAtLocation(file, KSResponseParser::convertToLocation, kType));
}

void KSNetwork::proximityZonesForLocation(const std::optional<std::string>& locationIdentifier,
                                          const std::filesystem::path& file) {
  constexpr auto kType = KSContentDownloadType::zonesForLocation;
  const auto convert = [this](const ks::PortalObject& item) {
    return parser_.convertToPrivateBeacon(item);
  };
  notifyNewContentAvailableForType(kType, processJSONAtLocation(file, convert, kType),
                                   locationMetaData(locationIdentifier));
}

void KSNetwork::contentGeofencesDownloadedForLocation(
    const std::optional<std::string>& locationIdentifier, const std::filesystem::path& file) {
  constexpr auto kType = KSContentDownloadType::geofences;
  const auto convert = [this](const ks::PortalObject& item) {
    return parser_.convertToGeofence(item);
  };
  notifyNewContentAvailableForType(kType, processJSONAtLocation(file, convert, kType),
                                   locationMetaData(locationIdentifier));
}

void KSNetwork::proximityZonesForBeaconIdentifiers(
    const std::vector<std::string>& beaconIdentifiers, const std::filesystem::path& file) {
  constexpr auto kType = KSContentDownloadType::contentForBeacons;
  const auto convert = [this](const ks::PortalObject& item) {
    return parser_.convertToPrivateBeacon(item);
  };
  auto zones =
      processJSONAtLocation(file, convert, kType).value_or(ks::RecordList<KSPrivateBeacon>{});
  const auto parsed = zones;
  for (const auto& identifier : beaconIdentifiers) {
    const BeaconReference reference(identifier);
    const bool isKnown = std::any_of(parsed.begin(), parsed.end(),
                                     [&](const auto& zone) { return reference.names(*zone); });
    if (!isKnown) zones.push_back(reference.placeholder());
  }
  notifyNewContentAvailableForType(kType, zones);
}

std::optional<std::string> KSNetwork::documentAtLocation(const std::filesystem::path& file) {
  const auto bytes = ks::readFile(file);
  if (!bytes) return std::nullopt;
  return std::string(bytes->begin(), bytes->end());
}

void KSNetwork::reportUnreadable(KSContentDownloadType type, const ks::Error& error) const {
  ks::NSLog("%@", error);
  notifyContentDownloadErrorForType(type, error);
}

ks::Dictionary KSNetwork::sanitizeDictionary(const ks::Dictionary& dictionary) {
  return KSResponseParser::sanitizeDictionary(dictionary);
}

std::shared_ptr<KSProximityZoneContent> KSNetwork::contentFromType(std::string_view type) {
  return KSResponseParser::contentFromType(type);
}

std::int64_t KSNetwork::proximityFromString(std::string_view text) {
  return KSResponseParser::proximityFromString(text);
}

std::shared_ptr<KSPrivateBeacon> KSNetwork::convertToPrivateBeacon(
    const ks::Dictionary& item) const {
  return parser_.convertToPrivateBeacon(ks::PortalItem(item).root());
}
