#include "tools/ksbeacon/simulate/Expectations.h"

#include <fmt/format.h>

#include <algorithm>

namespace ks::tool {

namespace {

using Subject = Scenario::Expectation::Subject;

std::string textOf(const TimelineEvent& event, const char* member) {
  return event.details[member].stringValue().value_or("");
}

bool bodyFits(const Scenario::Expectation& expectation, const TimelineEvent& event) {
  static const Dictionary kNothing;
  const Dictionary* const sent = event.details["body"].dictionary();
  const Dictionary& body = sent != nullptr ? *sent : kNothing;
  if (expectation.battery && (!body["batteryLevel"].isNumber() ||
                              body["batteryLevel"].integerValue() != *expectation.battery)) {
    return false;
  }
  return body["timestamp"].stringValue().value_or("").ends_with(expectation.timestamp);
}

bool names(const TimelineEvent& event, const char* list, const std::string& name) {
  const Array* const items = event.details[list].array();
  return items != nullptr && std::ranges::any_of(items->items, [&](const Value& item) {
           return item.stringValue() == name;
         });
}

bool matches(const Scenario::Expectation& expectation, const TimelineEvent& event) {
  if (!expectation.device.empty() && expectation.device != event.device) return false;
  const bool zoneFits = expectation.zone.empty() || textOf(event, "zone") == expectation.zone;
  switch (expectation.subject) {
    case Subject::content:
      return event.kind == TimelineKind::trigger && zoneFits &&
             textOf(event, "content") == expectation.name;
    case Subject::refusal:
      return event.kind == TimelineKind::refusal && zoneFits &&
             textOf(event, "rule") == expectation.name;
    case Subject::statistic:
      return event.kind == TimelineKind::statistic && zoneFits &&
             textOf(event, "event") == expectation.name && bodyFits(expectation, event);
    case Subject::request:
      return event.kind == TimelineKind::http &&
             textOf(event, "target").starts_with(expectation.name);
    case Subject::shown:
      return event.kind == TimelineKind::notification && textOf(event, "action") == "shown" &&
             textOf(event, "zone") == expectation.name;
    case Subject::engine:
      return event.kind == TimelineKind::state && textOf(event, "engine") == expectation.name;
    case Subject::entered:
      return event.kind == TimelineKind::state && names(event, "entered", expectation.name);
    case Subject::ailment:
      return event.kind == TimelineKind::state && names(event, "ailments", expectation.name);
  }
  return false;
}

const char* verbOf(Subject subject) {
  switch (subject) {
    case Subject::content:
      return "fires";
    case Subject::refusal:
      return "refuses";
    case Subject::shown:
      return "appears";
    case Subject::entered:
      return "is entered";
    case Subject::engine:
    case Subject::ailment:
      return "is seen";
    default:
      return "is sent";
  }
}

std::string inWords(const Scenario::Expectation& expectation) {
  static constexpr const char* kSubjects[] = {
      "content", "statistic", "refusal", "request", "notification of zone",
      "zone",    "engine",    "ailment"};
  const auto subject = static_cast<std::size_t>(expectation.subject);
  std::string text = fmt::format("{} {}", kSubjects[subject], expectation.name);
  if (!expectation.zone.empty()) text += " of zone " + expectation.zone;
  if (!expectation.device.empty()) text += " on " + expectation.device;
  if (expectation.battery) text += fmt::format(" with battery level {}", *expectation.battery);
  if (!expectation.timestamp.empty()) text += " with a timestamp in " + expectation.timestamp;
  const bool never = expectation.times == 0;
  text += never ? " never " : " ";
  text += verbOf(expectation.subject);
  if (expectation.times == 1) text += " once";
  if (expectation.times > 1) text += fmt::format(" {} times", *expectation.times);
  return text + fmt::format(" between {} and {}", timelineMoment(expectation.from),
                            timelineMoment(expectation.to));
}

/// The first few moments are enough to see what is wrong.
std::string momentsInWords(const std::vector<Seconds>& moments) {
  constexpr std::size_t kShown = 5;
  if (moments.empty()) return "it never happened";
  std::string text = "it happened at ";
  for (std::size_t i = 0; i < std::min(moments.size(), kShown); ++i) {
    text += (i == 0 ? "" : ", ") + timelineMoment(moments[i]);
  }
  if (moments.size() > kShown) text += fmt::format(" and {} more times", moments.size() - kShown);
  return text;
}

}  // namespace

Expectations::Expectations(const Scenario& scenario) {
  const bool isRefined = scenario.application.refinements != ks::Refinements{};
  for (const Scenario::Expectation& each : scenario.expectations) {
    if (each.refined.value_or(isRefined) == isRefined) watched_.push_back({&each, {}});
  }
}

void Expectations::note(const TimelineEvent& event) {
  for (Watched& each : watched_) {
    if (matches(*each.expectation, event)) each.moments.push_back(event.at);
  }
}

std::vector<Expectations::Outcome> Expectations::outcomes(Seconds end) const {
  std::vector<Outcome> outcomes;
  for (const Watched& each : watched_) {
    const Scenario::Expectation& expectation = *each.expectation;
    // A simulation that was cut short can only tell about what it saw whole.
    if (expectation.to > end) continue;
    const auto count = std::ranges::count_if(each.moments, [&](Seconds moment) {
      return moment >= expectation.from && moment <= expectation.to;
    });
    const bool met = expectation.times ? count == *expectation.times : count > 0;
    outcomes.push_back({&expectation, met, inWords(expectation), momentsInWords(each.moments)});
  }
  return outcomes;
}

TimelineEvent Expectations::eventOf(const Outcome& outcome, Seconds at) {
  return {.at = at,
          .kind = TimelineKind::expectation,
          .text = (outcome.met ? "met: " : "NOT MET: ") + outcome.expected +
                  (outcome.met ? "" : "; " + outcome.happened),
          .details = {{"met", outcome.met},
                      {"line", outcome.expectation->line},
                      {"expected", outcome.expected},
                      {"happened", outcome.happened}}};
}

}  // namespace ks::tool
