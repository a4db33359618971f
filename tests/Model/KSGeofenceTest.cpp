#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Platform/Api/Class.h"
#include "tests/Support/PlatformFixture.h"

namespace {

using KSGeofenceTest = ks::testing::PlatformFixture;

std::shared_ptr<ks::CLCircularRegion> region(const char* identifier) {
  return std::make_shared<ks::CLCircularRegion>(ks::CLLocationCoordinate2D{45, 7}, ks::Metres{100},
                                                identifier);
}

TEST_F(KSGeofenceTest, RegionGivesIdentifierAndEntryRestartsStay) {
  KSGeofence geofence;
  geofence.setIdentifier("own");
  geofence.setRefId("reference");
  EXPECT_EQ(geofence.identifier(), std::nullopt);
  geofence.setMonitoringRegion(region("r1"));
  EXPECT_EQ(geofence.identifier(), "r1");
  geofence.setMonitoringRegion(region("r2"));
  EXPECT_EQ(geofence.identifier(), "r2");
  EXPECT_EQ(geofence.refId(), "");
  geofence.setInRange(true);
  advance(10);
  geofence.setInRange(true);
  EXPECT_EQ(geofence.inRangeSince(), now());
  geofence.setInRange(false);
  EXPECT_FALSE(geofence.inRangeSince());
}

TEST_F(KSGeofenceTest, RestoredCopyAnswersItsIdentifier) {
  KSGeofence source;
  source.setMonitoringRegion(region("r1"));
  source.setName("Hall");
  KSGeofence copy;
  for (const auto& property : KSGeofence::kClass.codableProperties()) {
    const auto value = property.get(source);
    if (!value.isAbsent()) property.set(copy, value);
  }
  EXPECT_EQ(copy.identifier(), "r1");
  EXPECT_EQ(copy.name(), "Hall");
  EXPECT_FALSE(copy.isEqual(&source)) << "each geofence is its own";
}

}  // namespace
