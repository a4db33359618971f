#include "tests/Support/LiveObjects.h"
#include "tests/Support/Scenario.h"

using ks::CLProximity;
using ks::CLRegionState;
using ks::testing::PortalZone;
using testing::Contains;

namespace {

/// What a device holds at the end of a day.
struct Holdings {
  std::int64_t objects = 0;
  std::size_t timers = 0;
  std::size_t backgroundTasks = 0;
  std::size_t waitingTransfers = 0;
  std::size_t monitoredRegions = 0;
  std::ptrdiff_t files = 0;
  std::uintmax_t bytesOnDisk = 0;

  friend bool operator==(const Holdings&, const Holdings&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Holdings& one) {
    return out << one.objects << " objects, " << one.timers << " timers, " << one.backgroundTasks
               << " background tasks, " << one.waitingTransfers << " transfers, "
               << one.monitoredRegions << " regions, " << one.files << " files of "
               << one.bytesOnDisk << " bytes";
  }
};

class EngineLongLifeTest : public ks::testing::ScenarioTest {
 protected:
  EngineLongLifeTest() {
    KSProximityManager::enableLogging(false);
    scenario.http->resources["https://x.test/icon.png"] = {1, 2, 3};
    // The simulated centre remembers what it has shown.
    scenario.device->simulatedNotificationCenter().setAllowed(false);
  }

  /// Whatever the portal is asked, it answers as every day.
  void portalAnswersAll() {
    const std::pair<const char*, std::string> documents[] = {
        {"/contents/categories", R"([{"id":"shoes","name":"Shoes"}])"},
        {"/locations", R"([{"id":"L1","refreshIntervalSeconds":7200}])"},
        {"location=L1", "[" + zone(1).beacon() + "," + zone(2).beacon() + "]"},
        {"unique-uuids", "[" + zone(1).beacon() + "]"},
        {"/geofences", "[" + PortalZone{.id = "g1", .contentId = "g"}.geofence() + "]"},
        {"retrieveby=identifiers", "[]"},
    };
    scenario.statistics();
    for (bool answered = true; answered;) {
      answered = false;
      for (const auto& [url, body] : documents) {
        if (!scenario.isAsked(url)) continue;
        scenario.portalAnswers(url, body);
        answered = true;
      }
    }
  }
  static PortalZone zone(int minor) {
    const auto number = std::to_string(minor);
    return {.id = "b" + number,
            .minor = minor,
            .contentId = "c" + number,
            .repeatDelay = minor == 1 ? 600.0 : 0.0,
            .dwellingTime = minor == 1 ? 0.0 : 20.0};
  }

  /// In from the street, past the site's beacons and a stranger's, out again.
  void visits(int hour) {
    scenario.device->application().becomeActive();
    scenario.crossesInto("g1");
    scenario.determines(CLRegionState::inside);
    for (const auto proximity : {CLProximity::far, CLProximity::near, CLProximity::unknown}) {
      for (const int minor : {1, 2, 100 + hour}) scenario.sees(minor, proximity);
      portalAnswersAll();
    }
    scenario.manager->showNotificationForProximityZone(scenario.beacon("b1"));
    scenario.passes(hour % 2 == 0 ? 5 : 90);
    scenario.determines(CLRegionState::outside);
    scenario.crossesOutOf("g1");
    portalAnswersAll();
    scenario.device->application().resignActive();
  }
  /// A day of visits, with a fetch in the background each hour, and one move out of town and back.
  void livesADay() {
    for (int hour = 0; hour < 12; ++hour) {
      const auto end = scenario.now() + ks::Seconds{3600};
      visits(hour);
      scenario.passes(1800);
      scenario.manager->performFetchWithCompletionHandler([](auto) {});
      portalAnswersAll();
      scenario.device->runUntil(end);
      portalAnswersAll();
    }
    scenario.movesTo({45.2, 7.68});
    portalAnswersAll();
    scenario.movesTo(ks::testing::kHome);
    portalAnswersAll();
    scenario.passes(12.0 * 3600);
    portalAnswersAll();
    triggers_ = scenario.heard();
  }
  Holdings holdings() {
    scenario.decisions();
    scenario.told();
    scenario.filesWritten();
    scenario.location->takeCalls();
    scenario.device->console().clear();
    Holdings all;
    all.timers =
        scenario.device->mainQueue().pendingTasks() + scenario.device->globalQueue().pendingTasks();
    all.backgroundTasks = scenario.device->application().backgroundTasks().size();
    all.waitingTransfers = scenario.http->waitingURLs().size();
    all.monitoredRegions = scenario.location->regions.size();
    const auto& folders = scenario.device->directories();
    for (const auto& folder : {folders.caches, folders.temporary}) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        ++all.files;
        if (entry.is_regular_file()) all.bytesOnDisk += entry.file_size();
      }
    }
    all.objects = ks::testing::liveObjects();
    return all;
  }

  std::vector<std::string> triggers_;
};

/// Each start, so each day after the move, observes the application for good.
constexpr std::int64_t kObjectsPerStart = 12;

/// Whatever a day begins ends with it: the seventh leaves what the second has left.
TEST_F(EngineLongLifeTest, WeekIsFlat) {
  scenario.starts();
  scenario.movesTo(ks::testing::kHome);
  portalAnswersAll();
  livesADay();
  livesADay();
  const auto second = holdings();
  for (int day = 3; day <= 7; ++day) {
    livesADay();
    EXPECT_THAT(triggers_, Contains("trigger b1").Times(testing::Ge(12)));
    EXPECT_THAT(triggers_, Contains("trigger b2").Times(testing::Ge(6)));
    EXPECT_THAT(triggers_, Contains("trigger g1").Times(12));
    auto now = holdings();
    EXPECT_LE(now.objects, second.objects + kObjectsPerStart * (day - 2)) << "day " << day;
    now.objects = second.objects;
    EXPECT_EQ(now, second) << "day " << day;
  }
  EXPECT_EQ(second.backgroundTasks, 0U);
  EXPECT_EQ(second.waitingTransfers, 0U);
  // The two refreshes, and the pauses of the two cache files that the evening has changed.
  EXPECT_LE(second.timers, 4U);
}

}  // namespace
