#include <boost/url/encode.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/pct_string_view.hpp>
#include <boost/url/rfc/pchars.hpp>
#include <boost/url/url.hpp>
#include <charconv>
#include <string_view>

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Classes/Common/Foundation/UIDevice+UUID.h"
#include "BeaconSDK/Classes/Network/NSURLRequest+KS.h"
#include "BeaconSDK/Classes/Network/TextParts.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks::NSURLRequestKS {

namespace {

using Items = std::vector<NSURLQueryItem>;

/// The portal's unit; it understands these as they stand.
constexpr const char* kSearchRange = "7";

/// What a query's names and values hold unencoded.
constexpr auto kQueryItemChars = boost::urls::pchars + boost::urls::grammar::lut_chars("/?") -
                                 boost::urls::grammar::lut_chars("&=+;");

std::string queryText(const Items& items) {
  std::string text;
  for (const auto& item : items) {
    if (!text.empty()) text += '&';
    text += boost::urls::encode(item.name, kQueryItemChars);
    text += '=';
    text += boost::urls::encode(item.value, kQueryItemChars);
  }
  return text;
}

NSURL appending(const NSURL& rootURL, const std::string& component,
                const std::optional<Items>& items) {
  const auto parsed = boost::urls::parse_uri(rootURL.absoluteString);
  if (!parsed) {
    return {rootURL.absoluteString + component + (items ? "?" + queryText(*items) : "")};
  }
  boost::urls::url url(*parsed);
  std::string path(url.encoded_path());
  while (path.ends_with('/')) path.pop_back();
  url.set_encoded_path(path + component);
  if (items) url.set_encoded_query(queryText(*items));
  return {std::string(url.buffer())};
}

NSURLRequest readRequest(const NSURL& rootURL, const std::string& path,
                         const std::optional<Items>& items) {
  NSURLRequest request;
  request.url = appending(rootURL, path, items);
  addCustomUserAgenttoRequest(request);
  return request;
}

Items coordinateItems(const CLLocation& location, std::string range) {
  const auto& coordinate = location.coordinate;
  return {{"latitude", stringWithFormat("%f", coordinate.latitude)},
          {"longitude", stringWithFormat("%f", coordinate.longitude)},
          {"range", std::move(range)}};
}

/// Without an exponent: 100000, not 1e+05. The largest float has 39 digits, the smallest 45 places.
std::string shortestText(float number) {
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed);
  return {text, result.ptr};
}

const NSURLQueryItem kByCoordinate{"retrieveby", "coordinate"};

/// "retrieveby" first, then the coordinate.
Items nearbyItems(const std::optional<CLLocation>& location, std::string range) {
  if (!location) return {};
  Items items = coordinateItems(*location, std::move(range));
  items.insert(items.begin(), kByCoordinate);
  return items;
}

NSURLRequest eventRequest(const NSURL& rootURL, const std::string& portalIdentifier,
                          const char* event) {
  return defaultPostRequestWithUrl(
      appending(rootURL, "/" + portalIdentifier + "/" + event, std::nullopt));
}

/// Nothing for text with a broken percent escape.
std::optional<std::string> decoded(std::string_view text) {
  const auto encoded = boost::urls::make_pct_string_view(text);
  if (!encoded) return std::nullopt;
  return encoded->decode();
}

/// The values of all query items called `name`, in URL order. Works on any text, so also on that of
/// a root that is no URL.
std::vector<std::string> queryValues(const NSURLRequest& request, std::string_view name) {
  std::string_view rest = request.url.absoluteString;
  rest = rest.substr(0, rest.find('#'));
  nextPart(rest, '?');
  std::vector<std::string> values;
  while (!rest.empty()) {
    auto item = nextPart(rest, '&');
    const auto key = decoded(nextPart(item, '='));
    auto value = decoded(item);
    if (key == name && value) values.push_back(std::move(*value));
  }
  return values;
}

}  // namespace

NSURLRequest contentCategoryRequest(const NSURL& rootURL) {
  return readRequest(rootURL, "/contents/categories", std::nullopt);
}

NSURLRequest locationsRequest(const NSURL& rootURL, const std::optional<CLLocation>& location) {
  return readRequest(rootURL, "/locations", nearbyItems(location, kSearchRange));
}

NSURLRequest beaconsUniqueIdentifiersRequest(const NSURL& rootURL,
                                             const std::optional<CLLocation>& location,
                                             float range) {
  return readRequest(rootURL, "/beacons/unique-uuids", nearbyItems(location, shortestText(range)));
}

NSURLRequest proximityZonesForLocationRequest(const NSURL& rootURL,
                                              const std::string& locationIdentifier,
                                              const Items& additionalQueryItems) {
  Items items{{"retrieveby", "location"}, {"location", locationIdentifier}};
  items.insert(items.end(), additionalQueryItems.begin(), additionalQueryItems.end());
  return readRequest(rootURL, "/beacons", items);
}

NSURLRequest beaconContentRequest(const NSURL& rootURL,
                                  const std::vector<std::string>& beaconIdentifiers,
                                  const Items& additionalQueryItems) {
  Items items{{"retrieveby", "identifiers"}};
  for (const auto& identifier : beaconIdentifiers) items.push_back({"bid", identifier});
  items.insert(items.end(), additionalQueryItems.begin(), additionalQueryItems.end());
  return readRequest(rootURL, "/beacons", items);
}

NSURLRequest prefetchGeofencesRequest(const NSURL& rootURL, const CLLocation& location) {
  Items items = coordinateItems(location, kSearchRange);
  items.push_back(kByCoordinate);
  return readRequest(rootURL, "/geofences", items);
}

NSURLRequest enterProximityZoneRequest(const NSURL& rootURL, const std::string& portalIdentifier) {
  return eventRequest(rootURL, portalIdentifier, "enter");
}

NSURLRequest exitProximityZoneRequest(const NSURL& rootURL, const std::string& portalIdentifier) {
  return eventRequest(rootURL, portalIdentifier, "exit");
}

NSURLRequest proximityZoneNotificationRequest(const NSURL& rootURL,
                                              const std::string& portalIdentifier) {
  return eventRequest(rootURL, portalIdentifier, "notification");
}

NSURLRequest proximityZoneInteractionRequest(const NSURL& rootURL,
                                             const std::string& portalIdentifier) {
  return eventRequest(rootURL, portalIdentifier, "content");
}

NSURLRequest defaultPostRequestWithUrl(const NSURL& url) {
  NSURLRequest request;
  request.url = url;
  request.httpMethod = "POST";
  request.headers.set("Content-Type", "application/json");
  addCustomUserAgenttoRequest(request);
  return request;
}

void addCustomUserAgenttoRequest(NSURLRequest& request) {
  auto& device = Platform::current().device();
  request.headers.set("User-Agent", "iOS " + device.systemVersion() + "; " + device.machine());

  const std::string identifier = UIDeviceUUID::currentDeviceUUID();
  const std::string type = UIDeviceUUID::advertisingType();
  if (!identifier.empty() && !type.empty()) {
    request.headers.set(kIdentifierField, identifier + " " + type);
  }
  const auto version = Platform::current().libraryBundle().shortVersionString;
  if (version && !version->empty()) request.headers.set("X-KSL-SdkVersion", "ios v." + *version);
}

KSContentDownloadType contentType(const NSURLRequest& request) {
  const std::string_view url = request.url.absoluteString;
  const auto contains = [&](std::string_view part) {
    return url.find(part) != std::string_view::npos;
  };
  if (contains("/contents/categories")) return KSContentDownloadType::contentCategories;
  if (contains("/locations")) return KSContentDownloadType::locations;
  if (contains("/geofences")) return KSContentDownloadType::geofences;
  if (!contains("/beacons")) return KSContentDownloadType::unknown;
  if (contains("retrieveby=identifiers")) return KSContentDownloadType::contentForBeacons;
  if (contains("location=") || contains("latitude="))
    return KSContentDownloadType::zonesForLocation;
  return KSContentDownloadType::unknown;
}

std::optional<std::string> locationIdentifier(const NSURLRequest& request) {
  if (contentType(request) != KSContentDownloadType::zonesForLocation) return std::nullopt;
  auto values = queryValues(request, "location");
  if (values.empty()) return std::nullopt;
  return std::move(values.front());
}

std::vector<std::string> beaconIdentifiers(const NSURLRequest& request) {
  if (contentType(request) != KSContentDownloadType::contentForBeacons) return {};
  return queryValues(request, "bid");
}

}  // namespace ks::NSURLRequestKS
