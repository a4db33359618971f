#include "BeaconSDK/Classes/Beacon/Content/TriggerVerdict.h"
#include "tests/Support/Scenario.h"

using ks::CLProximity;
using ks::CLRegionState;
using ks::testing::PortalZone;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class KSContentTriggerTest : public ks::testing::ScenarioTest {
 protected:
  KSContentTriggerTest() { scenario.startsAtSite(); }
  void TearDown() override {
    scenario.manager->reset();
    EXPECT_THAT(scenario.device->application().backgroundTasks(), IsEmpty());
  }
  /// Enters and leaves the site's region once, having seen the beacon at `proximity`.
  void visits(CLProximity proximity = CLProximity::near, double seconds = 0) {
    scenario.determines(CLRegionState::inside);
    scenario.sees(1, proximity);
    scenario.passes(seconds);
    scenario.determines(CLRegionState::outside);
  }
};

/// One row per rule: the zone, what three visits an hour apart decide.
TEST_F(KSContentTriggerTest, RulesDecideEachVisit) {
  using Rule = ks::TriggerVerdict::Rule;
  const auto refused = [](Rule rule) {
    return "refused " + std::to_string(static_cast<int>(rule));
  };
  struct Row {
    const char* about;
    PortalZone zone;
    std::vector<std::string> decisions;
  };
  const Row rows[] = {
      {"no delay", {.repeatDelay = 0}, {"fired", "fired", "fired"}},
      {"delay shorter than the pause", {.repeatDelay = 60}, {"fired", "fired", "fired"}},
      {"delay longer than the pause",
       {.repeatDelay = 5000},
       {"fired", refused(Rule::repeatDelayRunning), "fired"}},
      {"once only",
       {.repeatDelay = -1},
       {"fired", refused(Rule::onceOnly), refused(Rule::onceOnly)}},
      {"third event",
       {.eventsNeeded = 3, .eventsInterval = 9000},
       {refused(Rule::tooFewEvents), refused(Rule::tooFewEvents), "fired"}},
      {"period too short",
       {.eventsNeeded = 2, .eventsInterval = 60},
       {refused(Rule::tooFewEvents), refused(Rule::tooFewEvents), refused(Rule::tooFewEvents)}},
      {"no category",
       {.category = ""},
       {"category disabled", "category disabled", "category disabled"}},
      {"category switched off",
       {.category = "hats"},
       {"category disabled", "category disabled", "category disabled"}},
  };
  int minor = 0;
  for (auto [about, zone, expected] : rows) {
    zone.id = zone.contentId = "zone" + std::to_string(++minor);
    zone.minor = minor;
    // Wants a proximity, so that learning of it far away decides nothing.
    zone.proximity = "NEAR";
    scenario.learns(zone);
    for (const auto& decision : expected) {
      scenario.determines(CLRegionState::inside);
      scenario.sees(minor);
      EXPECT_THAT(scenario.decisions(), ElementsAre(decision)) << about;
      scenario.determines(CLRegionState::outside);
      scenario.passes(3597);
    }
  }
}

TEST_F(KSContentTriggerTest, FiringIsRecordedBeforeItIsTold) {
  scenario.filesWritten();
  scenario.learns({.repeatDelay = 60});
  EXPECT_THAT(scenario.heard(), ElementsAre("trigger b1"));
  EXPECT_THAT(scenario.statistics(), ElementsAre("beacons/enter b1", "beacons/notification b1"));
  EXPECT_THAT(scenario.filesWritten(),
              testing::UnorderedElementsAre("blockedContents.dat", "stays.dat"));
  EXPECT_EQ(scenario.beacon()->content()->blockedUntilDate, scenario.now() + ks::Seconds{60});
}

/// Either way of telling a level is heard during the stay and sent at its end.
TEST_F(KSContentTriggerTest, LevelsReachTheStatistics) {
  using Layout = ks::SimulatedBattery::Layout;
  scenario.device->world().placeDevice(ks::testing::kHome);
  for (const auto layout : {Layout::identity, Layout::name}) {
    ks::SimulatedBeacon radio{ks::testing::kHome, ks::testing::kSiteUUID, 1, 1};
    radio.battery = {.layout = layout, .name = "Beac", .level = 77};
    const auto heard = scenario.device->world().addBeacon(radio);
    scenario.learns({});
    scenario.sees(1);
    scenario.passes(10);
    scenario.determines(CLRegionState::outside);
    EXPECT_THAT(scenario.statistics(), testing::Contains("beacons/exit b1 battery 77"));
    scenario.device->world().removeBeacon(heard);
    scenario.manager->reloadBeacons();
    scenario.startsAtSite();
  }
}

TEST_F(KSContentTriggerTest, FollowTrackFiresInSilence) {
  scenario.learns({.type = "FOLLOW_TRACK", .repeatDelay = -1});
  EXPECT_THAT(scenario.heard(), IsEmpty());
  EXPECT_THAT(scenario.statistics(), ElementsAre("beacons/enter b1"));
  EXPECT_TRUE(scenario.beacon()->content()->blockedUntilDate);

  scenario.learns({.id = "b2", .minor = 2, .type = "FOLLOW_TRACK", .dwellingTime = 30});
  scenario.statistics();
  scenario.passes(30);
  EXPECT_THAT(scenario.heard(), IsEmpty());
  EXPECT_THAT(scenario.statistics(), ElementsAre("beacons/notification b2"))
      << "a stay is counted all the same";
}

TEST_F(KSContentTriggerTest, DwellingFiresWhenTheTimeIsUp) {
  scenario.learns({.dwellingTime = 30});
  EXPECT_EQ(scenario.device->application().backgroundTasks().size(), 1U);
  scenario.passes(17);
  scenario.sees(1, CLProximity::immediate);
  EXPECT_THAT(scenario.decisions(), ElementsAre("dwelling started", "dwelling pending"));
  EXPECT_THAT(scenario.heard(), IsEmpty());
  scenario.passes(10);
  EXPECT_THAT(scenario.decisions(), ElementsAre("fired")) << "the second event restarted nothing";
  EXPECT_THAT(scenario.heard(), ElementsAre("trigger b1"));
  EXPECT_THAT(scenario.device->application().backgroundTasks(), IsEmpty());
}

TEST_F(KSContentTriggerTest, LeavingCancelsDwelling) {
  scenario.learns({.dwellingTime = 30});
  scenario.passes(20);
  scenario.determines(CLRegionState::outside);
  EXPECT_THAT(scenario.decisions(), ElementsAre("dwelling started", "dwelling cancelled after 20"));
  EXPECT_THAT(scenario.device->application().backgroundTasks(), IsEmpty());
  scenario.passes(60);
  EXPECT_THAT(scenario.heard(), IsEmpty());
}

TEST_F(KSContentTriggerTest, LosingTheZoneEndsDwellingUncounted) {
  scenario.learns({.dwellingTime = 30});
  scenario.statistics();
  scenario.movesTo({45.2, 7.68});
  EXPECT_THAT(scenario.device->application().backgroundTasks(), IsEmpty());
  scenario.passes(60);
  EXPECT_THAT(scenario.heard(), IsEmpty());
  EXPECT_THAT(scenario.statistics(), IsEmpty());
}

TEST_F(KSContentTriggerTest, ExitDwellingComparesTheStay) {
  scenario.learns({.notifyOn = "EXIT", .dwellingTime = 20});
  scenario.determines(CLRegionState::outside);
  scenario.decisions();
  visits(CLProximity::near, 20);
  EXPECT_THAT(scenario.decisions(), ElementsAre("dwelling too short")) << "exactly as long";
  visits(CLProximity::near, 25.9);
  EXPECT_THAT(scenario.decisions(), ElementsAre("fired"));
  EXPECT_TRUE(scenario.logged("Dwelling long enough: 25 seconds"));
}

TEST_F(KSContentTriggerTest, UserMaySwitchTheCategoryBackOn) {
  auto& settings = scenario.manager->settingsManager();
  const auto shoes = settings.contentCategories().at(1);
  settings.enableContentCategory(*shoes, false);
  scenario.learns({});
  EXPECT_TRUE(scenario.logged("Category is disabled for content"));
  EXPECT_EQ(scenario.beacon()->content()->eventDetectionCounter, 0);
  settings.enableContentCategory(*shoes, true);
  scenario.sees(1);
  EXPECT_THAT(scenario.decisions(), ElementsAre("category disabled", "fired"));
}

}  // namespace
