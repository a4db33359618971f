#pragma once

#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Network/KSContentDownload.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

namespace ks {

/// One name and value of a URL's query, not yet percent-encoded.
struct NSURLQueryItem {
  std::string name;
  std::string value;
  friend bool operator==(const NSURLQueryItem&, const NSURLQueryItem&) = default;
};

/// The portal's requests. Any thread.
///
/// Each builder appends its path to the root URL, behind whatever path that has, and its query in
/// the order listed. In names and values the characters "&", "=", "+", ";", "#", "%", blanks and
/// everything outside ASCII are percent-encoded ("+" because many servers read a bare one as a
/// blank); ":" and "," stay as they are. An empty query leaves a bare "?".
///
/// A root that is no URL is not refused here: path and query are appended to its text, so the
/// request still tells its kind, and the URL session ends it with `NSURLError::badURL` or
/// `unsupportedURL`.
namespace NSURLRequestKS {

/// The field with the device's or the advertising identifier.
inline constexpr const char* kIdentifierField = "X-KSL-UID";

/// GET "/contents/categories".
NSURLRequest contentCategoryRequest(const NSURL& rootURL);

/// GET "/locations": "retrieveby"="coordinate", "latitude", "longitude" (degrees with six
/// decimals), "range"="7"; an empty query without a location.
NSURLRequest locationsRequest(const NSURL& rootURL, const std::optional<CLLocation>& location);

/// GET "/beacons/unique-uuids": as the locations, with the given range; an empty query without a
/// location.
NSURLRequest beaconsUniqueIdentifiersRequest(const NSURL& rootURL,
                                             const std::optional<CLLocation>& location,
                                             float range);

/// GET "/beacons": "retrieveby"="location", "location", then the extra items.
NSURLRequest proximityZonesForLocationRequest(
    const NSURL& rootURL, const std::string& locationIdentifier,
    const std::vector<NSURLQueryItem>& additionalQueryItems);

/// GET "/beacons": "retrieveby"="identifiers", one "bid" for each beacon, then the extra items.
/// A beacon identifier is "UUID:major:minor".
NSURLRequest beaconContentRequest(const NSURL& rootURL,
                                  const std::vector<std::string>& beaconIdentifiers,
                                  const std::vector<NSURLQueryItem>& additionalQueryItems);

/// GET "/geofences": "latitude", "longitude", "range"="7", "retrieveby"="coordinate".
NSURLRequest prefetchGeofencesRequest(const NSURL& rootURL, const CLLocation& location);

/// POST to "<portalIdentifier>/enter" under the root; likewise exit, notification and content.
NSURLRequest enterProximityZoneRequest(const NSURL& rootURL, const std::string& portalIdentifier);
NSURLRequest exitProximityZoneRequest(const NSURL& rootURL, const std::string& portalIdentifier);
NSURLRequest proximityZoneNotificationRequest(const NSURL& rootURL,
                                              const std::string& portalIdentifier);
NSURLRequest proximityZoneInteractionRequest(const NSURL& rootURL,
                                             const std::string& portalIdentifier);

/// A POST of JSON to `url`, without a body yet.
NSURLRequest defaultPostRequestWithUrl(const NSURL& url);

/// Sets "User-Agent", "X-KSL-UID" (left out without a device identifier) and "X-KSL-SdkVersion"
/// (left out without a library version), replacing earlier values. Every builder does it.
void addCustomUserAgenttoRequest(NSURLRequest& request);

/// Tells from the URL's text which of the builders made the request. Each test looks at the whole
/// text, so a root URL that itself contains "/locations" or "/beacons" misleads it.
KSContentDownloadType contentType(const NSURLRequest& request);

/// The value of the query item "location", only for `KSContentDownloadType::zonesForLocation`.
std::optional<std::string> locationIdentifier(const NSURLRequest& request);

/// The values of the query items "bid" in their order, only for
/// `KSContentDownloadType::contentForBeacons`.
std::vector<std::string> beaconIdentifiers(const NSURLRequest& request);

}  // namespace NSURLRequestKS
}  // namespace ks
