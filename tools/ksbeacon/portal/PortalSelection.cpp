#include "tools/ksbeacon/portal/PortalSelection.h"

#include <algorithm>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <charconv>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <unordered_map>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/UUID.h"

namespace ks::portal {

namespace json = boost::json;

namespace {

constexpr const char* kErrorDomain = "PortalQuery";

Error wrong(std::string message) { return {kErrorDomain, 400, std::move(message)}; }

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string decoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
    const int low = high >= 0 ? hexDigit(text[i + 2]) : -1;
    if (low >= 0) {
      result += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      result += text[i] == '+' ? ' ' : text[i];
    }
  }
  return result;
}

std::optional<double> numberOf(const std::string& text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// A member of a checked document as a number; numbers may be written as text.
double number(const json::object& object, const char* name) {
  const auto* value = object.if_contains(name);
  if (value == nullptr) return 0;
  if (value->is_number()) return value->to_number<double>();
  return value->is_string() ? numberOf(std::string(value->get_string())).value_or(0) : 0;
}

std::string text(const json::object& object, const char* name) {
  const auto* value = object.if_contains(name);
  if (value == nullptr) return "";
  if (value->is_int64()) return std::to_string(value->get_int64());
  if (value->is_uint64()) return std::to_string(value->get_uint64());
  return value->is_string() ? std::string(value->get_string()) : "";
}

const json::object* member(const json::object& object, const char* name) {
  const auto* value = object.if_contains(name);
  return value ? value->if_object() : nullptr;
}

CLLocationCoordinate2D coordinateOf(const json::object& object) {
  return {number(object, "latitude"), number(object, "longitude")};
}

/// A circle that a query asks for; without one everything is near.
struct Circle {
  std::optional<CLLocationCoordinate2D> center;
  double radius = 0;

  bool isNear(CLLocationCoordinate2D point, double reach = 0) const {
    return !center || distanceBetween(*center, point).value - reach <= radius;
  }
};

Result<Circle> circleOf(const PortalQuery& query) {
  const auto* by = query.find("retrieveby");
  const bool isEmpty = !query.find("latitude") && !query.find("longitude") && !query.find("range");
  if (by == nullptr && isEmpty) return Circle{};
  if (by != nullptr && *by != "coordinate") return wrong("retrieveby: expected coordinate");
  const auto read = [&](const char* name, double least, double most) -> std::optional<double> {
    const auto* item = query.find(name);
    const auto value = item ? numberOf(*item) : std::nullopt;
    // The comparison is false for NaN too.
    return value && *value >= least && *value <= most ? value : std::nullopt;
  };
  const auto latitude = read("latitude", -90, 90);
  const auto longitude = read("longitude", -180, 180);
  const auto range = read("range", 0, 40'000);
  if (!latitude) return wrong("latitude: expected degrees from -90 to 90");
  if (!longitude) return wrong("longitude: expected degrees from -180 to 180");
  if (!range) return wrong("range: expected kilometres from 0 to 40000");
  return Circle{CLLocationCoordinate2D{*latitude, *longitude}, *range * 1000};
}

/// The categories and tags of a query, as they apply to zones.
class ZoneFilter {
 public:
  explicit ZoneFilter(const PortalQuery& query) : query_(query) {
    const auto* list = query.find("dc");
    std::string_view rest = list ? std::string_view(*list) : "";
    while (!rest.empty()) {
      const auto comma = std::min(rest.find(','), rest.size());
      disabled_.emplace(rest.substr(0, comma));
      rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
  }

  bool isServed(const json::object& zone) const {
    const auto* tags = member(zone, "tags");
    return tags == nullptr || std::all_of(tags->begin(), tags->end(), [&](const auto& tag) {
             const auto* item = query_.find("_" + std::string(tag.key()));
             return item != nullptr && std::string_view(*item) == tag.value().get_string();
           });
  }

  json::object served(json::object zone) const {
    zone.erase("tags");
    const auto* content = member(zone, "content");
    if (content != nullptr && disabled_.contains(text(*content, "categoryId"))) {
      zone.erase("content");
    }
    return zone;
  }

 private:
  const PortalQuery& query_;
  std::set<std::string> disabled_;
};

/// UUID, major, minor.
using BeaconReference = std::tuple<UUID, std::int64_t, std::int64_t>;

UUID uuidOf(const json::object& beacon) {
  return UUID::fromString(text(beacon, "uuid")).value_or(UUID{});
}

BeaconReference referenceOf(const json::object& beacon) {
  return {uuidOf(beacon), static_cast<std::int64_t>(number(beacon, "major")),
          static_cast<std::int64_t>(number(beacon, "minor"))};
}

std::optional<BeaconReference> parseReference(const std::string& text) {
  const auto first = text.find(':');
  const auto second = first == std::string::npos ? first : text.find(':', first + 1);
  if (second == std::string::npos) return std::nullopt;
  const auto uuid = UUID::fromString(text.substr(0, first));
  const auto major = numberOf(text.substr(first + 1, second - first - 1));
  const auto minor = numberOf(text.substr(second + 1));
  const auto fits = [](const std::optional<double>& number) {
    return number && *number >= 0 && *number <= 65535;
  };
  if (!uuid || !fits(major) || !fits(minor)) return std::nullopt;
  return BeaconReference{*uuid, static_cast<std::int64_t>(*major),
                         static_cast<std::int64_t>(*minor)};
}

Result<json::array> selectByIdentifiers(const json::array& beacons, const PortalQuery& query) {
  const ZoneFilter filter(query);
  std::multimap<BeaconReference, const json::object*> known;
  for (const auto& beacon : beacons) {
    known.emplace(referenceOf(beacon.get_object()), &beacon.get_object());
  }
  json::array result;
  std::set<BeaconReference> answered;
  for (const auto& item : query.all("bid")) {
    const auto reference = parseReference(item);
    if (!reference) return wrong("bid: expected UUID:MAJOR:MINOR");
    if (!answered.insert(*reference).second) continue;
    const auto [begin, end] = known.equal_range(*reference);
    for (auto each = begin; each != end; ++each) {
      if (filter.isServed(*each->second)) result.push_back(filter.served(*each->second));
    }
  }
  return result;
}

}  // namespace

PortalQuery::PortalQuery(std::string_view query) {
  while (!query.empty()) {
    const auto end = std::min(query.find('&'), query.size());
    const auto item = query.substr(0, end);
    query.remove_prefix(std::min(end + 1, query.size()));
    if (item.empty()) continue;
    const auto equals = std::min(item.find('='), item.size());
    items_.emplace_back(decoded(item.substr(0, equals)),
                        decoded(item.substr(std::min(equals + 1, item.size()))));
  }
}

const std::string* PortalQuery::find(std::string_view name) const {
  for (const auto& item : items_) {
    if (item.first == name) return &item.second;
  }
  return nullptr;
}

std::vector<std::string> PortalQuery::all(std::string_view name) const {
  std::vector<std::string> values;
  for (const auto& item : items_) {
    if (item.first == name) values.push_back(item.second);
  }
  return values;
}

Result<json::array> selectLocations(const json::array& locations, const PortalQuery& query) {
  const auto circle = circleOf(query);
  if (!circle) return circle.error();
  json::array result;
  for (const auto& location : locations) {
    if (circle->isNear(coordinateOf(location.get_object()))) result.push_back(location);
  }
  return result;
}

Result<json::array> selectGeofences(const json::array& geofences, const PortalQuery& query) {
  const auto circle = circleOf(query);
  if (!circle) return circle.error();
  const ZoneFilter filter(query);
  json::array result;
  for (const auto& item : geofences) {
    const auto& zone = item.get_object();
    if (filter.isServed(zone) && circle->isNear(coordinateOf(zone), number(zone, "radius"))) {
      result.push_back(filter.served(zone));
    }
  }
  return result;
}

Result<json::array> selectBeacons(const json::array& beacons, const PortalQuery& query) {
  const auto* by = query.find("retrieveby");
  if (by != nullptr && *by == "identifiers") return selectByIdentifiers(beacons, query);
  const auto* location = query.find("location");
  if (by == nullptr || *by != "location" || location == nullptr) {
    return wrong("retrieveby: expected location with a location, or identifiers with bid items");
  }
  const ZoneFilter filter(query);
  json::array result;
  for (const auto& item : beacons) {
    const auto& zone = item.get_object();
    const auto* site = member(zone, "location");
    if (site != nullptr && text(*site, "id") == *location && filter.isServed(zone)) {
      result.push_back(filter.served(zone));
    }
  }
  return result;
}

Result<json::array> selectUniqueUUIDs(const json::array& beacons, const json::array& locations,
                                      const PortalQuery& query) {
  const auto circle = circleOf(query);
  if (!circle) return circle.error();
  std::set<std::string> sites;
  for (const auto& location : locations) {
    const auto& object = location.get_object();
    if (circle->isNear(coordinateOf(object))) sites.insert(text(object, "id"));
  }
  const ZoneFilter filter(query);
  json::array result;
  /// Where in the result each UUID stands, and whether by a zone without its content.
  std::unordered_map<UUID, std::pair<std::size_t, bool>> places;
  for (const auto& item : beacons) {
    const auto& zone = item.get_object();
    const auto* site = member(zone, "location");
    if (circle->center && (site == nullptr || !sites.contains(text(*site, "id")))) continue;
    const bool isServed = filter.isServed(zone);
    const auto [place, isNew] = places.try_emplace(uuidOf(zone), result.size(), !isServed);
    if (!isNew && !(isServed && place->second.second)) continue;
    json::object answer = filter.served(zone);
    if (!isServed) answer.erase("content");
    if (isNew) {
      result.push_back(std::move(answer));
    } else {
      result[place->second.first] = std::move(answer);
      place->second.second = false;
    }
  }
  return result;
}

}  // namespace ks::portal
