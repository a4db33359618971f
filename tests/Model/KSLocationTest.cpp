#include <gtest/gtest.h>

#include "BeaconSDK/Classes/Location/KSLocation.h"

namespace {

TEST(KSLocationTest, IdentifierMakesIdentityAndPrecisionIsSingle) {
  KSLocation location;
  KSLocation other;
  EXPECT_FALSE(location.isEqual(&other)) << "no identifier, no identity";
  location.identifier = other.identifier = "l1";
  other.latitude = 45;
  EXPECT_TRUE(location.isEqual(&other));
  EXPECT_EQ(location.hash(), other.hash());
  other.identifier = "l2";
  EXPECT_FALSE(location.isEqual(&other));
  location.latitude = 45.0712345F;
  EXPECT_EQ(location.coordinate().latitude, 45.071235656738281);
  EXPECT_EQ(location.description(), "l1 (null) 45.071236 0.000000");
}

}  // namespace
