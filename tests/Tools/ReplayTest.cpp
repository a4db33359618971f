#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Recorded/ReplayedPlatform.h"
#include "BeaconSDK/Platform/Storage/ValueText.h"
#include "tests/Support/TemporaryFolder.h"
#include "tools/ksbeacon/replay/Comparison.h"
#include "tools/ksbeacon/replay/DayDraft.h"
#include "tools/ksbeacon/replay/Replay.h"
#include "tools/ksbeacon/scenario/ScenarioReader.h"
#include "tools/ksbeacon/scenario/ScenarioText.h"
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
                                 "disturbances",
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

TEST_F(ReplayTest, MakesAScenarioThatGoesAlike) {
  record(scenario("demo"));
  DayDraft draft;
  Timeline timeline;
  timeline.listen([&](const TimelineEvent& event) { draft.note(event); });
  ReplayOptions options;
  options.everyRanging = true;
  const ReplayResult result = replay(file_, options, timeline);
  draft.readEntries(file_);
  const Scenario day = draft.scenario(file_, result);
  fs::create_directory(folder_ / "portal");
  ASSERT_TRUE(draft.documents().write(folder_ / "portal"));
  const auto written = test::writeText(folder_ / "day.json", scenarioText(day, "portal"));
  const auto read = readScenarioFile(written);
  ASSERT_TRUE(std::holds_alternative<Scenario>(read)) << std::get<InputError>(read).message();
  const Scenario& again = std::get<Scenario>(read);
  EXPECT_LT(again.walk.stops.size(), 20U);
  Timeline ignored;
  const SimulationResult lived = simulate(again, {}, ignored);
  EXPECT_EQ(lived.failure, "");
  EXPECT_EQ(lived.outcomes.size(), 2U) << "welcome and square fired";
  for (const auto& outcome : lived.outcomes) EXPECT_TRUE(outcome.met) << outcome.expected;
}

TEST_F(ReplayTest, KeepsWholePartsWithinALimit) {
  const Scenario day = scenario("demo");
  std::uintmax_t longest = 0;
  RecordingWriter::Options options;
  options.limit.bytes = 60'000;
  for (int part = 0; part < 6; ++part) {
    auto writer = RecordingWriter::create(file_, options);
    SimulationOptions run;
    run.recording = writer.value().get();
    Timeline ignored;
    ASSERT_EQ(simulate(day, run, ignored).failure, "");
    writer.value().reset();
    longest = std::max(longest, fs::file_size(file_));
    // As a kill leaves it: the next process goes on before the tear.
    fs::resize_file(file_, fs::file_size(file_) - 3);
  }
  EXPECT_LT(longest, 2 * options.limit.bytes);
  Lines lines;
  const ReplayResult result = play(lines);
  EXPECT_EQ(result.failure + result.departure, "");
  EXPECT_GT(std::ranges::count_if(lines,
                                  [](const std::string& line) {
                                    return line.find("\"text\":\"launched\"") != std::string::npos;
                                  }),
            1);
}

TEST(ComparisonTest, NamesOnlyWhatDiffers) {
  Comparison comparison;
  const auto happens = [&](Comparison::Run run, TimelineKind kind, const char* content, double at) {
    TimelineEvent event;
    event.kind = kind;
    event.at = Seconds{at};
    event.details = {{"content", content}, {"action", "announced"}};
    comparison.note(run, "kiosk.ksrec", event);
  };
  const auto fires = [&](Comparison::Run run, const char* content, double at) {
    happens(run, TimelineKind::trigger, content, at);
  };
  for (const auto run : {Comparison::Run::before, Comparison::Run::after}) fires(run, "same", 10);
  fires(Comparison::Run::before, "often", 20);
  fires(Comparison::Run::after, "often", 20);
  fires(Comparison::Run::after, "often", 4000);
  happens(Comparison::Run::after, TimelineKind::notification, "", 4000);
  fires(Comparison::Run::before, "moved", 100);
  fires(Comparison::Run::after, "moved", 160);
  Lines texts;
  for (const auto& difference : comparison.differences()) texts.push_back(inWords(difference));
  EXPECT_THAT(texts, ElementsAre("content moved: fires once, 60 s later",
                                 "content often: fires 2 times instead of once"));
  ASSERT_EQ(comparison.hours().size(), 1U);
  EXPECT_EQ(inWords(1, comparison.hours().at(1)),
            "hour 1: 1 contents fire instead of 0, 1 notifications instead of 0");
  ASSERT_EQ(comparison.days().size(), 1U);
  EXPECT_EQ(comparison.days()[0].second.after, 1U);
}

}  // namespace
}  // namespace ks::tool
