#include "BeaconSDK/Classes/Network/PortalReplies.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Location/KSLocation.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Network/NSURLRequest+KS.h"
#include "BeaconSDK/Classes/Network/PortalNumber.h"
#include "BeaconSDK/Classes/Network/TextParts.h"

namespace ks {

namespace {

constexpr LogSource kLog{"BeaconSDK/Classes/Network/KSNetwork"};
constexpr const char* kRouting = "-[KSNetwork URLSession:downloadTask:didFinishDownloadingToURL:]";

constexpr int kStatusUnauthorized = 401;

bool isSuccess(int statusCode) { return statusCode >= 200 && statusCode < 300; }

Dictionary locationMetaData(const std::optional<std::string>& locationIdentifier) {
  return {{"locationIdentifier", locationIdentifier.value_or(" ")}};
}

/// The parts of a beacon identifier "UUID:major:minor"; missing parts are empty or 0.
struct BeaconReference {
  explicit BeaconReference(std::string_view identifier) {
    const auto uuidText = nextPart(identifier, ':');
    uuid = UUID::fromString(uuidText);
    isCanonical = uuid && uuid->UUIDString() == uuidText;
    major = PortalNumber::integerFromText(nextPart(identifier, ':'));
    minor = PortalNumber::integerFromText(nextPart(identifier, ':'));
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

  std::optional<UUID> uuid;
  /// Only the upper-case form of the UUID names a zone.
  bool isCanonical = false;
  std::int32_t major = 0;
  std::int32_t minor = 0;
};

}  // namespace

PortalReplies::PortalReplies(ContentCompletionBlock completionBlock)
    : completionBlock_(std::move(completionBlock)) {}

ContentCompletionBlock PortalReplies::completionBlock() const {
  const std::lock_guard lock(blockMutex_);
  return completionBlock_;
}

void PortalReplies::setCompletionBlock(ContentCompletionBlock block) {
  const std::lock_guard lock(blockMutex_);
  completionBlock_ = std::move(block);
}

bool PortalReplies::read(const NSURLRequest& request, int statusCode,
                         const std::filesystem::path& file) {
  documentIsParsed_ = false;
  statusCode_ = statusCode;
  const auto type = NSURLRequestKS::contentType(request);
  if (statusCode == kStatusUnauthorized) {
    kLog(kRouting, "Error");
    if (refusalHandler_) refusalHandler_(type);
  } else {
    route(type, request, file);
  }
  return documentIsParsed_;
}

void PortalReplies::route(KSContentDownloadType type, const NSURLRequest& request,
                          const std::filesystem::path& file) {
  switch (type) {
    case KSContentDownloadType::contentCategories:
      kLog(kRouting, "Content categories succesfully fetched");
      return contentCategoriesDownloadedToURL(file);
    case KSContentDownloadType::locations:
      kLog(kRouting, "Locations succesfully fetched");
      return locationsDownloadedToURL(file);
    case KSContentDownloadType::zonesForLocation: {
      const auto location = NSURLRequestKS::locationIdentifier(request);
      kLog(kRouting, "Beacon zones + content fetched for location: %@", location);
      return proximityZonesForLocation(location, file);
    }
    case KSContentDownloadType::contentForBeacons: {
      const auto identifiers = NSURLRequestKS::beaconIdentifiers(request);
      for (const auto& identifier : identifiers) {
        kLog(kRouting, "Beacon zones + content fetched for bid: %@", identifier);
      }
      return proximityZonesForBeaconIdentifiers(identifiers, file);
    }
    case KSContentDownloadType::geofences:
      kLog(kRouting, "Geofence zones + content succesfully fetched");
      return contentGeofencesDownloadedForLocation(NSURLRequestKS::locationIdentifier(request),
                                                   file);
    case KSContentDownloadType::unknown:
      return;
  }
}

template <class Converter>
std::optional<KSResponseParser::Records<Converter>> PortalReplies::processJSONAtLocation(
    const std::filesystem::path& file, const Converter& itemConverter, KSContentDownloadType type) {
  const auto bytes = readFile(file);
  if (!bytes) return KSResponseParser::Records<Converter>{};
  auto records =
      KSResponseParser::records(std::string(bytes->begin(), bytes->end()), itemConverter);
  documentIsParsed_ = records.ok();
  if (records) return std::move(records.value());
  Error error = records.error();
  if (!isSuccess(statusCode_)) {
    error =
        NSErrorHelpers::errorWithDescription("The portal answered " + std::to_string(statusCode_));
  }
  NSLog("%@", error);
  notifyContentDownloadErrorForType(type, error);
  return std::nullopt;
}

void PortalReplies::contentCategoriesDownloadedToURL(const std::filesystem::path& file) {
  constexpr auto kType = KSContentDownloadType::contentCategories;
  notifyNewContentAvailableForType(
      kType, processJSONAtLocation(file, KSResponseParser::convertToCategory, kType));
}

void PortalReplies::locationsDownloadedToURL(const std::filesystem::path& file) {
  constexpr auto kType = KSContentDownloadType::locations;
  notifyNewContentAvailableForType(
      kType, processJSONAtLocation(file, KSResponseParser::convertToLocation, kType));
}

void PortalReplies::proximityZonesForLocation(const std::optional<std::string>& locationIdentifier,
                                              const std::filesystem::path& file) {
  constexpr auto kType = KSContentDownloadType::zonesForLocation;
  const auto convert = [this](const PortalObject& item) {
    return parser_.convertToPrivateBeacon(item);
  };
  notifyNewContentAvailableForType(kType, processJSONAtLocation(file, convert, kType),
                                   locationMetaData(locationIdentifier));
}

void PortalReplies::contentGeofencesDownloadedForLocation(
    const std::optional<std::string>& locationIdentifier, const std::filesystem::path& file) {
  constexpr auto kType = KSContentDownloadType::geofences;
  const auto convert = [this](const PortalObject& item) { return parser_.convertToGeofence(item); };
  notifyNewContentAvailableForType(kType, processJSONAtLocation(file, convert, kType),
                                   locationMetaData(locationIdentifier));
}

void PortalReplies::proximityZonesForBeaconIdentifiers(
    const std::vector<std::string>& beaconIdentifiers, const std::filesystem::path& file) {
  constexpr auto kType = KSContentDownloadType::contentForBeacons;
  const auto convert = [this](const PortalObject& item) {
    return parser_.convertToPrivateBeacon(item);
  };
  auto zones = processJSONAtLocation(file, convert, kType).value_or(RecordList<KSPrivateBeacon>{});
  const auto parsed = zones;
  for (const auto& identifier : beaconIdentifiers) {
    const BeaconReference reference(identifier);
    const bool isKnown = std::any_of(parsed.begin(), parsed.end(),
                                     [&](const auto& zone) { return reference.names(*zone); });
    if (!isKnown) zones.push_back(reference.placeholder());
  }
  notifyNewContentAvailableForType(kType, zones);
}

void PortalReplies::notifyNewContentAvailableForType(KSContentDownloadType type,
                                                     const std::optional<Records>& content) const {
  if (content) notifyNewContentAvailableForType(type, content, {});
}

void PortalReplies::notifyNewContentAvailableForType(KSContentDownloadType type,
                                                     const std::optional<Records>& content,
                                                     const Dictionary& metaData) const {
  if (const auto block = completionBlock()) block(type, content, metaData, std::nullopt);
}

void PortalReplies::notifyContentDownloadErrorForType(KSContentDownloadType type,
                                                      const Error& error) const {
  if (const auto block = completionBlock()) block(type, std::nullopt, std::nullopt, error);
}

}  // namespace ks
