#include <gmock/gmock.h>

#include <functional>
#include <string>

#include "tests/Support/TemporaryFolder.h"
#include "tools/ksbeacon/explanation/Explanation.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/simulate/Simulation.h"
#include "tools/ksbeacon/suite/Suite.h"

namespace ks::tool {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// Asked of an example scenario at a moment, after `change` has made another day of it.
WhyAnswer answerFor(const std::string& subject, const std::string& name, double at,
                    const std::function<void(Scenario&)>& change = {}) {
  const auto read =
      readScenarioFile(std::string(KS_SOURCE_DIR "/examples/scenarios/") + name + ".json");
  Scenario scenario = std::get<Scenario>(read);
  if (change) change(scenario);
  Chronicle chronicle;
  Timeline timeline;
  timeline.listen([&](const TimelineEvent& event) { chronicle.note(event); });
  SimulationOptions options;
  options.until = Seconds{at};
  EXPECT_EQ(simulate(scenario, options, timeline).failure, "");
  return explain(chronicle, subject, {documentedZones(scenario.portal.documents), true});
}

using Kind = Scenario::Event::Kind;

std::function<void(Scenario&)> happens(Kind kind, double at) {
  return [=](Scenario& day) {
    Scenario::Event event{Seconds{at}, kind};
    event.permission = CLAuthorizationStatus::denied;
    event.downtime = Seconds{1000};
    event.name = "welcome";
    day.events.push_back(event);
  };
}

std::function<void(Scenario&)> fails(const char* path, double from) {
  return [=](Scenario& day) {
    Scenario::Fault fault;
    fault.from = Seconds{from};
    fault.to = day.until;
    fault.path = path;
    day.faults = {fault};
  };
}

TEST(ExplanationTest, SaysWhatWouldHaveToChange) {
  struct Question {
    const char* subject;
    const char* scenario;
    double at;
    const char* answer;
    std::function<void(Scenario&)> change = {};
  };
  const auto isBlind = [](Scenario& day) {
    day.walk.outages = {{day.start, day.start + day.until}};
  };
  const Question questions[] = {
      {"nothing", "demo", 10, "nothing would fire if a document of the portal named it."},
      {"welcome", "unauthorized", 60,
       "welcome would fire if the library worked: the library did not start: the portal refuses "
       "user demo."},
      {"welcome", "permission", 60,
       "welcome would fire if the library worked: the library did not start: Wrong location "
       "manager authorization status."},
      {"welcome", "demo", 60,
       "welcome would fire if the library worked: the location permission is denied.",
       happens(Kind::setPermission, 50)},
      {"welcome", "demo", 60,
       "welcome would fire if the library worked: the process was killed at 0:00:40.000.",
       happens(Kind::restart, 40)},
      {"welcome", "demo", 60,
       "welcome would fire if the library worked: the library did not start: The portal answered "
       "500.",
       fails("/contents/categories", 0)},
      {"welcome", "demo", 130,
       "welcome would fire if the device monitored its region: /beacons was answered by 500 at "
       "0:00:01.000.",
       fails("/beacons", 0)},
      {"welcome", "demo", 60,
       "welcome would fire if the device monitored its region: no position has come.", isBlind},
      {"square", "demo", 60,
       "square would fire if the device monitored its region: no position has come.", isBlind},
      {"welcome", "demo", 60, "welcome would fire if Bluetooth could be used.",
       happens(Kind::setBluetooth, 5)},
      {"welcome", "demo", 60,
       "welcome would fire if the device monitored its region: the network cannot be used.",
       happens(Kind::setNetwork, 0)},
      {"welcome", "disturbances", 600,
       "welcome would fire if the portal delivered it: the portal has no content for "
       "4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B:1:1; asked again from 2026-05-04T10:11:22.000Z; it "
       "fired last at 0:07:14.000."},
      {"b-track", "demo", 60,
       "b-track would fire if the device heard its beacon "
       "4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B:1:9."},
      {"jetty", "demo", 300,
       "jetty would fire if the device entered its circle; its last position came at "
       "0:04:34.000."},
      {"rest", "demo", 60,
       "rest would fire if the device heard its beacon 4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B:1:5."},
      {"b-cafe", "demo", 60, "b-cafe would fire if the device were near: far was seen."},
      {"painting", "same-content", 60,
       "painting would fire if the device were immediate: near was seen; it fired last at "
       "0:00:17.000."},
      {"coffee", "event-counter", 35,
       "coffee would fire after 1 more event in time: 1 of 2 were counted."},
      {"square", "dwelling-exit", 180,
       "square would fire at the next event after 0:30:01.000: 1630 s of the repeat delay were "
       "left; it fired last at 0:00:01.000."},
      {"goodbye", "once-only", 700,
       "goodbye would fire if it did not fire only once: it has fired; it fired last at "
       "0:01:51.297."},
      {"welcome", "categories", 60, "welcome would fire if category 1 were on."},
      {"welcome", "two-visitors", 60,
       "welcome would fire if its zone were entered or left while its content is known: the portal "
       "was asked for contents with categories 1 off.",
       [](Scenario& day) { day = Scenario(day.devices[1]); }},
      {"wall", "refined-categories", 60, "wall fired at 0:00:02.000."},
      {"audio", "dwelling-enter", 10,
       "audio would fire if the device stayed 120 s from 0:00:02.000."},
      {"audio", "dwelling-enter", 100, "audio would fire if the device stayed 120 s, not 69."},
      {"rest", "dwelling-exit", 90, "rest would fire if the device stayed 120 s, not 69."},
      {"rest", "dwelling-exit", 600, "rest fired at 0:08:40.297."},
      {"welcome", "demo", 130,
       "welcome fired at 0:02:01.000; it would be seen if a notification of it were shown.",
       [](Scenario& day) { day.application.showsNotifications = false; }},
      {"welcome", "demo", 130,
       "welcome fired at 0:02:01.000; the portal was not told: /beacons/notification was answered "
       "by 500 at 0:02:01.000.",
       fails("/beacons/notification", 0)},
      {"welcome", "demo", 130, "welcome fired at 0:02:01.000."},
      {"coffee", "demo", 350, "coffee would fire if the device were near: unknown was seen."},
      {"square", "demo", 350, "square fired at 0:00:16.000."},
  };
  for (const Question& question : questions) {
    const WhyAnswer answer =
        answerFor(question.subject, question.scenario, question.at, question.change);
    EXPECT_EQ(answer.conclusion, question.answer) << question.scenario;
  }
}

TEST(ExplanationTest, FollowsAContentToTheScreen) {
  const WhyAnswer answer = answerFor("welcome", "demo", 130, happens(Kind::openContent, 125));
  EXPECT_TRUE(answer.fired);
  for (const WhyLink& link : answer.links) {
    EXPECT_EQ(link.state, WhyLink::State::holds) << link.name << ": " << link.text;
  }
  EXPECT_THAT(whyText(whyDetails(answer)),
              HasSubstr("opening       yes  opened by the user at 0:02:05"));
}

TEST(SuiteTest, TalliesTheWalksInWhichAnExpectationFailed) {
  SuiteCase tested;
  tested.file = "day.json";
  tested.expectations[{7, "content a fires"}] = {38, 40, {3, 19}, "it never happened"};
  EXPECT_FALSE(tested.hasPassed());
  EXPECT_THAT(faultsOf(tested),
              ElementsAre("day.json:7: expected: content a fires; 38 of 40 met, not with seed 3, "
                          "19; it never happened"));
  tested.failures.emplace_back(4, "<broken> & \"quoted\"");
  const std::string xml = junitXml({tested});
  EXPECT_THAT(xml, HasSubstr("failures=\"1\""));
  EXPECT_THAT(xml, HasSubstr("&lt;broken> &amp; "));
}

TEST(SuiteTest, FindsScenariosAndRecordingsAmongOtherFiles) {
  const test::TemporaryFolder folder;
  const std::string scenario = R"({"portal": {}, "until": 5})";
  const auto first = test::writeText(folder / "a/walk.json", scenario);
  const auto second = test::writeText(folder / "b/day.ksrec", "");
  test::writeText(folder / "b/beacons.json", "[]");
  test::writeText(folder / "b/notes.txt", scenario);
  EXPECT_THAT(suiteFiles({folder.path().string()}), ElementsAre(first, second));
}

}  // namespace
}  // namespace ks::tool
