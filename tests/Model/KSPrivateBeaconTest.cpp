#include <vector>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "tests/Support/PlatformFixture.h"

namespace {

using State = KSPrivateBeaconState;

const ks::UUID kUUID = *ks::UUID::fromString("11223344-5566-4778-8899-aabbccddeeff");

void identify(KSPrivateBeacon& beacon, std::optional<std::string> identifier,
              std::optional<ks::UUID> uuid, std::int64_t minor, std::int64_t major) {
  beacon.setIdentifier(std::move(identifier));
  beacon.setUuid(uuid);
  beacon.setMinor(minor);
  beacon.setMajor(major);
}

class KSPrivateBeaconTest : public ks::testing::PlatformFixture {
 protected:
  KSPrivateBeaconTest() { identify(beacon_, "b1", kUUID, 7, 3); }

  KSPrivateBeacon beacon_;
};

TEST_F(KSPrivateBeaconTest, KeysNameMinorBeforeMajor) {
  const std::string uuid = "11223344-5566-4778-8899-AABBCCDDEEFF";
  EXPECT_EQ(beacon_.key(), "b1:" + uuid + "_7_3");
  EXPECT_EQ(beacon_.regionKey(), "region:" + uuid + "_0_0");
  const ks::CLBeaconRegion region(kUUID, "any", 3, 7);
  EXPECT_EQ(KSPrivateBeacon::keyForBeaconRegion(region), beacon_.regionKey());
  EXPECT_TRUE(beacon_.matchesBeaconRegion(region));
  EXPECT_FALSE(beacon_.matchesBeaconRegion({ks::UUID{}, "any"}));
  EXPECT_EQ(KSPrivateBeacon().key(), "(null):(null)_0_0");
  EXPECT_EQ(beacon_.description(),
            "Proximity\n\tid:b1\n\tname:(null)\n\tUUID:" + uuid + "\n\tmajor:3\n\tminor:7");
}

TEST_F(KSPrivateBeaconTest, EqualityAgreesWithKeys) {
  std::vector<KSPrivateBeacon> beacons(8);
  identify(beacons[0], "b1", kUUID, 7, 3);
  identify(beacons[1], "b2", kUUID, 7, 3);
  identify(beacons[2], "b1", kUUID, 3, 7);
  identify(beacons[3], std::nullopt, kUUID, 7, 3);
  identify(beacons[4], "(null)", kUUID, 7, 3);
  identify(beacons[5], "b1", std::nullopt, 7, 3);
  identify(beacons[6], "b1", ks::UUID{}, 7, 3);
  identify(beacons[7], "b1", kUUID, 7 + (1LL << 32), 3);
  for (const auto& one : beacons) {
    for (const auto& other : beacons) {
      const bool sameKey = one.key() == other.key();
      EXPECT_EQ(one.isEqual(&other), sameKey) << one.key() << " " << other.key();
      EXPECT_EQ(one.hash() == other.hash(), sameKey);
    }
  }
}

TEST_F(KSPrivateBeaconTest, PhysicalBeaconIgnoresPortalIdentifier) {
  KSPrivateBeacon other;
  identify(other, "b2", kUUID, 7, 3);
  EXPECT_TRUE(beacon_.isEqualWithBeacon(other));
  other.setMajor(4);
  EXPECT_FALSE(beacon_.isEqualWithBeacon(other));
  EXPECT_FALSE(KSPrivateBeacon().isEqualWithBeacon(KSPrivateBeacon())) << "no UUID, no identity";
}

TEST_F(KSPrivateBeaconTest, ContentIsFetchedWhenDue) {
  const auto expectDueJustAfter = [this](double seconds) {
    advance(seconds);
    EXPECT_FALSE(beacon_.shouldFetchContent()) << seconds;
    advance(0.5);
    EXPECT_TRUE(beacon_.shouldFetchContent()) << seconds;
  };
  EXPECT_TRUE(beacon_.shouldFetchContent());
  beacon_.setState(State::fetchingContent);
  expectDueJustAfter(150);
  beacon_.setState(State::contentFetched);
  beacon_.setValidUntil(now() + ks::Seconds{20});
  expectDueJustAfter(20);
  beacon_.setValidUntil(std::nullopt);
  EXPECT_FALSE(beacon_.shouldFetchContent()) << "valid for good without a date";
  beacon_.setState(State::fetchingContent);
  beacon_.setState(State::noContent);
  expectDueJustAfter(600);
  beacon_.setState(static_cast<State>(9));
  EXPECT_FALSE(beacon_.shouldFetchContent());
}

TEST_F(KSPrivateBeaconTest, StateChangesNoteTheirTime) {
  const auto start = now();
  beacon_.setState(State::fetchingContent);
  advance(10);
  beacon_.setState(State::fetchingContent);
  EXPECT_EQ(beacon_.contentFetchingSince(), start) << "a repeated state restarts nothing";
  beacon_.setState(State::contentFetched);
  advance(10);
  beacon_.setState(State::noContent);
  EXPECT_EQ(beacon_.contentFetchedSince(), start + ks::Seconds{10}) << "answered already";
}

TEST_F(KSPrivateBeaconTest, LeavingForgetsProximity) {
  const auto start = now();
  beacon_.setInRange(true);
  beacon_.setProximity(3);
  advance(10);
  beacon_.setInRange(true);
  beacon_.setProximity(3);
  EXPECT_EQ(beacon_.inRangeSince(), start);
  EXPECT_EQ(beacon_.inProximitySince(), start);
  beacon_.setProximity(2);
  EXPECT_EQ(beacon_.inProximitySince(), now());
  beacon_.setInRange(false);
  EXPECT_FALSE(beacon_.inRangeSince());
  EXPECT_EQ(beacon_.proximity(), 0);
  EXPECT_EQ(beacon_.inProximitySince(), now());
}

}  // namespace
