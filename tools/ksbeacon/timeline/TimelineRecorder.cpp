#include "tools/ksbeacon/timeline/TimelineRecorder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "tools/ksbeacon/documents/LocatedJson.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/timeline/DecisionText.h"

namespace ks::tool {

namespace {

double rounded(double number, double steps) { return std::round(number * steps) / steps; }

Value valueFrom(const JsonNode& node) {
  if (const bool* flag = node.boolean()) return *flag;
  if (const double* number = node.number()) return *number;
  if (const std::string* text = node.string()) return *text;
  if (const JsonNode::List* list = node.list()) {
    std::vector<Value> items;
    for (const JsonNode& item : *list) items.push_back(valueFrom(item));
    return Array(std::move(items));
  }
  if (const JsonNode::Members* members = node.members()) {
    Dictionary dictionary;
    for (const auto& [name, value] : *members) dictionary.set(name, valueFrom(value));
    return dictionary;
  }
  return Null{};
}

/// The transfer errors that a portal can cause, by their codes; their own texts name addresses.
std::string errorInWords(const Error& error) {
  switch (static_cast<NSURLError>(error.code())) {
    case NSURLError::cancelled:
      return "cancelled";
    case NSURLError::timedOut:
      return "timed out";
    case NSURLError::cannotFindHost:
    case NSURLError::cannotConnectToHost:
      return "cannot connect";
    case NSURLError::networkConnectionLost:
      return "connection lost";
    case NSURLError::badServerResponse:
      return "bad reply";
    default:
      return fmt::format("error {}", error.code());
  }
}

TimelineRecorder::BeaconIdentity identityOf(const CLBeacon& beacon) {
  return {beacon.proximityUUID, beacon.major, beacon.minor};
}

Dictionary regionDetails(const CLRegion& region, const char* change) {
  const auto* const circle = dynamic_cast<const CLCircularRegion*>(&region);
  Dictionary details{{"region", region.identifier()},
                     {"type", circle == nullptr ? "beacons" : "circle"},
                     {"change", change}};
  if (circle != nullptr) {
    details.set("latitude", rounded(circle->center().latitude, 1e6));
    details.set("longitude", rounded(circle->center().longitude, 1e6));
    details.set("radius", rounded(circle->radius().value, 10));
  }
  return details;
}

std::string regionInWords(const CLRegion& region) {
  if (const auto* beacons = dynamic_cast<const CLBeaconRegion*>(&region)) {
    return "beacons " + beacons->proximityUUID().UUIDString();
  }
  return "circle " + region.identifier();
}

}  // namespace

TimelineRecorder::TimelineRecorder(Timeline& timeline, Options options)
    : timeline_(timeline),
      options_(std::move(options)),
      watch_(
          [this](const ks::InvariantWatch::Breach& breach) {
            say(TimelineKind::breach, breach.text,
                {{"invariant", breach.invariant}, {"text", breach.text}});
          },
          options_.exactStays) {}

std::int64_t TimelineRecorder::breaches() {
  watch_.settle();
  return watch_.breaches();
}

void TimelineRecorder::add(TimelineEvent event) {
  event.at = clock_ == nullptr ? Seconds{0} : clock_->now() - options_.start;
  timeline_.add(event);
}

void TimelineRecorder::say(TimelineKind kind, std::string text, Dictionary details) {
  TimelineEvent event;
  event.kind = kind;
  event.text = std::move(text);
  event.details = std::move(details);
  // Some texts quote the portal's address, which is another one in every run.
  for (std::size_t at = 0; (at = event.text.find(options_.portalURL, at)) != std::string::npos;) {
    event.text.replace(at, options_.portalURL.size(), "PORTAL");
  }
  if (event.details.empty()) event.details.set("text", event.text);
  add(std::move(event));
}

void TimelineRecorder::triggerDecided(const ks::TriggerDecision& decision) {
  watch_.triggerDecided(decision);
  add(timelineEventFor(decision));
}

void TimelineRecorder::contentWithheld(const ks::ContentWithheld& withheld) {
  const auto list = [](const std::vector<std::string>& names) {
    return Array(std::vector<Value>(names.begin(), names.end()));
  };
  std::string sent;
  if (!withheld.disabledCategories.empty()) {
    sent += fmt::format(", without categories {}", fmt::join(withheld.disabledCategories, ", "));
  }
  if (!withheld.tags.empty()) {
    sent += fmt::format(", with tags {}", fmt::join(withheld.tags, ", "));
  }
  const std::string again = dateInUTC(withheld.asksAgain);
  say(TimelineKind::withheld,
      fmt::format("the portal has no content for {}{}; asked again from {}", withheld.beacon, sent,
                  again),
      {{"beacon", withheld.beacon},
       {"disabledCategories", list(withheld.disabledCategories)},
       {"tags", list(withheld.tags)},
       {"asksAgain", again}});
}

void TimelineRecorder::loginRefused() {
  say(TimelineKind::login, "the portal refuses the user's name or password", {{"accepted", false}});
}

void TimelineRecorder::contentRequested(const ks::ContentRequest& request) {
  std::vector<Value> identifiers(request.beaconIdentifiers.begin(),
                                 request.beaconIdentifiers.end());
  say(TimelineKind::request,
      fmt::format("content of {}", fmt::join(request.beaconIdentifiers, ", ")),
      {{"beacons", Array(std::move(identifiers))}});
}

void TimelineRecorder::cacheWritten(const ks::CacheWrite& write) {
  say(TimelineKind::cache, write.fileName + (write.success ? " written" : " could not be written"),
      {{"file", write.fileName}, {"written", write.success}});
}

void TimelineRecorder::regionActivityChanged(const ks::RegionActivity& activity) {
  static constexpr const char* kTexts[] = {"monitoring starts", "monitoring stops",
                                           "ranging starts", "ranging stops"};
  static constexpr const char* kNames[] = {"monitoringStarted", "monitoringStopped",
                                           "rangingStarted", "rangingStopped"};
  const auto kind = static_cast<std::size_t>(activity.kind);
  say(TimelineKind::region, fmt::format("{}: {}", activity.region.identifier(), kTexts[kind]),
      regionDetails(activity.region, kNames[kind]));
}

void TimelineRecorder::located(const CLLocation& location) {
  watch_.settle();
  say(TimelineKind::position,
      fmt::format("{:.6f}, {:.6f}, accuracy {:g} m", location.coordinate.latitude,
                  location.coordinate.longitude, location.horizontalAccuracy.value),
      {{"latitude", rounded(location.coordinate.latitude, 1e6)},
       {"longitude", rounded(location.coordinate.longitude, 1e6)},
       {"accuracy", rounded(location.horizontalAccuracy.value, 10)}});
}

void TimelineRecorder::regionChanged(const CLRegion& region, CLRegionState state) {
  watch_.settle();
  static constexpr const char* kStates[] = {"unknown", "inside", "outside"};
  const char* const text = kStates[static_cast<std::size_t>(state)];
  say(TimelineKind::region, fmt::format("{}: {}", region.identifier(), text),
      regionDetails(region, text));
}

void TimelineRecorder::ranged(const CLBeaconRegion& region, const std::vector<CLBeacon>& beacons) {
  watch_.settle();
  TimelineEvent event;
  event.kind = TimelineKind::ranging;
  event.text = changesIn(region, beacons);
  event.minor = event.text.empty();
  if (options_.everyRanging) {
    event.details = {{"region", region.identifier()}, {"beacons", rangingDetails(beacons)}};
    if (event.minor) event.text = "no change";
  } else if (event.minor) {
    return;
  }
  add(std::move(event));
}

Array TimelineRecorder::rangingDetails(const std::vector<CLBeacon>& beacons) const {
  std::vector<Value> list;
  list.reserve(beacons.size());
  for (const CLBeacon& beacon : beacons) {
    list.push_back(
        Dictionary{{"name", nameOf(identityOf(beacon))},
                   {"uuid", beacon.proximityUUID.UUIDString()},
                   {"major", beacon.major},
                   {"minor", beacon.minor},
                   {"proximity", proximityInWords(static_cast<std::int64_t>(beacon.proximity))},
                   {"distance", rounded(beacon.accuracy.value, 100)},
                   {"rssi", rounded(beacon.rssi.value, 10)}});
  }
  return Array(std::move(list));
}

std::string TimelineRecorder::changesIn(const CLBeaconRegion& region,
                                        const std::vector<CLBeacon>& beacons) {
  const auto [isFirst, changed, gone] = rangingChanges_.changesBy(region.identifier(), beacons);
  if (beacons.empty() && isFirst) return "no beacon of " + regionInWords(region);
  std::vector<std::string> changes;
  for (const CLBeacon* const beacon : changed) {
    changes.push_back(fmt::format("{} {}", nameOf(identityOf(*beacon)),
                                  proximityInWords(static_cast<std::int64_t>(beacon->proximity))));
    if (beacon->accuracy.value >= 0) {
      changes.back() += fmt::format(" {:.1f} m", beacon->accuracy.value);
    }
  }
  for (const BeaconIdentity& identity : gone) changes.push_back(nameOf(identity) + " gone");
  return fmt::format("{}", fmt::join(changes, ", "));
}

void TimelineRecorder::monitoringFailed(const CLRegion* region, const Error& error) {
  const std::string what = region == nullptr ? "positions" : regionInWords(*region);
  say(TimelineKind::region, fmt::format("{}: failed, error {}", what, error.code()),
      {{"region", region == nullptr ? "" : region->identifier()},
       {"type", "failure"},
       {"change", "failed"},
       {"code", error.code()}});
}

void TimelineRecorder::transferEnded(const HttpExchange& exchange) {
  const std::string target = targetOf(exchange.url);
  const std::string outcome = exchange.error    ? errorInWords(*exchange.error)
                              : exchange.status ? std::to_string(*exchange.status)
                                                : "no reply";
  Dictionary details{{"method", exchange.method}, {"target", target}};
  details.set("status",
              exchange.status && !exchange.error ? Value(*exchange.status) : Value(Null{}));
  if (exchange.error) details.set("error", outcome);
  say(TimelineKind::http, fmt::format("{} {}  {}", exchange.method, target, outcome),
      std::move(details));
  const bool taken = !exchange.error && exchange.status.value_or(0) / 100 == 2;
  if (exchange.method == "POST" && taken) addStatistic(target, exchange.body);
}

void TimelineRecorder::addStatistic(const std::string& target, const Data& body) {
  const std::string event = target.substr(std::min<std::size_t>(1, target.size()));
  Dictionary details{{"event", event}};
  std::string text = event;
  const auto parsed = parseLocatedJson(std::string(body.begin(), body.end()), "statistic");
  if (const auto* const node = std::get_if<JsonNode>(&parsed)) {
    const Value said = valueFrom(*node);
    for (const char* const member : {"beaconId", "geofenceId"}) {
      const Value zone = said.dictionary() ? (*said.dictionary())[member] : Value();
      if (zone.string() != nullptr) details.set("zone", zone);
    }
    details.set("body", said);
    text += "  " + jsonText(said);
  }
  say(TimelineKind::statistic, text, std::move(details));
}

std::string TimelineRecorder::nameOf(const BeaconIdentity& beacon) const {
  const auto found = options_.beaconNames.find(beacon);
  if (found != options_.beaconNames.end()) return found->second;
  const auto& [uuid, major, minor] = beacon;
  return fmt::format("{}:{}:{}", uuid.UUIDString(), major, minor);
}

std::string TimelineRecorder::targetOf(const NSURL& url) const {
  const std::string& text = url.absoluteString;
  if (text.starts_with(options_.portalURL)) return text.substr(options_.portalURL.size());
  // Something else than the portal, as an image: only its path is the same in every run.
  const std::size_t host = text.find("://");
  const std::size_t path = host == std::string::npos ? host : text.find('/', host + 3);
  return path == std::string::npos ? text : text.substr(path);
}

}  // namespace ks::tool
