#include "tools/ksbeacon/simulate/SiteZones.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/object.hpp>
#include <cmath>
#include <filesystem>
#include <map>
#include <numbers>
#include <optional>
#include <utility>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "tools/ksbeacon/output/Suggestion.h"
#include "tools/ksbeacon/portal/PortalDocuments.h"

namespace ks::tool {

namespace {

namespace json = boost::json;

std::string memberText(const json::object& object, const char* name) {
  const json::value* const value = object.if_contains(name);
  if (value == nullptr) return "";
  if (value->is_string()) return std::string(value->get_string());
  return value->is_int64() ? std::to_string(value->get_int64()) : "";
}

double memberNumber(const json::object& object, const char* name) {
  const json::value* const value = object.if_contains(name);
  return value != nullptr && value->is_number() ? value->to_number<double>() : 0;
}

using Places = std::map<std::string, CLLocationCoordinate2D>;

Places beaconPlaces(const Scenario& scenario) {
  Places places;
  for (const Scenario::Beacon& beacon : scenario.beacons) {
    const SimulatedBeacon& radio = beacon.radio;
    places.emplace(
        fmt::format("{}:{}:{}", radio.proximityUUID.UUIDString(), radio.major, radio.minor),
        radio.coordinate);
  }
  return places;
}

std::optional<SiteZone> zoneFrom(const json::object& item, bool isCircle, const Places& places) {
  const json::value* const content = item.if_contains("content");
  if (content == nullptr || !content->is_object()) return std::nullopt;
  const json::object& told = content->get_object();
  SiteZone zone;
  zone.zone = memberText(item, "id");
  zone.content = memberText(told, "id");
  zone.title = memberText(told, "title");
  zone.isCircle = isCircle;
  if (isCircle) {
    zone.coordinate = {memberNumber(item, "latitude"), memberNumber(item, "longitude")};
    zone.radius = {memberNumber(item, "radius")};
    return zone;
  }
  const auto place = places.find(fmt::format("{}:{}:{}", asciiUpperCased(memberText(item, "uuid")),
                                             memberText(item, "major"), memberText(item, "minor")));
  if (place == places.end()) return std::nullopt;
  zone.coordinate = place->second;
  zone.radius = memberText(told, "proximity") == "IMMEDIATE" ? kImmediateBorder : kNearBorder;
  return zone;
}

/// Metres from the middle of a zone; flat, which is exact enough near it.
struct Offset {
  double east;
  double north;
};

Offset offsetFrom(CLLocationCoordinate2D middle, CLLocationCoordinate2D place) {
  constexpr double kMetres = std::numbers::pi / 180 * kMeanEarthRadius.value;
  return {(place.longitude - middle.longitude) * kMetres *
              std::cos(middle.latitude * std::numbers::pi / 180),
          (place.latitude - middle.latitude) * kMetres};
}

struct Stay {
  Date from;
  Date to;
};

/// The part of the way from `a` to `b` that lies inside a circle around 0, as shares of it.
std::optional<std::pair<double, double>> shareInside(Offset a, Offset b, double radius) {
  const double dx = b.east - a.east;
  const double dy = b.north - a.north;
  const double square = dx * dx + dy * dy;
  const double beyond = a.east * a.east + a.north * a.north - radius * radius;
  if (square == 0) return beyond <= 0 ? std::optional(std::pair(0.0, 1.0)) : std::nullopt;
  const double half = (a.east * dx + a.north * dy) / square;
  const double root = half * half - beyond / square;
  if (root < 0) return std::nullopt;
  const double first = std::max(0.0, -half - std::sqrt(root));
  const double last = std::min(1.0, -half + std::sqrt(root));
  return first < last ? std::optional(std::pair(first, last)) : std::nullopt;
}

void addStay(std::vector<Stay>& stays, Stay stay) {
  constexpr Seconds kGap{0.001};
  if (!stays.empty() && stay.from - stays.back().to < kGap) {
    stays.back().to = stay.to;
  } else {
    stays.push_back(stay);
  }
}

std::vector<Stay> staysIn(const SiteZone& zone, const std::vector<SimulatedWalk::Leg>& legs) {
  std::vector<Stay> stays;
  const auto move = [&](Date from, Date to, CLLocationCoordinate2D a, CLLocationCoordinate2D b) {
    const auto inside = shareInside(offsetFrom(zone.coordinate, a), offsetFrom(zone.coordinate, b),
                                    zone.radius.value);
    if (!inside || from == to) return;
    addStay(stays, {from + (to - from) * inside->first, from + (to - from) * inside->second});
  };
  for (std::size_t i = 0; i < legs.size(); ++i) {
    const SimulatedWalk::Leg& leg = legs[i];
    // Between two visits nobody walks.
    constexpr Seconds kLongestWay{3600};
    if (i > 0 && leg.arrival - legs[i - 1].departure < kLongestWay) {
      move(legs[i - 1].departure, leg.arrival, legs[i - 1].coordinate, leg.coordinate);
    }
    move(leg.arrival, leg.departure, leg.coordinate, leg.coordinate);
  }
  return stays;
}

TimelineEvent presence(const SiteZone& zone, Seconds at, bool isEnter) {
  TimelineEvent event;
  event.at = at;
  event.kind = TimelineKind::presence;
  event.text = fmt::format("the visitor {} zone {}", isEnter ? "enters" : "leaves", zone.zone);
  event.details = {
      {"content", zone.content}, {"zone", zone.zone}, {"event", isEnter ? "enter" : "exit"}};
  return event;
}

Error mistake(const std::string& message) { return {"ks.scenario", 0, message}; }

/// A phone's category that is none of the portal's; nothing when the document is broken.
std::optional<Error> unknownCategory(const Scenario& scenario) {
  if (!scenario.population) return std::nullopt;
  std::vector<std::string> known;
  const auto document =
      portal::readDocument(portal::DocumentKind::categories, scenario.portal.documents);
  for (const json::value& item : document.items) {
    if (item.is_object()) known.push_back(memberText(item.get_object(), "id"));
  }
  const auto& phones = scenario.population->phones;
  for (std::size_t i = 0; i < phones.size(); ++i) {
    for (const std::string& name : phones[i].disabledCategories) {
      if (std::ranges::find(known, name) != known.end()) continue;
      return mistake(fmt::format(
          "{}: population.phones[{}].disabledCategories: expected a category of the portal's "
          "documents, got \"{}\"{}",
          scenario.file.string(), i, name, suggestion(name, known)));
    }
  }
  return std::nullopt;
}

}  // namespace

Result<std::vector<SiteZone>> siteZones(const Scenario& scenario) {
  const std::filesystem::path& folder = scenario.portal.documents;
  std::error_code ignored;
  if (!std::filesystem::is_directory(folder, ignored)) {
    return mistake(folder.string() + ": expected a folder of portal documents");
  }
  if (auto unknown = unknownCategory(scenario)) return std::move(*unknown);
  std::vector<SiteZone> zones;
  const Places places = beaconPlaces(scenario);
  for (const auto kind : {portal::DocumentKind::beacons, portal::DocumentKind::geofences}) {
    const portal::PortalDocument document = portal::readDocument(kind, folder);
    if (!document.problems.empty()) {
      return mistake(document.problems.front().description());
    }
    for (const json::value& item : document.items) {
      auto zone = zoneFrom(item.get_object(), kind == portal::DocumentKind::geofences, places);
      if (zone) zones.push_back(std::move(*zone));
    }
  }
  return zones;
}

std::vector<TimelineEvent> presencesOf(const Scenario& scenario,
                                       const std::vector<SiteZone>& zones) {
  const SimulatedWalk walk(scenario.start, scenario.walk.stops);
  std::vector<TimelineEvent> events;
  for (const SiteZone& zone : zones) {
    for (const Stay& stay : staysIn(zone, walk.legs())) {
      events.push_back(presence(zone, stay.from - scenario.start, true));
      events.push_back(presence(zone, stay.to - scenario.start, false));
    }
  }
  std::ranges::stable_sort(events, {}, &TimelineEvent::at);
  return events;
}

}  // namespace ks::tool
