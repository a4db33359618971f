#include "tools/ksbeacon/scenario/ScenarioText.h"

#include <cmath>
#include <utility>
#include <vector>

#include "tools/ksbeacon/output/JsonText.h"

namespace ks::tool {

namespace {

using Kind = Scenario::Event::Kind;

double rounded(double number, double steps) { return std::round(number * steps) / steps; }
double inMilliseconds(Seconds at) { return rounded(at.count(), 1000); }

Dictionary placeText(const CLLocationCoordinate2D& place) {
  return {{"latitude", rounded(place.latitude, 1e7)}, {"longitude", rounded(place.longitude, 1e7)}};
}

/// A list with an entry a line.
std::string list(const std::vector<Dictionary>& entries) {
  std::string text;
  for (const Dictionary& entry : entries) {
    text += (text.empty() ? "\n    " : ",\n    ") + jsonText(entry);
  }
  return text.empty() ? "[]" : "[" + text + "\n  ]";
}

Dictionary applicationText(const Scenario::Application& application) {
  Dictionary text{{"bundleIdentifier", application.bundleIdentifier},
                  {"foreground", application.foreground},
                  {"showsNotifications", application.showsNotifications}};
  Dictionary tags;
  for (const auto& [name, value] : application.tags) tags.set(name, value);
  if (!tags.empty()) text.set("tags", tags);
  const auto& categories = application.disabledCategories;
  if (!categories.empty()) {
    text.set("disabledCategories", Array(std::vector<Value>(categories.begin(), categories.end())));
  }
  std::vector<Value> refinements;
  for (const auto& [name, member] : ks::Refinements::named()) {
    if (application.refinements.*member) refinements.emplace_back(name);
  }
  if (!refinements.empty()) text.set("refinements", Array(std::move(refinements)));
  return text;
}

Dictionary beaconText(const Scenario::Beacon& beacon) {
  return {{"name", beacon.name},
          {"at", placeText(beacon.radio.coordinate)},
          {"uuid", beacon.radio.proximityUUID.UUIDString()},
          {"major", beacon.radio.major},
          {"minor", beacon.radio.minor}};
}

std::string walkText(const Scenario& scenario) {
  const Scenario::Walk& walk = scenario.walk;
  std::vector<Dictionary> steps;
  for (std::size_t i = 0; i < walk.stops.size(); ++i) {
    const SimulatedWaypoint& stop = walk.stops[i];
    if (i > 0) {
      steps.push_back({{"to", placeText(stop.coordinate)},
                       {"speed", std::max(0.01, rounded(stop.speed.value, 100))},
                       {"accuracy", rounded(stop.accuracy.value, 10)}});
    }
    if (stop.pause.count() > 0) steps.push_back({{"pause", inMilliseconds(stop.pause)}});
  }
  std::vector<Dictionary> outages;
  for (const DateInterval& span : walk.outages) {
    outages.push_back({{"from", inMilliseconds(span.from - scenario.start)},
                       {"to", inMilliseconds(span.to - scenario.start)}});
  }
  return "{\"from\": " + jsonText(placeText(walk.stops.front().coordinate)) +
         ",\n  \"accuracy\": " + jsonText(rounded(walk.stops.front().accuracy.value, 10)) +
         ",\n  \"outages\": " + list(outages) + ",\n  \"steps\": " + list(steps) + "}";
}

Dictionary eventText(const Scenario::Event& event) {
  Dictionary text{{"at", inMilliseconds(event.at)},
                  {"do", eventNames().at(static_cast<std::size_t>(event.kind))}};
  switch (event.kind) {
    case Kind::setPermission:
      text.set("permission", permissionName(event.permission));
      break;
    case Kind::setTag:
      text.set("tag", event.name);
      text.set("value", event.value);
      break;
    case Kind::deleteTag:
      text.set("tag", event.name);
      break;
    case Kind::enableCategory:
    case Kind::disableCategory:
      text.set("category", event.name);
      break;
    case Kind::openContent:
    case Kind::showNotification:
      text.set("content", event.name);
      break;
    case Kind::restart:
      text.set("downtime", inMilliseconds(event.downtime));
      break;
    default:
      break;
  }
  return text;
}

}  // namespace

std::string scenarioText(const Scenario& scenario, const std::string& documents) {
  std::vector<Dictionary> beacons;
  for (const Scenario::Beacon& beacon : scenario.beacons) beacons.push_back(beaconText(beacon));
  std::vector<Dictionary> events;
  for (const Scenario::Event& event : scenario.events) events.push_back(eventText(event));
  std::vector<Dictionary> expected;
  for (const Scenario::Expectation& each : scenario.expectations) {
    if (each.subject == Scenario::Expectation::Subject::content) {
      expected.push_back({{"content", each.name}});
    }
  }
  const Scenario::Credentials& user = scenario.portal.credentials;
  const std::vector<std::pair<const char*, std::string>> members = {
      {"title", jsonText(scenario.title)},
      {"start", jsonText(dateInUTC(scenario.start))},
      {"timeZone", jsonText(scenario.timeZone)},
      {"locale", jsonText(scenario.language + "_" + scenario.country)},
      {"until", jsonText(inMilliseconds(scenario.until))},
      {"permission", jsonText(permissionName(scenario.permission))},
      {"portal",
       jsonText(Dictionary{
           {"documents", documents}, {"username", user.username}, {"password", user.password}})},
      {"application", jsonText(applicationText(scenario.application))},
      {"beacons", list(beacons)},
      {"walk", walkText(scenario)},
      {"events", list(events)},
      {"expect", list(expected)}};
  std::string text;
  for (const auto& [name, value] : members) {
    text += (text.empty() ? "{\n  \"" : ",\n  \"") + std::string(name) + "\": " + value;
  }
  return text + "\n}\n";
}

}  // namespace ks::tool
