#include <gtest/gtest.h>

#include <memory>

#include "BeaconSDK/Classes/Beacon/Content/KSFollowTrackProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSHTMLProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentError.h"
#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSVideoProximityZoneContent.h"
#include "BeaconSDK/Platform/Api/Class.h"

namespace {

TEST(KSProximityZoneContentTest, KindAndIdentifierMakeIdentity) {
  KSHTMLProximityZoneContent html;
  KSHTMLProximityZoneContent other;
  KSVideoProximityZoneContent video;
  EXPECT_FALSE(html.isEqual(&other)) << "no identifier, no identity";
  html.identifier = other.identifier = video.identifier = "42";
  other.message = "another text";
  EXPECT_TRUE(html.isEqual(&other));
  EXPECT_EQ(html.hash(), other.hash());
  EXPECT_FALSE(html.isEqual(&video));
  EXPECT_EQ(video.hash() - html.hash(), 2U);
  KSProximityZoneContentCategory category;
  category.identifier = "42";
  EXPECT_FALSE(html.isEqual(&category));
  EXPECT_FALSE(html.isEqual(nullptr));
}

TEST(KSProximityZoneContentTest, DescriptionIsNoFormat) {
  KSHTMLProximityZoneContent page;
  page.pageUrl = "page/%d";
  EXPECT_TRUE(page.description().ends_with("eventIsEnter: 0\nurl: page/%d\n"));
}

TEST(KSProximityZoneContentTest, KindsHaveNamesOfTheirOwn) {
  const auto type = KSProximityZoneTypeFromString;
  EXPECT_EQ(type("TextPush"), KSTextPushProximityZoneContent().type());
  EXPECT_EQ(type("Html"), KSHTMLProximityZoneContent().type());
  EXPECT_EQ(type("FollowTrack"), KSFollowTrackProximityZoneContent().type());
  EXPECT_EQ(type("Video"), KSVideoProximityZoneContent().type());
  EXPECT_EQ(type("HTML"), KSProximityZoneType::unknown);
  EXPECT_EQ(type(std::nullopt), KSProximityZoneType::unknown);
}

TEST(KSProximityZoneContentTest, PersistsAllButTheLastFiring) {
  const auto& properties = KSVideoProximityZoneContent::kClass.codableProperties();
  EXPECT_EQ(properties.size(), 21U);
  KSVideoProximityZoneContent source;
  source.videoUrl = "v";
  source.dwellingTime = 30;
  source.blockedUntilDate = ks::dateFromSecondsSince1970(9.2e18);
  KSVideoProximityZoneContent copy;
  for (const auto& property : properties) {
    const auto value = property.get(source);
    if (!value.isAbsent()) property.set(copy, value);
  }
  EXPECT_EQ(copy.description(), source.description());
  EXPECT_EQ(copy.blockedUntilDate, source.blockedUntilDate);
}

TEST(KSProximityZoneContentTest, ErrorNamesItsZone) {
  const auto known = KSProximityZoneContentError::errorWithDescription("no page", "z1");
  EXPECT_EQ(known->localizedDescription(), "Proximity z1\n,no page");
  const auto unknown = KSProximityZoneContentError::errorWithDescription("no page", {});
  EXPECT_EQ(unknown->localizedDescription(), "Proximity Unknown\n,no page");
  EXPECT_FALSE(unknown->userInfo().contains("UUID"));
}

}  // namespace
