#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "tools/ksbeacon/simulate/Expectations.h"
#include "tools/ksbeacon/timeline/DecisionText.h"
#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks::tool {
namespace {

using Outcome = ks::TriggerDecision::Outcome;
using Rule = ks::TriggerVerdict::Rule;

ks::TriggerDecision decisionAbout(Outcome outcome) {
  auto content = std::make_shared<KSTextPushProximityZoneContent>();
  content->identifier = "c1";
  content->categoryIdentifier = "7";
  auto zone = std::make_shared<KSPrivateBeacon>();
  zone->setIdentifier("b1");
  zone->setContent(content);
  ks::TriggerDecision decision;
  decision.outcome = outcome;
  decision.zone = zone;
  decision.isEnter = true;
  return decision;
}

ks::TriggerDecision refusal(ks::TriggerVerdict verdict) {
  ks::TriggerDecision decision = decisionAbout(Outcome::refused);
  decision.verdict = verdict;
  return decision;
}

ks::TriggerDecision dwelling(Outcome outcome, double elapsed) {
  ks::TriggerDecision decision = decisionAbout(outcome);
  decision.dwellingTime = 30;
  decision.elapsed = elapsed;
  decision.dwelt = outcome == Outcome::fired;
  return decision;
}

std::string printed(const TimelineEvent& event, TimelinePrinter::Options options) {
  std::ostringstream stream;
  TimelinePrinter(stream, dateFromSecondsSince1970(1525435407), options).print(event);
  return stream.str();
}

TEST(TimelineTest, TellsDecisionsWithTheirNumbers) {
  const std::string subject = "content c1 of zone b1";
  ks::TriggerVerdict proximity{Rule::otherProximity, 2, 3};
  ks::TriggerVerdict counter{Rule::tooFewEvents, 0, 0, 2, 3};
  ks::TriggerVerdict delay{Rule::repeatDelayRunning};
  delay.repeatDelay = 3600;
  delay.secondsLeft = 2459.2;
  const struct {
    ks::TriggerDecision decision;
    std::string kind, text;
  } cases[] = {
      {decisionAbout(Outcome::fired), "trigger", subject + " fires on entering"},
      {dwelling(Outcome::fired, 30), "trigger", subject + " fires on entering after 30 s"},
      {dwelling(Outcome::dwellingStarted, 0), "dwelling", subject + " fires after a stay of 30 s"},
      {dwelling(Outcome::dwellingTooShort, 12.9), "refusal", subject + ": dwelling 12 of 30 s"},
      {dwelling(Outcome::dwellingCancelled, 7), "refusal", subject + ": left, dwelling 7 of 30 s"},
      {decisionAbout(Outcome::categoryDisabled), "refusal", subject + ": category 7 off"},
      {decisionAbout(Outcome::otherEvent), "refusal", subject + ": waits for leaving"},
      {refusal(proximity), "refusal", subject + ": near wanted, far seen"},
      {refusal(counter), "refusal", subject + ": counter 2 of 3"},
      {refusal(delay), "refusal", subject + ": repeat delay 3,600 s, 2,460 s left"},
      {refusal({Rule::onceOnly}), "refusal", subject + ": fires only once and has fired"},
  };
  for (const auto& each : cases) {
    const TimelineEvent event = timelineEventFor(each.decision);
    EXPECT_EQ(timelineKindName(event.kind), each.kind) << each.text;
    EXPECT_EQ(event.text, each.text);
  }
}

TEST(TimelineTest, PrintsTextAndJson) {
  TimelineEvent event = timelineEventFor(decisionAbout(Outcome::categoryDisabled));
  event.at = Seconds{3725.0416};
  EXPECT_EQ(printed(event, {}),
            " 1:02:05.042  refusal       content c1 of zone b1: category 7 off\n");
  EXPECT_EQ(printed(event, {.form = TimelinePrinter::Form::json}),
            R"({"at":3725.042,"date":"2018-05-04T13:05:32.042Z","kind":"refusal",)"
            R"("content":"c1","zone":"b1","event":"enter","rule":"category","category":"7"})"
            "\n");
  event.text = "a\nb\033[2J";
  EXPECT_EQ(printed(event, {}), " 1:02:05.042  refusal       a b [2J\n");
  event.minor = true;
  EXPECT_EQ(printed(event, {}), "");
  EXPECT_NE(printed(event, {.everything = true}), "");
  event.kind = TimelineKind::log;
  EXPECT_EQ(printed(event, {.everything = true}), "");
}

TEST(TimelineTest, HoldsEventsAgainstExpectations) {
  Scenario scenario;
  using Subject = Scenario::Expectation::Subject;
  const auto expect = [&](const char* zone, double from, double to, std::optional<int> times) {
    scenario.expectations.push_back(
        {Subject::content, "c1", zone, {}, Seconds{from}, Seconds{to}, {}, times, 1});
  };
  expect("", 0, 100, {});
  expect("", 0, 9, 0);
  expect("", 0, 100, 1);
  expect("b1", 10, 10, 1);
  expect("b2", 0, 100, {});
  expect("", 0, 101, 0);
  Expectations expectations(scenario);
  for (const double moment : {10.0, 20.0}) {
    TimelineEvent event = timelineEventFor(decisionAbout(Outcome::fired));
    event.at = Seconds{moment};
    expectations.note(event);
  }
  std::vector<bool> met;
  for (const auto& outcome : expectations.outcomes(Seconds{100})) met.push_back(outcome.met);
  // The last one reaches further than the simulation went.
  EXPECT_EQ(met, (std::vector<bool>{true, true, false, true, false}));
  EXPECT_EQ(expectations.outcomes(Seconds{100})[2].happened,
            "it happened at 0:00:10.000, 0:00:20.000");
}

}  // namespace
}  // namespace ks::tool
