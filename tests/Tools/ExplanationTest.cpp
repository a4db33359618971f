#include <gmock/gmock.h>

#include <string>

#include "tests/Support/TemporaryFolder.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/simulate/Simulation.h"
#include "tools/ksbeacon/suite/Suite.h"
#include "tools/ksbeacon/why/Explanation.h"

namespace ks::tool {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

WhyAnswer answerFor(const std::string& subject, const std::string& name, double at) {
  const auto read =
      readScenarioFile(std::string(KS_SOURCE_DIR "/examples/scenarios/") + name + ".json");
  const Scenario& scenario = std::get<Scenario>(read);
  Explanation explanation(subject, documentedZones(scenario.portal.documents));
  Timeline timeline;
  timeline.listen([&](const TimelineEvent& event) { explanation.note(event); });
  SimulationOptions options;
  options.until = Seconds{at};
  simulate(scenario, options, timeline);
  return explanation.answer();
}

TEST(ExplanationTest, SaysWhatWouldHaveToChange) {
  struct Question {
    const char* subject;
    const char* scenario;
    double at;
    const char* answer;
  };
  const Question questions[] = {
      {"nothing", "demo", 10, "nothing would fire if a document of the portal named it."},
      {"welcome", "unauthorized", 60,
       "welcome would fire if the library worked: the library did not start: the portal refuses "
       "user demo."},
      {"welcome", "permission", 60,
       "welcome would fire if the library worked: the library did not start: Wrong location "
       "manager authorization status."},
      {"jetty", "demo", 300, "jetty would fire if the device entered its circle."},
      {"rest", "demo", 60,
       "rest would fire if the device heard its beacon 4B8E1A60-5D0C-4F3B-9E57-0C1D2E3F4A5B:1:5."},
      {"b-cafe", "demo", 60, "b-cafe would fire if the device were near: far was seen."},
      {"coffee", "event-counter", 35,
       "coffee would fire after 1 more event in time: 1 of 2 were counted."},
      {"square", "dwelling-exit", 180,
       "square would fire at the next event after 0:30:01.000: 1630 s of the repeat delay were "
       "left; it fired last at 0:00:01.000."},
      {"goodbye", "once-only", 700,
       "goodbye would fire if it did not fire only once: it has fired; it fired last at "
       "0:01:51.297."},
      {"welcome", "categories", 60, "welcome would fire if category 1 were on."},
      {"audio", "dwelling-enter", 10,
       "audio would fire if the device stayed 120 s from 0:00:02.000."},
      {"rest", "dwelling-exit", 90, "rest would fire if the device stayed 120 s, not 69."},
      {"rest", "dwelling-exit", 600, "rest fired at 0:08:40.297."},
  };
  for (const Question& question : questions) {
    const WhyAnswer answer = answerFor(question.subject, question.scenario, question.at);
    EXPECT_EQ(answer.conclusion, question.answer);
  }
}

TEST(ExplanationTest, FollowsAContentToTheScreen) {
  const WhyAnswer answer = answerFor("welcome", "demo", 130);
  EXPECT_TRUE(answer.fired);
  for (const WhyLink& link : answer.links) {
    EXPECT_EQ(link.state, WhyLink::State::holds) << link.name << ": " << link.text;
  }
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
