#include "BeaconSDK/Classes/Settings/Refinements.h"
#include "tests/Support/Scenario.h"

using ks::testing::Scenario;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// Each story is lived through without the refinement and with it.
class RefinementsTest : public testing::TestWithParam<bool> {
 protected:
  void refine(bool ks::Refinements::*member) { scenario.refinements.*member = GetParam(); }
  bool isRefined() const { return GetParam(); }

  Scenario scenario;
};

INSTANTIATE_TEST_SUITE_P(, RefinementsTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "With" : "Without"; });

TEST_P(RefinementsTest, EmptyFirstCategoryList) {
  refine(&ks::Refinements::categoriesFromFirstList);
  scenario.launches();
  scenario.manager->start([](const auto&) {});
  scenario.portalAnswers("/contents/categories", "[]");
  scenario.manager->settingsManager().refresh([](const auto&) {});
  scenario.portalAnswers("/contents/categories", R"([{"id":"shoes"}])");
  scenario.startsAtSite();
  scenario.learns({.repeatDelay = 3600});
  scenario.learns({.id = "b2", .minor = 2, .contentId = "c2", .repeatDelay = 3600, .category = ""});
  if (isRefined()) {
    EXPECT_THAT(scenario.heard(), ElementsAre("trigger b1", "trigger b2"));
  } else {
    EXPECT_THAT(scenario.heard(), IsEmpty());
  }
}

TEST_P(RefinementsTest, EnterDuringOutage) {
  refine(&ks::Refinements::keptStatistics);
  scenario.startsAtSite();
  scenario.learns({.repeatDelay = 3600});
  scenario.portalFails("beacons/enter");
  scenario.passes(5);
  EXPECT_EQ(scenario.isAsked("beacons/enter"), isRefined());
  if (isRefined()) scenario.portalFails("beacons/enter");
  scenario.relaunches();
  EXPECT_EQ(scenario.isAsked("beacons/enter"), isRefined());
  if (!isRefined()) return;
  const auto request = scenario.http->transfer("beacons/enter")->originalRequest();
  EXPECT_NE(request.headers.find("Idempotency-Key"), nullptr);
  scenario.portalAnswers("beacons/enter", "");
  scenario.portalRefuses("beacons/notification", 400);
  EXPECT_EQ(scenario.manager->statisticsLedger(), (ks::StatsLedger{2, 0, 1, 1, {}}));
}

TEST_P(RefinementsTest, TwoAnnouncementsAtOnce) {
  refine(&ks::Refinements::everyAnnouncement);
  scenario.startsAtSite();
  scenario.learns({});
  scenario.learns({.id = "b2", .minor = 2, .contentId = "c2"});
  for (const char* zone : {"b1", "b2"}) {
    scenario.manager->showNotificationForProximityZone(scenario.beacon(zone));
    scenario.passes(1);
  }
  scenario.passes(6);
  EXPECT_THAT(scenario.device->simulatedNotificationCenter().deliveredNotifications(),
              SizeIs(isRefined() ? 2 : 1));
}

TEST_P(RefinementsTest, ActivationAfterManyNeighbourhoods) {
  refine(&ks::Refinements::oneActivation);
  scenario.startsAtSite();
  for (int i = 0; i < 20; ++i) {
    scenario.manager->reloadBeacons();
    scenario.manager->retry();
  }
  scenario.portalRefusesAll();
  scenario.manager->setLastLocationsRefreshDate(ks::Date{});
  scenario.device->application().becomeActive();
  scenario.device->runUntilIdle();
  const auto asked = scenario.http->waitingURLs();
  EXPECT_EQ(std::ranges::count_if(
                asked, [](const auto& url) { return url.ends_with("/contents/categories"); }),
            isRefined() ? 1 : 21);
}

TEST_P(RefinementsTest, HourlyListDuringStay) {
  refine(&ks::Refinements::exactStays);
  const ks::testing::PortalZone zone{.id = "g1"};
  scenario.startsAtSite();
  const auto lists = [&] {
    scenario.passes(3600);
    scenario.portalAnswers("/geofences?", "[" + zone.geofence() + "]");
    scenario.portalRefusesAll();
  };
  lists();
  scenario.crossesInto("g1");
  scenario.location->takeCalls();
  lists();
  const auto calls = scenario.location->takeCalls();
  EXPECT_EQ(std::ranges::count(calls, "monitor g1"), isRefined() ? 0 : 1) << "would fire once more";
  scenario.crossesOutOf("g1");
  const std::string body = scenario.http->transfer("geofences/exit")->body;
  EXPECT_EQ(body.find("\"duration\":0}") == std::string::npos, isRefined()) << body;
}

TEST_P(RefinementsTest, BeaconMovesToAnotherList) {
  refine(&ks::Refinements::exactStays);
  const ks::testing::PortalZone zone{.proximity = "IMMEDIATE"};
  scenario.startsAtSite();
  const auto lists = [&](const std::string& first, const std::string& second) {
    scenario.passes(3600);
    scenario.portalAnswers("/locations", R"([{"id":"L1","refreshIntervalSeconds":60},)"
                                         R"({"id":"L2","refreshIntervalSeconds":60}])");
    scenario.portalAnswers("location=L1", first);
    scenario.portalAnswers("location=L2", second);
    for (const char* other : {"unique-uuids", "/geofences"}) scenario.portalRefuses(other, 404);
  };
  lists("[" + zone.beacon() + "]", "[]");
  scenario.sees(1);
  lists("[]", "[" + zone.beacon() + "]");
  scenario.sees(1);
  scenario.passes(30);
  scenario.determines(ks::CLRegionState::outside);
  const auto statistics = scenario.statistics();
  EXPECT_EQ(std::ranges::count(statistics, "beacons/enter b1"), isRefined() ? 1 : 2);
  EXPECT_EQ(std::ranges::count(statistics, "beacons/exit b1"), 1);
  if (isRefined()) {
    EXPECT_THAT(scenario.told(), testing::Contains("stay 30 s"));
  }
}

TEST_P(RefinementsTest, ClockSetBackADay) {
  refine(&ks::Refinements::steadyClock);
  scenario.startsAtSite();
  scenario.learns({.repeatDelay = 3600});
  scenario.heard();
  const auto comesBack = [&] {
    scenario.determines(ks::CLRegionState::outside);
    scenario.determines(ks::CLRegionState::inside);
    scenario.sees(1);
    return scenario.heard().size();
  };
  scenario.setsClock(-86400);
  scenario.hearsNothing();
  scenario.passes(1800);
  scenario.relaunches();
  scenario.starts();
  EXPECT_EQ(comesBack(), 0U) << "half an hour";
  scenario.passes(1801);
  EXPECT_EQ(comesBack(), isRefined() ? 1U : 0U) << "the hour is over";
  scenario.setsClock(-3600);
  scenario.sleeps(3601);
  EXPECT_EQ(comesBack(), isRefined() ? 1U : 0U) << "the hour has been slept through";
  EXPECT_EQ(scenario.manager->health().clockJumps, 1) << "sleep is none";
  scenario.passes(86400);
  EXPECT_EQ(comesBack(), 1U) << "a day later for everybody";
}

TEST_P(RefinementsTest, RefusedUserAtTheStart) {
  refine(&ks::Refinements::startAlwaysAnswers);
  scenario.launches();
  int answers = 0;
  const auto count = [&](const std::optional<ks::Error>& error) { answers += error ? 1 : 100; };
  scenario.manager->start(count);
  scenario.manager->start(count);
  scenario.portalRefuses("/contents/categories", 401);
  EXPECT_EQ(answers, isRefined() ? 2 : 0);
  EXPECT_EQ(scenario.manager->starting(), !isRefined());
  scenario.starts();
  EXPECT_EQ(scenario.startResult.has_value(), isRefined());
}

}  // namespace
