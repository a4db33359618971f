#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Recorded/ReplayedPlatform.h"
#include "BeaconSDK/Platform/Storage/ValueText.h"
#include "tests/Support/TemporaryFolder.h"
#include "tools/ksbeacon/replay/Comparison.h"
#include "tools/ksbeacon/replay/Replay.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/simulate/Simulation.h"

namespace ks::tool {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using Lines = std::vector<std::string>;

/// Recordings of the example scenarios.
class ReplayTest : public ::testing::Test {
 protected:
  static Scenario scenario(const std::string& name) {
    auto read = readScenarioFile(fs::path(KS_SOURCE_DIR "/examples/scenarios") / (name + ".json"));
    return std::get<Scenario>(std::move(read));
  }

  static void collect(Timeline& timeline, const Date& start, Lines& lines) {
    timeline.listen(
        [&](const TimelineEvent& event) { lines.push_back(timelineJson(event, start)); });
  }

  Lines record(const Scenario& scenario, bool isPrivate = false) const {
    auto writer = RecordingWriter::create(file_, {isPrivate});
    Lines lines;
    Timeline timeline;
    collect(timeline, scenario.start, lines);
    SimulationOptions options;
    options.recording = writer.value().get();
    EXPECT_EQ(simulate(scenario, options, timeline).failure, "");
    return lines;
  }

  ReplayResult play(Lines& lines, ReplayOptions options = {}) const {
    options.everyRanging = true;
    Timeline timeline;
    Date start;
    collect(timeline, start, lines);
    return replay(file_, options, timeline, [&](Date begins) { start = begins; });
  }

  test::TemporaryFolder folder_;
  fs::path file_ = folder_.path() / "day.ksrec";
};

TEST_F(ReplayTest, RepeatsEveryExampleExactly) {
  for (const char* const name : {"demo",
                                 "background",
                                 "battery",
                                 "categories",
                                 "dropped-connection",
                                 "dwelling-enter",
                                 "dwelling-exit",
                                 "event-counter",
                                 "geofences",
                                 "outage",
                                 "permission",
                                 "portal-faults",
                                 "refined-announcements",
                                 "refined-clock",
                                 "refined-start",
                                 "refined-statistics",
                                 "refined-stays",
                                 "restart",
                                 "search-region",
                                 "tour",
                                 "unauthorized",
                                 "unlisted-beacon"}) {
    SCOPED_TRACE(name);
    const Lines recorded = record(scenario(name));
    Lines replayed;
    const ReplayResult result = play(replayed);
    EXPECT_EQ(result.failure, "");
    EXPECT_EQ(result.departure, "");
    EXPECT_TRUE(result.isWhole);
    EXPECT_EQ(replayed, recorded);
  }
}

TEST_F(ReplayTest, RepeatsATornRecordingAsFarAsItGoes) {
  const Lines recorded = record(scenario("demo"));
  fs::resize_file(file_, fs::file_size(file_) - 5);
  Lines replayed;
  const ReplayResult result = play(replayed);
  EXPECT_FALSE(result.isWhole);
  EXPECT_EQ(result.departure, "");
  ASSERT_GT(replayed.size(), recorded.size() / 2);
  EXPECT_TRUE(
      std::equal(recorded.begin(), recorded.begin() + recorded.size() / 2, replayed.begin()));
}

TEST_F(ReplayTest, KeepsTagsAndExactPlacesPrivate) {
  Scenario day = scenario("demo");
  day.application.tags = {{"patient", "Violet"}};
  record(day, true);
  auto reader = RecordingReader::open(file_);
  std::string texts;
  RecordedEvent event;
  while (reader.value().next(event)) {
    texts += valueToText(event.details).value_or("");
    if (event.kind != RecordedEvent::Kind::fix) continue;
    const double thousandths = event.location.coordinate.latitude * 1000;
    EXPECT_NEAR(thousandths, std::round(thousandths), 1e-6);
  }
  EXPECT_THAT(texts, Not(HasSubstr("Violet")));
  EXPECT_THAT(texts, Not(HasSubstr("latitude=")));
  Lines lines;
  EXPECT_EQ(play(lines).departure, "");
  EXPECT_THAT(lines, Contains(HasSubstr("\"kind\":\"trigger\"")));
}

TEST_F(ReplayTest, NoticesAreLinesOfBothDays) {
  Scenario day = scenario("demo");
  for (auto& beacon : day.beacons) beacon.radio.measuredPower = Dbm{0};
  const Lines recorded = record(day);
  EXPECT_THAT(recorded, Contains(HasSubstr("notice: Beacon")));
  Lines replayed;
  EXPECT_EQ(play(replayed).departure, "");
  EXPECT_EQ(replayed, recorded);
}

TEST_F(ReplayTest, ShowsTheSameDayUnderOtherRules) {
  record(scenario("once-only"));
  Lines lines;
  ReplayOptions options;
  options.documents = folder_.path() / "documents";
  fs::copy(KS_SOURCE_DIR "/examples/portal", options.documents, fs::copy_options::recursive);
  const fs::path beacons = options.documents / "beacons.json";
  std::string text = test::readText(beacons);
  const std::size_t rule = text.find("\"goodbye\"");
  ASSERT_NE(rule, std::string::npos);
  text.replace(rule, 9, "\"farewell\"");
  test::writeText(beacons, text);
  const ReplayResult result = play(lines, options);
  EXPECT_EQ(result.failure + result.departure, "");
  EXPECT_THAT(lines, Contains(HasSubstr("\"content\":\"farewell\"")));
  EXPECT_THAT(lines, Not(Contains(HasSubstr("\"goodbye\""))));
}

TEST(ComparisonTest, NamesOnlyTheContentThatFiresOtherwise) {
  Comparison comparison;
  const auto fires = [&](Comparison::Run run, const char* content, double at) {
    TimelineEvent event;
    event.kind = TimelineKind::trigger;
    event.at = Seconds{at};
    event.details.set("content", content);
    comparison.note(run, event);
  };
  for (const auto run : {Comparison::Run::before, Comparison::Run::after}) fires(run, "same", 10);
  fires(Comparison::Run::before, "often", 20);
  fires(Comparison::Run::after, "often", 20);
  fires(Comparison::Run::after, "often", 4000);
  fires(Comparison::Run::before, "moved", 100);
  fires(Comparison::Run::after, "moved", 160);
  Lines texts;
  for (const auto& difference : comparison.differences()) texts.push_back(inWords(difference));
  EXPECT_THAT(texts, ElementsAre("content moved: fires once, 60 s later",
                                 "content often: fires 2 times instead of once"));
  EXPECT_EQ(comparison.hours().size(), 1U);
  EXPECT_EQ(comparison.hours().at(1).second, 1U);
}

}  // namespace
}  // namespace ks::tool
