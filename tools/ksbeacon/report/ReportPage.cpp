#include "tools/ksbeacon/report/ReportPage.h"

#include <cmath>
#include <utility>

#include "tools/ksbeacon/explanation/Explanation.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/report/ReportTemplate.h"

namespace ks::tool {

namespace {

double inMilliseconds(Seconds at) { return std::round(at.count() * 1000) / 1000; }

void append(std::string& list, const Dictionary& item) {
  if (!list.empty()) list += ",\n";
  list += jsonText(item);
}

Array placeOf(CLLocationCoordinate2D coordinate) {
  return Array({coordinate.latitude, coordinate.longitude});
}

/// The members of the scenario that the page draws.
Dictionary worldOf(const Scenario& scenario) {
  std::vector<Value> beacons;
  for (const Scenario::Beacon& beacon : scenario.beacons) {
    const SimulatedBeacon& radio = beacon.radio;
    beacons.emplace_back(Dictionary{{"name", beacon.name},
                                    {"place", placeOf(radio.coordinate)},
                                    {"uuid", radio.proximityUUID.UUIDString()},
                                    {"major", radio.major},
                                    {"minor", radio.minor}});
  }
  std::vector<Value> corners;
  const SimulatedWalk walk(scenario.start, scenario.walk.stops);
  for (const SimulatedWalk::Leg& leg : walk.legs()) {
    for (const Date moment : {leg.arrival, leg.departure}) {
      corners.emplace_back(Dictionary{{"at", inMilliseconds(moment - scenario.start)},
                                      {"place", placeOf(leg.coordinate)}});
    }
  }
  return {{"title", scenario.title},
          {"file", scenario.file.filename().string()},
          {"start", dateInUTC(scenario.start)},
          {"beacons", Array(std::move(beacons))},
          {"walk", Array(std::move(corners))}};
}

/// Inside a script element no text may look like a tag.
std::string withoutTags(const std::string& json) {
  std::string safe;
  safe.reserve(json.size());
  for (const char c : json) {
    if (c == '<') {
      safe += "\\u003c";
    } else {
      safe += c;
    }
  }
  return safe;
}

void change(std::string& proximities, Seconds at, const std::string& beacon,
            const std::string& proximity) {
  append(proximities, {{"at", inMilliseconds(at)}, {"beacon", beacon}, {"proximity", proximity}});
}

using Proximities = std::map<std::string, std::map<std::string, std::string>>;

void noteRanging(std::string& proximities, Proximities& known, const TimelineEvent& event) {
  const Array* const beacons = event.details["beacons"].array();
  const std::string* const region = event.details["region"].string();
  if (beacons == nullptr || region == nullptr) return;
  auto gone = std::exchange(known[*region], {});
  auto& last = known[*region];
  for (const Value& item : beacons->items) {
    const Dictionary& beacon = *item.dictionary();
    const std::string& name = *beacon["name"].string();
    const std::string& proximity = *beacon["proximity"].string();
    last[name] = proximity;
    const auto before = gone.extract(name);
    if (before.empty() || before.mapped() != proximity) {
      change(proximities, event.at, name, proximity);
    }
  }
  for (const auto& [name, proximity] : gone) change(proximities, event.at, name, "gone");
}

/// Nobody hears the region's beacons any more.
void forget(std::string& proximities, Proximities& known, const std::string& region, Seconds at) {
  for (const auto& [name, proximity] : std::exchange(known[region], {})) {
    change(proximities, at, name, "gone");
  }
}

bool isDecision(TimelineKind kind) {
  return kind == TimelineKind::trigger || kind == TimelineKind::dwelling ||
         kind == TimelineKind::refusal;
}

}  // namespace

void ReportPage::note(Day& day, const TimelineEvent& event) const {
  day.chronicle.note(event);
  if (event.kind == TimelineKind::ranging) {
    noteRanging(day.proximities, day.lastProximities, event);
  }
  if (event.kind == TimelineKind::region && *event.details["change"].string() == "rangingStopped") {
    forget(day.proximities, day.lastProximities, *event.details["region"].string(), event.at);
  }
  if (event.kind == TimelineKind::expectation) {
    ++day.expected;
    if (event.details["met"].boolValue()) ++day.met;
  }
  if (event.minor) return;
  Dictionary line{{"at", inMilliseconds(event.at)},
                  {"kind", timelineKindName(event.kind)},
                  {"text", event.text}};
  if (event.kind != TimelineKind::ranging) {
    for (const auto& [name, value] : event.details) {
      if (name != "text" && name != "body") line.set(name, value);
    }
  }
  if (isDecision(event.kind)) {
    const std::string content = event.details["content"].stringValue().value_or("");
    line.set("why", whyDetails(explain(day.chronicle, content, known_)));
  }
  append(day.events, line);
}

std::string ReportPage::html(const Scenario& scenario) const {
  Dictionary world = worldOf(scenario);
  world.set("expected", day_.expected);
  world.set("met", day_.met);
  const auto lists = [](const Day& day) {
    return "\"proximities\":[" + day.proximities + "],\n\"events\":[" + day.events + "]";
  };
  std::string data = "{\"world\":" + jsonText(world) + ",\n" + lists(day_);
  if (!other_.events.empty()) data += ",\n\"other\":{" + lists(other_) + "}";
  data += "}";
  return std::string(kReportBeforeData) + withoutTags(data) + std::string(kReportAfterData);
}

}  // namespace ks::tool
