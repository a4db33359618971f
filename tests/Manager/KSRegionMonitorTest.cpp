#include "BeaconSDK/Classes/Manager/Regions/KSRegionMonitor.h"
#include "tests/Support/Scenario.h"

using ks::CLProximity;
using ks::CLRegionState;
using ks::testing::kHome;
using ks::testing::kSiteRegion;
using ks::testing::PortalZone;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// North of home; a degree of latitude is 111.2 km.
constexpr ks::CLLocationCoordinate2D metresNorth(double metres) {
  return {kHome.latitude + metres / 111195.0, kHome.longitude};
}

class KSRegionMonitorTest : public ks::testing::ScenarioTest {
 protected:
  const ks::CLCircularRegion& searchRegion() const {
    return dynamic_cast<const ks::CLCircularRegion&>(
        *scenario.location->regionWithIdentifier("geoFence"));
  }
  void startsAtFence(const PortalZone& fence) {
    scenario.starts();
    scenario.movesTo(kHome);
    scenario.portalAnswers("/geofences", "[" + fence.geofence() + "]");
    scenario.decisions();
  }
};

TEST_F(KSRegionMonitorTest, FirstPositionBeginsTheSearch) {
  scenario.starts();
  EXPECT_THAT(scenario.http->waitingURLs(), IsEmpty());
  scenario.movesTo(kHome);
  EXPECT_EQ(searchRegion().center(), kHome);
  EXPECT_EQ(searchRegion().radius(), ks::Metres{6000});
  EXPECT_TRUE(searchRegion().notifyOnExit());
  EXPECT_TRUE(scenario.logged("New CircularRegion Region Monitoring 45.070000/7.680000"));
  EXPECT_EQ(scenario.http->waitingURLs().size(), 3U);
}

TEST_F(KSRegionMonitorTest, NewestOfSeveralFixesCounts) {
  scenario.starts();
  const auto fix = [&](double metres) {
    return ks::CLLocation{metresNorth(metres), ks::Metres{10}, scenario.now()};
  };
  scenario.location->delegate->didUpdateLocations(*scenario.location->manager, {fix(9000), fix(0)});
  EXPECT_EQ(searchRegion().center(), kHome);
}

TEST_F(KSRegionMonitorTest, MovingWithinChangesNothing) {
  scenario.starts();
  scenario.movesTo(kHome);
  scenario.portalAnswers("/locations", R"([{"id":"L1"}])");
  scenario.portalRefusesAll();
  scenario.location->takeCalls();
  scenario.movesTo(metresNorth(5900));
  EXPECT_THAT(scenario.location->calls, IsEmpty());
  EXPECT_THAT(scenario.http->waitingURLs(), IsEmpty());
  EXPECT_EQ(searchRegion().center(), kHome);
}

TEST_F(KSRegionMonitorTest, MovingSevenKilometresBeginsAnew) {
  scenario.startsAtSite();
  scenario.learns({});
  scenario.location->takeCalls();
  scenario.movesTo(metresNorth(7000));
  EXPECT_THAT(scenario.location->takeCalls(),
              ElementsAre("unmonitor geoFence", "unrange " + kSiteRegion, "monitor geoFence"));
  EXPECT_EQ(searchRegion().center(), metresNorth(7000));
  EXPECT_FALSE(scenario.manager->started());
  EXPECT_FALSE(scenario.manager->lastLocationsRefreshDate());
  EXPECT_EQ(
      scenario.manager->proximityZoneForIdentifier("b1", KSContentDownloadType::contentForBeacons),
      nullptr);
  EXPECT_TRUE(scenario.isAsked("/locations"));
  scenario.starts();
  EXPECT_EQ(scenario.startResult, "");
}

TEST_F(KSRegionMonitorTest, LeavingIsAlsoToldByTheRegion) {
  scenario.startsAtSite();
  scenario.location->location->coordinate = metresNorth(6100);
  scenario.determines(CLRegionState::outside, "geoFence");
  EXPECT_EQ(searchRegion().center(), metresNorth(6100));
  EXPECT_TRUE(scenario.logged("didDetermineState CircularRegion"));
}

TEST_F(KSRegionMonitorTest, RegionsOfAnEarlierRunStay) {
  scenario.startsAtSite();
  scenario.relaunches();
  scenario.starts();
  scenario.location->takeCalls();
  scenario.movesTo(kHome);
  EXPECT_THAT(scenario.location->calls, IsEmpty()) << "the old search region serves on";
  EXPECT_TRUE(scenario.isAsked("/locations"));
  EXPECT_NE(scenario.location->regionWithIdentifier(kSiteRegion), nullptr);
}

TEST_F(KSRegionMonitorTest, ReloadDropsBeaconRegions) {
  scenario.startsAtSite();
  scenario.location->takeCalls();
  scenario.manager->reloadBeacons();
  EXPECT_THAT(scenario.location->takeCalls(),
              ElementsAre("unmonitor " + kSiteRegion, "unmonitor geoFence", "monitor geoFence"));
}

TEST_F(KSRegionMonitorTest, NewGeofenceIsAskedForItsState) {
  startsAtFence({.id = "g1"});
  scenario.location->takeCalls();
  auto& delegate = *scenario.location->delegate;
  for (const char* identifier : {"g1", "geoFence"}) {
    delegate.didStartMonitoringForRegion(*scenario.location->manager,
                                         scenario.location->regionWithIdentifier(identifier));
  }
  EXPECT_THAT(scenario.location->takeCalls(), ElementsAre("state g1"));
  delegate.didFailWithError(*scenario.location->manager, {"D", 1, "no fix"});
  EXPECT_TRUE(scenario.logged("no fix"));
}

TEST_F(KSRegionMonitorTest, LaterGeofenceReplacesAndNoneIsDropped) {
  startsAtFence({.id = "g1"});
  scenario.passes(3600);
  const PortalZone second{.id = "g2"};
  const PortalZone first{.id = "g2", .contentId = "replaced"};
  scenario.portalAnswers("/geofences", "[" + first.geofence() + "," + second.geofence() + "]");
  EXPECT_EQ(scenario.manager->prefetchGeofences().size(), 2U);
  EXPECT_EQ((*scenario.manager->prefetchGeofences().find("g2"))->content()->identifier, "c1");
  EXPECT_THAT(scenario.location->calls, Contains("monitor g2"));
}

TEST_F(KSRegionMonitorTest, GeofenceVisitIsCountedAndFires) {
  startsAtFence({.id = "g1"});
  scenario.crossesInto("g1");
  EXPECT_THAT(scenario.heard(), ElementsAre("trigger g1"));
  ASSERT_TRUE(scenario.manager->enteredZones());
  scenario.crossesOutOf("g1");
  EXPECT_FALSE(scenario.manager->enteredZones());
  EXPECT_THAT(scenario.statistics(),
              ElementsAre("geofences/enter g1", "geofences/notification g1", "geofences/exit g1"));
}

/// What crossing into the geofence and out of it decides.
TEST_F(KSRegionMonitorTest, GeofenceEventsFollowTheContent) {
  struct Row {
    PortalZone zone;
    std::vector<std::string> entering;
    std::vector<std::string> leaving;
  };
  const Row rows[] = {
      {{}, {"fired"}, {}},
      // Without a dwelling time the kind of event is not looked at.
      {{.notifyOn = "EXIT"}, {"fired"}, {"fired"}},
      {{.dwellingTime = 60}, {"dwelling started"}, {"dwelling cancelled after 0"}},
      {{.notifyOn = "EXIT", .dwellingTime = 60}, {"other event"}, {"dwelling too short"}},
      {{.proximity = "NEAR", .repeatDelay = -1}, {"fired"}, {}},
      {{.category = "hats"}, {"category disabled"}, {}},
  };
  int number = 0;
  scenario.starts();
  for (auto [zone, entering, leaving] : rows) {
    zone.id = zone.contentId = "g" + std::to_string(++number);
    scenario.movesTo(metresNorth(number * 7000));
    scenario.portalAnswers("/geofences", "[" + zone.geofence() + "]");
    scenario.portalRefusesAll();
    scenario.determines(CLRegionState::outside, zone.id);
    EXPECT_THAT(scenario.decisions(), IsEmpty()) << number << ": not entered yet";
    scenario.crossesInto(zone.id);
    EXPECT_EQ(scenario.decisions(), entering) << number;
    scenario.crossesOutOf(zone.id);
    EXPECT_EQ(scenario.decisions(), leaving) << number;
    scenario.determines(CLRegionState::outside, zone.id);
    EXPECT_THAT(scenario.decisions(), IsEmpty()) << number << ": left before";
    scenario.statistics();
  }
  scenario.crossesInto("g5");
  EXPECT_TRUE(scenario.logged("Can't trigger, different proximity zones")) << "asked twice";
}

/// Leaving a beacon region: the content, how the beacon was last seen, what is decided and counted.
TEST_F(KSRegionMonitorTest, BeaconExitsFollowTheContent) {
  struct Row {
    const char* about;
    PortalZone zone;
    CLProximity seen;
    std::vector<std::string> leaving;
    std::int64_t counted;
  };
  const PortalZone nearExit{
      .notifyOn = "EXIT", .proximity = "NEAR", .eventsNeeded = 3, .eventsInterval = 9000};
  PortalZone anyExit = nearExit;
  anyExit.proximity = "";
  PortalZone nearEnter = nearExit;
  nearEnter.notifyOn = "ENTER";
  const Row rows[] = {
      {"seen where it fires: counted twice", nearExit, CLProximity::near, {"refused 1"}, 2},
      {"seen elsewhere", nearExit, CLProximity::far, {}, 0},
      {"any proximity", anyExit, CLProximity::far, {"refused 1"}, 1},
      {"fires on entry", nearEnter, CLProximity::near, {}, 1},
  };
  scenario.startsAtSite();
  int minor = 0;
  for (auto [about, zone, seen, leaving, counted] : rows) {
    zone.id = zone.contentId = "b" + std::to_string(++minor);
    zone.minor = minor;
    scenario.learns(zone);
    scenario.sees(minor, seen);
    scenario.decisions();
    scenario.statistics();
    scenario.determines(CLRegionState::outside);
    EXPECT_EQ(scenario.decisions(), leaving) << about;
    EXPECT_EQ(scenario.beacon(zone.id)->content()->eventDetectionCounter, counted) << about;
    EXPECT_EQ(scenario.beacon(zone.id)->proximity(), 0);
    EXPECT_THAT(scenario.statistics(), ElementsAre("beacons/exit " + zone.id));
  }
}

}  // namespace
