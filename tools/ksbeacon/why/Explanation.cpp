#include "tools/ksbeacon/why/Explanation.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/object.hpp>
#include <utility>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "tools/ksbeacon/portal/PortalDocuments.h"

namespace ks::tool {

namespace {

namespace json = boost::json;
using State = WhyLink::State;

std::string textOf(const json::object& object, const char* name) {
  const json::value* const value = object.if_contains(name);
  if (value == nullptr) return "";
  if (value->is_string()) return std::string(value->get_string());
  return value->is_int64() ? std::to_string(value->get_int64()) : "";
}

std::string textIn(const TimelineEvent& event, const char* name) {
  return event.details[name].stringValue().value_or("");
}

std::string beaconOf(const Dictionary& ranged) {
  return fmt::format("{}:{}:{}", ranged["uuid"].stringValue().value_or(""),
                     ranged["major"].integerValue(), ranged["minor"].integerValue());
}

double numberIn(const TimelineEvent& event, const char* name) {
  return event.details[name].doubleValue();
}

}  // namespace

std::vector<DocumentedZone> documentedZones(const std::filesystem::path& folder) {
  std::vector<DocumentedZone> zones;
  for (const auto kind : {portal::DocumentKind::beacons, portal::DocumentKind::geofences}) {
    const portal::PortalDocument document = portal::readDocument(kind, folder);
    if (!document.problems.empty()) continue;
    for (const json::value& item : document.items) {
      const json::object& zone = item.get_object();
      DocumentedZone made{textOf(zone, "id"), "", ""};
      const json::value* const content = zone.if_contains("content");
      if (content != nullptr && content->is_object()) {
        made.content = textOf(content->get_object(), "id");
      }
      if (kind == portal::DocumentKind::beacons) {
        made.beacon = fmt::format("{}:{}:{}", asciiUpperCased(textOf(zone, "uuid")),
                                  textOf(zone, "major"), textOf(zone, "minor"));
      }
      zones.push_back(std::move(made));
    }
  }
  return zones;
}

Explanation::Explanation(std::string subject, std::vector<DocumentedZone> known)
    : subject_(std::move(subject)), hasDocuments_(!known.empty()) {
  std::ranges::copy_if(known, std::back_inserter(zones_), [this](const DocumentedZone& zone) {
    return zone.zone == subject_ || zone.content == subject_;
  });
  for (const DocumentedZone& zone : zones_) zoneNames_.insert(zone.zone);
}

void Explanation::note(const TimelineEvent& event) {
  switch (event.kind) {
    case TimelineKind::application:
      return noteApplication(event);
    case TimelineKind::region:
      return noteRegion(event);
    case TimelineKind::ranging:
      return noteRanging(event);
    case TimelineKind::trigger:
    case TimelineKind::dwelling:
    case TimelineKind::refusal:
      return noteDecision(event);
    case TimelineKind::http:
      return noteTransfer(event);
    case TimelineKind::notification:
      if (isAbout(event) && textIn(event, "action") == "announced") announced_ = event.at;
      if (isAbout(event) && textIn(event, "action") == "shown") shown_ = event.at;
      return;
    case TimelineKind::statistic:
      if (isAbout(event) && textIn(event, "event").ends_with("/notification")) told_ = event.at;
      return;
    default:
      return;
  }
}

bool Explanation::isAbout(const TimelineEvent& event) const {
  return textIn(event, "content") == subject_ || zoneNames_.contains(textIn(event, "zone")) ||
         textIn(event, "zone") == subject_;
}

bool Explanation::isOurRegion(const std::string& region) const {
  return std::ranges::any_of(zones_, [&](const DocumentedZone& zone) {
    if (zone.beacon.empty()) return region == zone.zone;
    return region.find(zone.beacon.substr(0, zone.beacon.find(':'))) != std::string::npos;
  });
}

void Explanation::noteApplication(const TimelineEvent& event) {
  const std::string text = textIn(event, "text");
  if (text == "the library runs") {
    isStarted_ = true;
    startText_ = "the library runs since " + timelineMoment(event.at);
  } else if (text.starts_with("the library did not start") ||
             text.starts_with("the portal refuses")) {
    isStarted_ = false;
    startText_ = text;
  } else if (text.starts_with("location permission becomes ")) {
    permission_ = text.substr(text.rfind(' ') + 1);
  } else if (text.starts_with("Bluetooth ")) {
    isRadioOff_ = text == "Bluetooth cannot be used";
  } else if (text.starts_with("killed")) {
    isStarted_ = false;
    startText_ = "the process was killed at " + timelineMoment(event.at);
  }
}

void Explanation::noteRegion(const TimelineEvent& event) {
  if (!isOurRegion(textIn(event, "region"))) return;
  const std::string change = textIn(event, "change");
  if (change == "monitoringStarted") monitored_ = event.at;
  if (change == "monitoringStarted") monitoringEnded_ = false;
  if (change == "monitoringStopped") monitoringEnded_ = true;
  if (change == "inside") entered_ = event.at;
  if (change == "inside" || change == "outside") isInside_ = change == "inside";
}

void Explanation::noteRanging(const TimelineEvent& event) {
  const Array* const beacons = event.details["beacons"].array();
  if (beacons == nullptr) return;
  for (const Value& item : beacons->items) {
    const Dictionary* const ranged = item.dictionary();
    if (ranged == nullptr) continue;
    const std::string beacon = beaconOf(*ranged);
    const bool isOurs = std::ranges::any_of(
        zones_, [&](const DocumentedZone& zone) { return zone.beacon == beacon; });
    if (!isOurs) continue;
    seen_ = Sighting{event.at, (*ranged)["proximity"].stringValue().value_or(""),
                     (*ranged)["distance"].doubleValue()};
  }
}

void Explanation::noteDecision(const TimelineEvent& event) {
  if (!isAbout(event)) return;
  zoneNames_.insert(textIn(event, "zone"));
  decision_ = event;
  if (event.kind == TimelineKind::trigger) fired_ = event.at;
}

void Explanation::noteTransfer(const TimelineEvent& event) {
  if (textIn(event, "method") != "GET") return;
  const std::int64_t status = event.details["status"].integerValue();
  const std::string target = textIn(event, "target");
  portalTrouble_ =
      status / 100 == 2 || status == 304
          ? ""
          : fmt::format("{} was answered by {} at {}", target.substr(0, target.find('?')),
                        status == 0 ? textIn(event, "error") : std::to_string(status),
                        timelineMoment(event.at));
}

WhyLink Explanation::portalLink() const {
  const bool isKnown = !zoneNames_.empty();
  if (isKnown) {
    return {"portal", State::holds,
            fmt::format("the portal has {} at zone {}", subject_, *zoneNames_.begin())};
  }
  if (!hasDocuments_) return {"portal", State::unknown, "the portal's documents are not known"};
  return {"portal", State::broken, "no document of the portal names " + subject_};
}

WhyLink Explanation::startLink() const {
  if (!isStarted_.value_or(false)) return {"start", State::broken, startText_};
  if (!permission_.empty() && permission_ != "always" && permission_ != "whenInUse") {
    return {"start", State::broken, "the location permission is " + permission_};
  }
  return {"start", State::holds, startText_};
}

WhyLink Explanation::regionLink() const {
  // Whatever the engine decided about must have been heard of.
  if (zones_.empty() || (!monitored_ && decision_)) {
    return {"region", decision_ ? State::holds : State::unknown, "its region was heard of"};
  }
  if (!monitored_) return {"region", State::broken, "its region was never monitored"};
  if (monitoringEnded_ && !decision_) {
    return {"region", State::broken, "its region is no longer monitored"};
  }
  return {"region", State::holds, "its region is monitored since " + timelineMoment(*monitored_)};
}

WhyLink Explanation::sightingLink() const {
  const bool isBeacon =
      std::ranges::any_of(zones_, [](const DocumentedZone& zone) { return !zone.beacon.empty(); });
  if (isBeacon && seen_) {
    std::string text = fmt::format("its beacon was last heard at {}, {}", timelineMoment(seen_->at),
                                   seen_->proximity);
    if (seen_->distance >= 0) text += fmt::format(", {:.1f} m away", seen_->distance);
    return {"sighting", State::holds, std::move(text)};
  }
  if (!isBeacon && entered_) {
    return {"sighting", State::holds, "its circle was entered at " + timelineMoment(*entered_)};
  }
  if (decision_) return {"sighting", State::holds, "the device was there"};
  if (zones_.empty()) return {"sighting", State::unknown, "nothing is known of its zone"};
  return {"sighting", State::broken,
          isBeacon ? "its beacon was never heard" : "its circle was never entered"};
}

WhyLink Explanation::rulesLink() const {
  if (!decision_) return {"rules", State::broken, "no event of its zone reached its rules"};
  const bool isMet = decision_->kind == TimelineKind::trigger;
  return {"rules", isMet ? State::holds : State::broken,
          decision_->text + " at " + timelineMoment(decision_->at)};
}

WhyAnswer Explanation::answer() const {
  WhyAnswer answer;
  answer.links = {portalLink(), startLink(), regionLink(), sightingLink(), rulesLink()};
  const auto moment = [](const char* name, const char* verb, const std::optional<Seconds>& at) {
    return WhyLink{
        name, at ? State::holds : State::broken,
        at ? fmt::format("{} at {}", verb, timelineMoment(*at)) : fmt::format("not {}", verb)};
  };
  answer.links.push_back(moment("announcement", "announced", announced_));
  answer.links.push_back(moment("screen", "shown", shown_));
  answer.links.push_back(moment("statistic", "told to the portal", told_));
  const auto broken = std::ranges::find(answer.links, State::broken, &WhyLink::state);
  answer.fired = rulesLink().state == State::holds;
  if (answer.fired) {
    answer.conclusion =
        fmt::format("{} fired at {}{}.", subject_, timelineMoment(*fired_),
                    shown_ ? "" : "; it would be seen if a notification of it were shown");
  } else {
    std::string remedy = remedyFor(broken->name);
    if (fired_) remedy += fmt::format("; it fired last at {}", timelineMoment(*fired_));
    answer.conclusion = fmt::format("{} would fire {}.", subject_, remedy);
  }
  return answer;
}

std::string Explanation::remedyFor(const std::string& link) const {
  if (link == "portal") return "if a document of the portal named it";
  if (link == "start") return "if the library worked: " + startLink().text;
  if (link == "region") {
    const std::string why = isRadioOff_ ? "Bluetooth cannot be used" : portalTrouble_;
    return "if the device monitored its region" + (why.empty() ? "" : ": " + why);
  }
  if (link == "sighting") {
    if (isRadioOff_) return "if Bluetooth could be used";
    return regionLink().state == State::holds && !zones_.front().beacon.empty()
               ? "if the device heard its beacon " + zones_.front().beacon
               : "if the device entered its circle";
  }
  return remedyForRules();
}

std::string Explanation::remedyForRules() const {
  if (!decision_) {
    return portalTrouble_.empty() ? "if its zone were entered or left while its content is known"
                                  : "if its content had come: " + portalTrouble_;
  }
  const TimelineEvent& last = *decision_;
  if (last.kind == TimelineKind::dwelling) {
    return fmt::format("if the device stayed {:.0f} s from {}", numberIn(last, "needed"),
                       timelineMoment(last.at));
  }
  const std::string rule = textIn(last, "rule");
  if (rule == "proximity") {
    return fmt::format("if the device were {}: {} was seen", textIn(last, "wanted"),
                       textIn(last, "seen"));
  }
  if (rule == "eventCounter") {
    const double missing = numberIn(last, "needed") - numberIn(last, "count");
    return fmt::format("after {:.0f} more {} in time: {:.0f} of {:.0f} were counted", missing,
                       missing == 1 ? "event" : "events", numberIn(last, "count"),
                       numberIn(last, "needed"));
  }
  if (rule == "repeatDelay") {
    return fmt::format("at the next event after {}: {:.0f} s of the repeat delay were left",
                       timelineMoment(last.at + Seconds{numberIn(last, "left")}),
                       numberIn(last, "left"));
  }
  if (rule == "onceOnly") return "if it did not fire only once: it has fired";
  if (rule == "category") {
    return fmt::format("if category {} were on", textIn(last, "category"));
  }
  if (rule == "dwelling") {
    return fmt::format("if the device stayed {:.0f} s, not {:.0f}", numberIn(last, "needed"),
                       numberIn(last, "elapsed"));
  }
  if (rule == "otherEvent") return "on the other kind of event: " + last.text;
  return "if " + last.text + " did not hold";
}

}  // namespace ks::tool
