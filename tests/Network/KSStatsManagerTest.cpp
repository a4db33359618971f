#include <gmock/gmock.h>

#include <functional>

#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Stats/KSStatsManager.h"
#include "BeaconSDK/Classes/Stats/Records/KSStatProximityZoneInteraction.h"
#include "tests/Network/PortalTest.h"

namespace ks::test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class KSStatsManagerTest : public PortalTest {
 protected:
  KSStatsManagerTest() {
    auto content = std::make_shared<KSTextPushProximityZoneContent>();
    content->identifier = "c1";
    auto schedule = std::make_shared<KSProximitySchedule>();
    schedule->identifier = "s1";
    beacon.setIdentifier("b1");
    beacon.setName("Hall");
    beacon.setContent(content);
    beacon.setSchedule(schedule);
    geofence.setIdentifier("unused");
    geofence.setMonitoringRegion(
        std::make_shared<CLCircularRegion>(CLLocationCoordinate2D{}, Metres{1}, "g1"));
    geofence.setContent(content);
  }

  KSPrivateBeacon beacon;
  KSGeofence geofence;
  std::shared_ptr<KSStatsManager> stats =
      KSStatsManager::initWithNetwork(network, platform->clock());
};

TEST_F(KSStatsManagerTest, PostsEachEvent) {
  beacon.setProximity(1);
  geofence.setInRange(true);
  platform->advance(Seconds{10.9});
  const Dictionary tags{{"sex", "f"}};
  const std::string time = R"("timestamp":"2026-01-01T09:00:10+0100")";
  const struct {
    std::function<void()> call;
    const char* path;
    std::string body;
  } cases[] = {
      {[&] { stats->incrementMovedInProximityZone(beacon, tags); }, "beacons/enter",
       R"({"beaconId":"b1",)" + time + R"(,"tags":{"sex":"f"}})"},
      {[&] { stats->incrementMovedOutOfProximityZone(beacon, 0, std::nullopt); }, "beacons/exit",
       R"({"beaconId":"b1",)" + time + R"(,"batteryLevel":0,"duration":10,"tags":null})"},
      {[&] { stats->incrementMovedOutOfProximityZone(beacon, {}, tags); }, "beacons/exit",
       R"({"beaconId":"b1",)" + time + R"(,"batteryLevel":null,"duration":10,"tags":{"sex":"f"}})"},
      {[&] { stats->incrementProximityZoneNotification(beacon, 90, tags); }, "beacons/notification",
       R"({"beaconId":"b1","contentId":"c1","schedulId":"s1",)" + time + R"(,"tags":{"sex":"f"}})"},
      {[&] { stats->incrementLoyaltyForProximity(beacon, Dictionary{}); }, "beacons/content",
       R"({"beaconId":"b1",)" + time + R"(,"contentId":"c1","schedulId":null,"tags":{}})"},
      {[&] { stats->incrementLoyaltyForProximity(geofence, tags); }, "geofences/content",
       R"({"geofenceId":"g1",)" + time +
           R"(,"contentId":"c1","schedulId":null,"tags":{"sex":"f"}})"},
      {[&] { stats->incrementMovedInGeofence(geofence); }, "geofences/enter",
       R"({"geofenceId":"g1",)" + time + "}"},
      {[&] { stats->incrementMovedOutOfGeofence(geofence); }, "geofences/exit",
       R"({"geofenceId":"g1",)" + time + R"(,"duration":10})"},
      {[&] { stats->incrementGeofenceNotification(geofence, tags); }, "geofences/notification",
       R"({"geofenceId":"g1","contentId":"c1","schedulId":null,)" + time +
           R"(,"tags":{"sex":"f"}})"},
  };
  for (const auto& [call, path, body] : cases) {
    call();
    const auto transfer = http->transfer(path);
    ASSERT_TRUE(transfer);
    EXPECT_THAT(transfer->originalRequest().url.absoluteString,
                EndsWith(std::string("/app/") + path));
    EXPECT_EQ(transfer->originalRequest().httpMethod, "POST");
    EXPECT_EQ(transfer->body, body) << path;
    answer(path, 200, "");
  }
}

TEST_F(KSStatsManagerTest, DurationIsWholeSecondsInRange) {
  const std::pair<double, const char*> cases[] = {{0, "0"},
                                                  {59.9, "59"},
                                                  {-59.9, "-59"},
                                                  {1e300, "2147483647"},
                                                  {-1e300, "-2147483648"},
                                                  {std::nan(""), "0"}};
  stats->incrementMovedOutOfProximityZone(beacon, {}, {});
  EXPECT_THAT(http->transfer("beacons/exit")->body, HasSubstr(R"("duration":0,)"));
  for (const auto& [duration, text] : cases) {
    const auto interaction = KSStatProximityZoneInteraction::interactionWithContentType(4);
    interaction->beaconIdentifier = "g1";
    interaction->duration = duration;
    network->postExitGeofenceZone(*interaction);
    EXPECT_THAT(http->transfer("geofences/exit")->body,
                EndsWith(std::string(R"(,"duration":)") + text + "}"));
    answer("geofences/exit", 200, "");
  }
}

TEST_F(KSStatsManagerTest, DropsIncompleteEvents) {
  enableLogging = true;
  beacon.setContent(nullptr);
  stats->incrementProximityZoneNotification(beacon, {}, {});
  geofence.setMonitoringRegion(nullptr);
  stats->incrementMovedInGeofence(geofence);
  const auto other = KSStatProximityZoneInteraction::interactionWithContentType(1);
  other->beaconIdentifier = "b1";
  network->postEnterProximityZone(*other);
  enableLogging = false;
  EXPECT_THAT(http->waitingURLs(), IsEmpty());
  EXPECT_THAT(platform->console().lines(),
              ElementsAre(EndsWith("Send notification-event for Hall"),
                          EndsWith("Event dropped, missing: contentId"),
                          EndsWith("Event dropped, missing: geofenceId"),
                          EndsWith("Event dropped, missing: zone type")));
}

}  // namespace
}  // namespace ks::test
