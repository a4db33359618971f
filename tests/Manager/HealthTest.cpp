#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

#include "BeaconSDK/Classes/Manager/Health/HeldData.h"
#include "tests/Support/Scenario.h"

using ks::testing::Scenario;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class HealthTest : public ks::testing::ScenarioTest {
 protected:
  HealthTest() { scenario.refinements = ks::Refinements::all(); }

  std::vector<std::string> reasons() const {
    std::vector<std::string> found;
    for (const auto& ailment : scenario.manager->health().ailments) {
      found.push_back(ailment.reason);
      EXPECT_FALSE(ailment.text.empty() || ailment.mend.empty()) << ailment.reason;
    }
    return found;
  }
  std::string held() const { return ks::Value(ks::HeldData::all()).description(); }
};

TEST_F(HealthTest, EachAilmentHasItsReasonAndPasses) {
  const ks::CLCircularRegion circle({45, 7}, ks::Metres{50}, "g9");
  const auto shared = std::make_shared<ks::CLCircularRegion>(circle);
  const struct {
    const char* reason;
    std::function<void(Scenario&)> begins;
    std::function<void(Scenario&)> ends;
  } rows[] = {
      {ks::AilmentReason::permission,
       [](Scenario& s) { s.location->status = ks::CLAuthorizationStatus::denied; },
       [](Scenario& s) { s.location->status = ks::CLAuthorizationStatus::authorizedAlways; }},
      {ks::AilmentReason::portal,
       [](Scenario& s) {
         s.manager->settingsManager().refresh(nullptr);
         s.portalFails("/contents/categories");
       },
       [](Scenario& s) {
         s.manager->settingsManager().refresh(nullptr);
         s.portalAnswers("/contents/categories", "[]");
       }},
      {ks::AilmentReason::loginRefused,
       [](Scenario& s) {
         s.manager->settingsManager().refresh(nullptr);
         s.portalRefuses("/contents/categories", 401);
       },
       [](Scenario& s) {
         s.manager->settingsManager().refresh(nullptr);
         s.portalAnswers("/contents/categories", "[]");
       }},
      {ks::AilmentReason::regionsRefused,
       [&](Scenario& s) {
         s.location->delegate->monitoringDidFailForRegion(*s.location->manager, shared,
                                                          ks::Error("location", 4, "too many"));
       },
       [&](Scenario& s) {
         s.location->delegate->didStartMonitoringForRegion(*s.location->manager, shared);
       }},
      {ks::AilmentReason::regionsRefused,
       [&](Scenario& s) {
         s.location->delegate->monitoringDidFailForRegion(*s.location->manager, shared,
                                                          ks::Error("location", 5, "radius"));
         s.passes(3600);
       },
       [](Scenario& s) {
         s.movesTo(ks::testing::kHome);
         s.portalAnswers("/locations", "[]");
         s.portalAnswers("/geofences", "[]");
       }},
      {ks::AilmentReason::clockJumped, [](Scenario& s) { s.setsClock(86400); },
       [](Scenario& s) { s.passes(ks::Health::kJumpToldSeconds + 1); }},
      {ks::AilmentReason::statisticsWaiting,
       [](Scenario& s) {
         s.learns({});
         s.portalFails("beacons/enter");
       },
       [](Scenario& s) {
         s.passes(5);
         s.statistics();
       }},
      {ks::AilmentReason::statisticsDropped,
       [](Scenario& s) {
         s.determines(ks::CLRegionState::outside);
         const auto folder = s.device->directories().caches / "KSProximityManager/statistics";
         for (const auto& file : std::filesystem::directory_iterator(folder)) {
           if (file.path().extension() == ".event") std::filesystem::resize_file(file.path(), 0);
         }
         s.portalFails("beacons/notification");
         s.passes(5);
       },
       [](Scenario& s) {
         s.relaunches();
         s.startsAtSite();
       }},
  };
  scenario.startsAtSite();
  EXPECT_THAT(reasons(), IsEmpty());
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reason);
    row.begins(scenario);
    EXPECT_THAT(reasons(), ElementsAre(row.reason));
    row.ends(scenario);
    EXPECT_THAT(reasons(), IsEmpty());
  }
  scenario.manager->reset();
  EXPECT_THAT(reasons(), testing::Contains(std::string(ks::AilmentReason::deaf)));
}

TEST_F(HealthTest, WhatTheUserForbidsIsNeitherSentNorKept) {
  for (const auto& [name, member] : ks::Consent::named()) scenario.consent.*member = false;
  scenario.launches();
  scenario.manager->settingsManager().setTag("language", "it");
  scenario.starts();
  scenario.movesTo(ks::testing::kHome);
  EXPECT_FALSE(scenario.isAsked("latitude="));
  scenario.manager->settingsManager().refresh(nullptr);
  const auto request = scenario.http->transfer("/contents/categories")->originalRequest();
  EXPECT_EQ(request.headers.find("X-KSL-UID"), nullptr);
  EXPECT_THAT(held(), AllOf(Not(HasSubstr("language")), Not(HasSubstr("45.07"))));
}

TEST_F(HealthTest, ConsentIsWithdrawnAndGivenDuringAStay) {
  scenario.startsAtSite();
  scenario.manager->settingsManager().setTag("language", "it");
  scenario.learns({});
  EXPECT_THAT(held(), AllOf(HasSubstr("language"), HasSubstr("beacons/enter"), HasSubstr("b1")));
  ks::Consent consent;
  consent.statistics = consent.tags = false;
  scenario.manager->setConsent(consent);
  EXPECT_EQ(scenario.manager->statisticsLedger()->made, 0);
  EXPECT_THAT(held(), AllOf(Not(HasSubstr("language")), Not(HasSubstr("beacons/enter"))));
  scenario.manager->setConsent({});
  scenario.determines(ks::CLRegionState::outside);
  EXPECT_FALSE(scenario.isAsked("beacons/exit")) << "of a stay that was not counted";
  scenario.determines(ks::CLRegionState::inside);
  scenario.sees(1);
  EXPECT_EQ(scenario.manager->statisticsLedger()->made, 2) << "the next one is";
}

TEST_F(HealthTest, PurgeLeavesNothing) {
  scenario.startsAtSite();
  scenario.learns({.repeatDelay = 3600});
  scenario.manager->settingsManager().setTag("language", "it");
  scenario.passes(2);
  scenario.manager->purge();
  EXPECT_EQ(held(), "{files = (); defaults = {}; }");
  scenario.manager.reset();
  scenario.passes(2);
  EXPECT_EQ(held(), "{files = (); defaults = {}; }") << "nothing is written at the end";
}

}  // namespace
