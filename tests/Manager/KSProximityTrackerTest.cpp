#include "BeaconSDK/Classes/Manager/Regions/KSProximityTracker.h"
#include "tests/Support/Scenario.h"

using ks::CLProximity;
using ks::CLRegionState;
using ks::testing::kSiteRegion;
using ks::testing::kSiteUUID;
using ks::testing::PortalZone;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<ks::CLBeacon> beaconsFrom(std::uint16_t first, std::uint16_t last) {
  std::vector<ks::CLBeacon> beacons;
  for (std::uint16_t minor = first; minor <= last; ++minor) {
    beacons.push_back({kSiteUUID, 1, minor, CLProximity::near, {2}, {-60}});
  }
  return beacons;
}

class KSProximityTrackerTest : public ks::testing::ScenarioTest {
 protected:
  KSProximityTrackerTest() { scenario.startsAtSite(); }
  std::vector<std::string> walks(const std::vector<CLProximity>& path) {
    std::vector<std::string> decisions;
    for (const CLProximity proximity : path) {
      scenario.sees(1, proximity);
      for (auto& decision : scenario.decisions()) decisions.push_back(std::move(decision));
      decisions.emplace_back(scenario.beacon()->inRange() ? "in" : "out");
    }
    return decisions;
  }
};

constexpr auto kUnknown = CLProximity::unknown;
constexpr auto kImmediate = CLProximity::immediate;
constexpr auto kNear = CLProximity::near;
constexpr auto kFar = CLProximity::far;

TEST_F(KSProximityTrackerTest, WalksDecideByProximity) {
  struct Row {
    const char* about;
    PortalZone zone;
    std::vector<CLProximity> path;
    std::vector<std::string> decisions;
  };
  const Row rows[] = {
      {"approach, stay, step closer, come back",
       {.proximity = "NEAR"},
       {kFar, kNear, kNear, kImmediate, kImmediate, kNear},
       {"refused 0", "out", "fired", "in", "in", "out", "refused 0", "out", "fired", "in"}},
      {"fires on leaving the band",
       {.notifyOn = "EXIT", .proximity = "NEAR"},
       {kFar, kNear, kFar},
       {"out", "out", "refused 0", "out"}},
      {"any proximity: each change",
       {},
       {kFar, kFar, kNear, kUnknown, kUnknown},
       {"fired", "in", "in", "fired", "in", "fired", "in", "fired", "in"}},
      {"any proximity on exit: only leaving the region",
       {.notifyOn = "EXIT"},
       {kFar, kNear, kUnknown},
       {"out", "out", "out"}},
  };
  for (auto [about, zone, path, expected] : rows) {
    scenario.learns(zone);
    scenario.decisions();
    EXPECT_EQ(walks(path), expected) << about;
    scenario.manager->reloadBeacons();
    scenario.startsAtSite();
  }
}

TEST_F(KSProximityTrackerTest, WobblingCountsOncePerStay) {
  scenario.learns({.eventsNeeded = 9, .eventsInterval = 9000});
  walks({kFar, kNear, kImmediate, kNear});
  EXPECT_EQ(scenario.beacon()->content()->eventDetectionCounter, 1);
  scenario.determines(CLRegionState::outside);
  walks({kNear});
  EXPECT_EQ(scenario.beacon()->content()->eventDetectionCounter, 2);
  scenario.beacon()->content()->trigger();
  walks({kFar});
  EXPECT_EQ(scenario.beacon()->content()->eventDetectionCounter, 1) << "a firing begins anew";

  scenario.learns({.id = "b2",
                   .minor = 2,
                   .contentId = "c2",
                   .notifyOn = "EXIT",
                   .proximity = "NEAR",
                   .eventsNeeded = 9});
  for (const auto proximity : {kNear, kFar, kNear}) scenario.sees(2, proximity);
  EXPECT_EQ(scenario.beacon("b2")->content()->eventDetectionCounter, 1) << "on leaving";
}

TEST_F(KSProximityTrackerTest, ThrottlesEachRegion) {
  scenario.learns({});
  scenario.passes(3);
  scenario.ranges(beaconsFrom(1, 1));
  scenario.passes(2.4);
  scenario.logged("");
  scenario.ranges(beaconsFrom(1, 2));
  EXPECT_FALSE(scenario.logged("beacon count: 2"));
  scenario.passes(0.1);
  scenario.ranges(beaconsFrom(1, 2));
  EXPECT_TRUE(scenario.logged("didRangeBeacons: " + kSiteRegion + ", beacon count: 2"));
  scenario.determines(CLRegionState::inside);
  scenario.ranges(beaconsFrom(1, 3));
  EXPECT_TRUE(scenario.logged("beacon count: 3")) << "entering begins anew";
  scenario.setsClock(-3600);
  scenario.passes(0.1);
  scenario.ranges(beaconsFrom(1, 4));
  EXPECT_TRUE(scenario.logged("beacon count: 4")) << "a last time in the future is long ago";
}

TEST_F(KSProximityTrackerTest, EmptyRegionIsMonitoredAnew) {
  scenario.hearsNothing();
  EXPECT_TRUE(scenario.logged("beacon count: 0")) << "the first result counts, also an empty one";
  scenario.location->takeCalls();
  for (int second = 0; second < 60; ++second) {
    scenario.passes(1);
    scenario.hearsNothing();
  }
  EXPECT_THAT(scenario.location->calls, IsEmpty());
  scenario.passes(1);
  scenario.hearsNothing();
  EXPECT_THAT(
      scenario.location->takeCalls(),
      ElementsAre("unrange " + kSiteRegion, "unmonitor " + kSiteRegion, "monitor " + kSiteRegion));
  scenario.passes(60);
  scenario.hearsNothing();
  EXPECT_THAT(scenario.location->calls, IsEmpty()) << "the restart counts as a result";
}

TEST_F(KSProximityTrackerTest, AsksForFiveBeaconsAtATime) {
  scenario.ranges(beaconsFrom(1, 7));
  EXPECT_EQ(
      scenario.manager->proximityZoneForIdentifier("", KSContentDownloadType::contentForBeacons),
      nullptr);
  const auto first = scenario.http->waitingURLs();
  ASSERT_EQ(first.size(), 1U);
  EXPECT_NE(first[0].find(":1:5"), std::string::npos);
  EXPECT_EQ(first[0].find(":1:6"), std::string::npos);
  scenario.portalAnswers("retrieveby=identifiers", "[]");
  scenario.passes(3);
  scenario.ranges(beaconsFrom(1, 7));
  EXPECT_NE(scenario.http->waitingURLs().at(0).find(":1:6&"), std::string::npos);
  EXPECT_TRUE(scenario.logged("No content available in portal for beacon " +
                              kSiteUUID.UUIDString() + " - 1 - 5"));
}

/// Seconds since the request or the answer, and whether ranging asks again.
TEST_F(KSProximityTrackerTest, AsksAgainWhenContentIsDue) {
  const auto asksAfter = [&](double seconds) {
    scenario.passes(seconds - 3);
    scenario.sees(1);
    return scenario.isAsked("retrieveby=identifiers");
  };
  scenario.sees(1);
  ASSERT_TRUE(scenario.isAsked("retrieveby=identifiers"));
  scenario.portalRefuses("retrieveby=identifiers", 401);
  EXPECT_FALSE(asksAfter(150));
  EXPECT_TRUE(
      scenario.logged("Content-fetch is busy for beacon " + kSiteUUID.UUIDString() + " - 1 - 1"));
  EXPECT_TRUE(asksAfter(3)) << "hung";
  EXPECT_TRUE(scenario.logged("Content-fetch is expired for beacon " + kSiteUUID.UUIDString() +
                              " - 1 - 1 ; retry fetch from server"));
  scenario.portalRefuses("retrieveby=identifiers", 401);
  EXPECT_FALSE(asksAfter(3)) << "the retry has its own time";
  EXPECT_TRUE(asksAfter(151));
  scenario.portalAnswers("retrieveby=identifiers", "[]");
  EXPECT_FALSE(asksAfter(600));
  EXPECT_TRUE(asksAfter(3)) << "perhaps there is content by now";
  EXPECT_THAT(scenario.statistics(), IsEmpty());
}

TEST_F(KSProximityTrackerTest, BeaconsShareAContent) {
  const PortalZone first{.repeatDelay = 3600};
  PortalZone second = first;
  second.id = "b2";
  second.minor = 2;
  second.proximity = "NEAR";
  PortalZone other = second;
  other.id = other.contentId = "b3";
  other.minor = 3;
  scenario.learns(second);
  scenario.learns(other);
  scenario.learns(first);
  EXPECT_THAT(scenario.heard(), ElementsAre("trigger b1"));
  const auto blocked = scenario.beacon("b1")->content()->blockedUntilDate;
  EXPECT_EQ(scenario.beacon("b2")->content()->blockedUntilDate, blocked);
  EXPECT_FALSE(scenario.beacon("b3")->content()->blockedUntilDate);
  scenario.sees(2);
  EXPECT_THAT(scenario.heard(), IsEmpty());
}

}  // namespace
