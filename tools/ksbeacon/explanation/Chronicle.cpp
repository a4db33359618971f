#include "tools/ksbeacon/explanation/Chronicle.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>
#include <utility>

namespace ks::tool {

namespace {

std::string textIn(const TimelineEvent& event, const char* name) {
  return event.details[name].stringValue().value_or("");
}

std::string beaconOf(const Dictionary& ranged) {
  return fmt::format("{}:{}:{}", ranged["uuid"].stringValue().value_or(""),
                     ranged["major"].integerValue(), ranged["minor"].integerValue());
}

/// What the query of a request says of the user.
std::string filterIn(const std::string& target) {
  std::string filter;
  std::istringstream query(target.substr(std::min(target.find('?') + 1, target.size())));
  for (std::string pair; std::getline(query, pair, '&');) {
    std::string part;
    if (pair.starts_with("dc=")) part = "categories " + pair.substr(3) + " off";
    if (pair.starts_with('_')) part = "tag " + pair.substr(1);
    if (!part.empty()) filter += (filter.empty() ? "" : ", ") + part;
  }
  return filter;
}

/// The entry of this name, made if there is room; null when there is none.
template <class T>
T* entry(std::map<std::string, T>& map, const std::string& name) {
  const auto found = map.find(name);
  if (found != map.end()) return &found->second;
  return map.size() < Chronicle::kMostNames ? &map[name] : nullptr;
}

template <class T>
const T* existing(const std::map<std::string, T>& map, const std::string& name) {
  const auto found = map.find(name);
  return found == map.end() ? nullptr : &found->second;
}

}  // namespace

void Chronicle::note(const TimelineEvent& event) {
  switch (event.kind) {
    case TimelineKind::application:
      return noteApplication(event);
    case TimelineKind::position:
      device_.lastFix = event.at;
      return;
    case TimelineKind::region:
      return noteRegion(event);
    case TimelineKind::ranging:
      return noteRanging(event);
    case TimelineKind::withheld: {
      const bool hasReasons = event.text.find(", with") != std::string::npos;
      Withheld* const withheld = entry(withheld_, textIn(event, "beacon"));
      if (withheld != nullptr) *withheld = {event.at, event.text, hasReasons};
      return;
    }
    case TimelineKind::trigger:
    case TimelineKind::dwelling:
    case TimelineKind::refusal:
      return noteDecision(event);
    case TimelineKind::notification:
    case TimelineKind::statistic:
      return noteNotification(event);
    case TimelineKind::http:
      return noteTransfer(event);
    default:
      return;
  }
}

void Chronicle::noteApplication(const TimelineEvent& event) {
  const std::string text = textIn(event, "text");
  if (text == "the library runs") {
    device_.isStarted = true;
    device_.startText = "the library runs since " + timelineMoment(event.at);
  } else if (text.starts_with("the library did not start") ||
             text.starts_with("the portal refuses")) {
    device_.isStarted = false;
    device_.startText = text;
  } else if (text.starts_with("killed")) {
    device_.isStarted = false;
    device_.startText = "the process was killed at " + timelineMoment(event.at);
  } else if (text.starts_with("location permission becomes ")) {
    device_.permission = text.substr(text.rfind(' ') + 1);
  } else if (text.starts_with("Bluetooth ")) {
    device_.isRadioOff = text == "Bluetooth cannot be used";
  } else if (text.starts_with("the network ")) {
    device_.isNetworkOff = text == "the network cannot be used";
  } else if (text.starts_with("the user opens content ")) {
    Seconds* const opened = entry(opened_, text.substr(text.rfind(' ') + 1));
    if (opened != nullptr) *opened = event.at;
  }
}

void Chronicle::noteRegion(const TimelineEvent& event) {
  Region* const region = entry(regions_, textIn(event, "region"));
  if (region == nullptr) return;
  const std::string change = textIn(event, "change");
  if (change == "monitoringStarted") *region = {event.at, true, region->entered, std::nullopt};
  if (change == "monitoringStopped") region->isMonitored = false;
  if (change == "inside") region->entered = event.at;
  if (change == "failed") region->failure = event.details["code"].integerValue();
}

void Chronicle::noteRanging(const TimelineEvent& event) {
  const Array* const beacons = event.details["beacons"].array();
  if (beacons == nullptr) return;
  for (const Value& item : beacons->items) {
    const Dictionary* const ranged = item.dictionary();
    if (ranged == nullptr) continue;
    Sighting* const seen = entry(sightings_, beaconOf(*ranged));
    if (seen == nullptr) continue;
    *seen = {event.at, (*ranged)["proximity"].stringValue().value_or(""),
             (*ranged)["distance"].doubleValue()};
  }
}

void Chronicle::noteDecision(const TimelineEvent& event) {
  Zone* const zone = entry(zones_, textIn(event, "zone"));
  if (zone == nullptr) return;
  zone->content = textIn(event, "content");
  zone->decision = event;
  if (event.kind == TimelineKind::trigger) zone->fired = event.at;
}

void Chronicle::noteNotification(const TimelineEvent& event) {
  Zone* const zone = entry(zones_, textIn(event, "zone"));
  if (zone == nullptr) return;
  const std::string action = textIn(event, "action");
  if (action == "announced") zone->announced = event.at;
  if (action == "shown") zone->shown = event.at;
  if (textIn(event, "event").ends_with("/notification")) zone->told = event.at;
}

void Chronicle::noteTransfer(const TimelineEvent& event) {
  const std::int64_t status = event.details["status"].integerValue();
  const std::string target = textIn(event, "target");
  const bool isTaken = status / 100 == 2 || status == 304;
  if (isTaken && target.starts_with("/beacons?")) device_.filter = filterIn(target);
  std::string& trouble =
      textIn(event, "method") == "GET" ? device_.portalTrouble : device_.statisticTrouble;
  trouble = isTaken ? ""
                    : fmt::format("{} was answered by {} at {}", target.substr(0, target.find('?')),
                                  status == 0 ? textIn(event, "error") : std::to_string(status),
                                  timelineMoment(event.at));
}

const Chronicle::Sighting* Chronicle::sighting(const std::string& beacon) const {
  return existing(sightings_, beacon);
}

const Chronicle::Withheld* Chronicle::withheld(const std::string& beacon) const {
  return existing(withheld_, beacon);
}

bool Chronicle::isDwelling(Seconds now) const {
  return std::ranges::any_of(zones_, [now](const auto& named) {
    const auto& decision = named.second.decision;
    return decision && decision->kind == TimelineKind::dwelling &&
           decision->at + Seconds{decision->details["needed"].doubleValue()} >= now;
  });
}

std::optional<Seconds> Chronicle::opened(const std::string& content) const {
  const Seconds* const at = existing(opened_, content);
  return at == nullptr ? std::nullopt : std::optional(*at);
}

}  // namespace ks::tool
