#include <gmock/gmock.h>

#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "BeaconSDK/Classes/Manager/Engine/KSEngineRooms.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionBook.h"
#include "tests/Support/FakeURLLoadingSystem.h"
#include "tests/Support/PlatformFixture.h"

using testing::ElementsAre;

namespace {

const ks::UUID kUUID = *ks::UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF");

std::shared_ptr<KSPrivateBeacon> makeBeacon(std::int64_t minor, const char* identifier,
                                            const char* contentIdentifier = nullptr) {
  auto beacon = std::make_shared<KSPrivateBeacon>();
  beacon->setUuid(kUUID);
  beacon->setMajor(1);
  beacon->setMinor(minor);
  beacon->setIdentifier(identifier);
  if (contentIdentifier != nullptr) {
    auto content = std::make_shared<KSTextPushProximityZoneContent>();
    content->identifier = contentIdentifier;
    beacon->setContent(content);
  }
  return beacon;
}

class KSRegionBookTest : public ks::testing::PlatformFixture {
 protected:
  KSRegionBookTest() : PlatformFixture(withoutNetwork()) {}

  static ks::SimulatedPlatformOptions withoutNetwork() {
    ks::SimulatedPlatformOptions options;
    options.urlLoadingSystem = std::make_shared<ks::test::FakeURLLoadingSystem>();
    return options;
  }
  std::shared_ptr<KSPrivateBeacon> find(std::int64_t minor) const {
    return KSRegionBook::find(book_.regionWithKey(makeBeacon(0, "")->regionKey()), kUUID, 1, minor);
  }
  std::vector<std::string> identifiers() const {
    std::vector<std::string> all;
    const auto beacons = book_.beaconsInRegion(ks::CLBeaconRegion(kUUID, "any"));
    for (const auto& beacon : beacons.value_or(ks::PrivateBeaconList{})) {
      all.push_back(beacon->identifier().value_or("none"));
    }
    return all;
  }

  ks::CLLocationManagerDelegate delegate_;
  KSEngineRooms rooms_{
      *platform_, {{"https://portal.test/app"}, {}, "u", "p", "session"}, {}, {}, delegate_};
  KSRegionBook& book_ = rooms_.book;
};

TEST_F(KSRegionBookTest, KnownBeaconTakesOverPortalData) {
  const auto known = makeBeacon(1, "old", "c");
  known->content()->eventDetectionCounter = 4;
  known->setSentEnterEvent(true);
  known->setState(KSPrivateBeaconState::fetchingContent);
  book_.addOrReplaceBeaconToBeaconRegions(known);
  known->setInRange(true);
  known->setProximity(2);
  const auto fresh = makeBeacon(1, "new", "d");
  fresh->setState(KSPrivateBeaconState::contentFetched);
  fresh->setValidUntil(now());
  fresh->setSchedule(std::make_shared<KSProximitySchedule>());

  EXPECT_EQ(book_.addOrReplaceBeaconToBeaconRegions(fresh), known);
  EXPECT_EQ(known->identifier(), "new");
  EXPECT_EQ(known->content(), fresh->content());
  EXPECT_EQ(known->content()->eventDetectionCounter, 4);
  EXPECT_EQ(known->contentFetchedSince(), now());
  EXPECT_EQ(known->validUntil(), now());
  EXPECT_EQ(known->schedule(), fresh->schedule());
  EXPECT_TRUE(known->sentEnterEvent());
  EXPECT_FALSE(known->inRange());
  EXPECT_EQ(known->proximity(), 0);
  EXPECT_THAT(identifiers(), ElementsAre("new"));
}

/// Two locations' cached zones may name one beacon: the first stands for it until it leaves.
TEST_F(KSRegionBookTest, OrderDecidesBetweenTwins) {
  for (const char* identifier : {"a", "b", "a"}) book_.append(makeBeacon(1, identifier));
  book_.append(makeBeacon(2, "c"));
  EXPECT_EQ(find(1)->identifier(), "a");
  book_.removeBeaconFromBeaconRegions(*makeBeacon(1, "unknown"));
  book_.removeBeaconFromBeaconRegions(*makeBeacon(1, "a"));
  EXPECT_THAT(identifiers(), ElementsAre("b", "c"));
  EXPECT_EQ(find(1)->identifier(), "b");
  book_.removeBeaconFromBeaconRegions(*makeBeacon(1, "b"));
  EXPECT_EQ(find(1), nullptr);
  EXPECT_EQ(book_.beaconWithIdentifier("c"), find(2));
  EXPECT_FALSE(book_.beaconsInRegion(ks::CLBeaconRegion(ks::UUID{}, "other")));
}

TEST_F(KSRegionBookTest, StateIsSharedByCurrentContent) {
  const auto source = makeBeacon(1, "a", "c");
  const auto same = makeBeacon(2, "b", "c");
  const auto gone = makeBeacon(3, "c", "c");
  const auto changed = makeBeacon(4, "d", "c");
  for (const auto& beacon : {source, same, gone, changed}) book_.append(beacon);
  book_.removeBeaconFromBeaconRegions(*gone);
  book_.addOrReplaceBeaconToBeaconRegions(makeBeacon(4, "d", "other"));
  source->content()->eventDetectionCounter = 3;
  book_.shareRuntimeState(*source);
  EXPECT_EQ(same->content()->eventDetectionCounter, 3);
  EXPECT_EQ(gone->content()->eventDetectionCounter, 0);
  EXPECT_EQ(changed->content()->eventDetectionCounter, 0);
}

/// Strangers under the site's UUID cost bounded memory, and never the site's own beacons.
TEST_F(KSRegionBookTest, FloodForgetsTheOldestStranger) {
  const ks::CLBeaconRegion region(kUUID, "any");
  const auto range = [&](std::int64_t minor) {
    return book_.addOrReturnBeacon(find(minor), kUUID, 1, minor, region);
  };
  const auto own = range(1);
  own->setIdentifier("own");
  for (std::int64_t minor = 2; minor <= 6000; ++minor) range(minor);
  EXPECT_EQ(identifiers().size(), KSRegionBook::kMostUnknownBeacons + 1);
  EXPECT_EQ(find(1), own);
  EXPECT_EQ(find(1903), nullptr);
  EXPECT_NE(find(1905), nullptr);
}

/// The filed manufacturer of a beacon that stays is lost until its content comes again.
TEST_F(KSRegionBookTest, RefreshLosesKeptManufacturer) {
  const auto first = makeBeacon(1, "a");
  first->setManufacturerIdentifier("m1");
  const auto second = makeBeacon(1, "a");
  second->setManufacturerIdentifier("m1");
  rooms_.synchronizer.replaceBeaconsForLocation("L", {first});
  EXPECT_EQ(rooms_.cache.beaconForManufacturerId("m1"), first);
  rooms_.synchronizer.replaceBeaconsForLocation("L", {second});
  EXPECT_EQ(rooms_.cache.beaconForManufacturerId("m1"), nullptr);
  rooms_.synchronizer.newBeaconsFetched({second});
  EXPECT_EQ(rooms_.cache.beaconForManufacturerId("m1"), second);
  rooms_.cache.forgetNeighbourhood();
  EXPECT_EQ(rooms_.cache.beaconForManufacturerId("m1"), nullptr);
}

}  // namespace
