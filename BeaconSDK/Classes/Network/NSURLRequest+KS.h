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
/// Each builder appends its path to the path of the root URL, and its query in the order listed. In
/// names and values the characters "&", "=", "+", ";", "#", "%", blanks and everything outside
/// ASCII are percent-encoded ("+" because many servers read a bare one as a blank); ":" and "," are
/// not. An empty query leaves a bare "?".
///
/// An invalid root URL is not rejected here: path and query are appended to its text, so the kind
/// of the request can still be recognized, and the URL session fails it with `NSURLError::badURL`
/// or `unsupportedURL`.
namespace NSURLRequestKS {

/// Header field with the device's or the advertising identifier.
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

/// Returns a POST of JSON to `url`, without a body.
NSURLRequest defaultPostRequestWithUrl(const NSURL& url);

/// Sets "User-Agent", "X-KSL-UID" (omitted without a device identifier) and "X-KSL-SdkVersion"
/// (omitted without a library version), replacing earlier values. Every builder calls it.
void addCustomUserAgenttoRequest(NSURLRequest& request);

/// Returns the kind of a request from its URL's text. Each test searches the whole text, so a root
/// URL that itself contains "/locations" or "/beacons" gives a wrong kind.
KSContentDownloadType contentType(const NSURLRequest& request);

/// Returns the value of the query item "location"; only for
/// `KSContentDownloadType::zonesForLocation`.
std::optional<std::string> locationIdentifier(const NSURLRequest& request);

/// Returns the values of the query items "bid" in order; only for
/// `KSContentDownloadType::contentForBeacons`.
std::vector<std::string> beaconIdentifiers(const NSURLRequest& request);

}  // namespace NSURLRequestKS
}  // namespace ks
