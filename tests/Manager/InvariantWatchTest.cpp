#include <gmock/gmock.h>

#include <memory>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Manager/Health/InvariantWatch.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class InvariantWatchTest : public testing::Test {
 protected:
  /// The breaches of events in a row: a statistic, "fired ZONE", "forgotten" or "rest".
  std::vector<std::string> breachesOf(const std::vector<std::string>& events,
                                      bool exactStays = true) {
    std::vector<std::string> breaches;
    ks::InvariantWatch watch([&](const auto& breach) { breaches.push_back(breach.invariant); },
                             exactStays);
    for (const std::string& event : events) {
      const std::string zone = event.substr(event.find(' ') + 1);
      if (event.starts_with("fired")) {
        const auto beacon = std::make_shared<KSPrivateBeacon>();
        beacon->setIdentifier(zone);
        ks::TriggerDecision decision;
        decision.outcome = ks::TriggerDecision::Outcome::fired;
        decision.zone = beacon;
        watch.triggerDecided(decision);
      } else if (event == "forgotten") {
        watch.neighbourhoodForgotten();
      } else if (event == "rest") {
        watch.settle();
      } else {
        watch.statisticMade({event.substr(0, event.find(' ')), zone});
      }
    }
    return breaches;
  }
};

TEST_F(InvariantWatchTest, TellsSequencesApart) {
  const std::vector<std::string> twice{"beacons/enter a", "geofences/enter a", "beacons/enter a"};
  EXPECT_THAT(breachesOf(twice), ElementsAre("enteredTwice"));
  EXPECT_THAT(breachesOf(twice, false), IsEmpty()) << "nobody promised that";
  EXPECT_THAT(breachesOf({"beacons/enter a", "forgotten", "beacons/enter a", "beacons/exit a"}),
              IsEmpty());
  EXPECT_THAT(breachesOf({"geofences/enter a", "geofences/exit a", "geofences/exit a"}, false),
              ElementsAre("exitWithoutEnter"));
  EXPECT_THAT(breachesOf({"beacons/notification a", "fired a", "rest"}), IsEmpty());
  EXPECT_THAT(breachesOf({"beacons/notification a", "fired b", "rest", "rest"}),
              ElementsAre("notificationWithoutFiring"));
}

TEST_F(InvariantWatchTest, AddsUpTheLedger) {
  int breaches = 0;
  ks::InvariantWatch watch([&](const auto&) { ++breaches; }, true);
  watch.check({5, 2, 3, 0, {}});
  watch.statisticMade({"beacons/enter", "a"});
  watch.check({6, 3, 3, 0, {}});
  EXPECT_EQ(breaches, 0);
  watch.check({7, 4, 3, 0, {}});
  EXPECT_EQ(breaches, 1) << "an event that nobody made";
  watch.check({7, 4, 2, 0, {}});
  EXPECT_EQ(breaches, 2) << "an event is missing";
}

}  // namespace
