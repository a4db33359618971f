#include <vector>

#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "tests/Support/PlatformFixture.h"

namespace {

using State = KSPrivateBeaconState;

const ks::UUID kUUID = *ks::UUID::fromString("11223344-5566-4778-8899-aabbccddeeff");

class KSPrivateBeaconTest : public ks::testing::PlatformFixture {
 protected:
  KSPrivateBeaconTest() {
    beacon_.setIdentifier("b1");
    beacon_.setUuid(kUUID);
    beacon_.setMinor(7);
    beacon_.setMajor(3);
  }

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
  struct Row {
    std::optional<std::string> identifier;
    std::optional<ks::UUID> uuid;
    std::int64_t minor, major;
  };
  constexpr std::int64_t kWrapped = 7 + (1LL << 32);
  const std::vector<Row> rows{{"b1", kUUID, 7, 3},      {"b2", kUUID, 7, 3},
                              {"b1", kUUID, 3, 7},      {{}, kUUID, 7, 3},
                              {"(null)", kUUID, 7, 3},  {"b1", {}, 7, 3},
                              {"b1", ks::UUID{}, 7, 3}, {"b1", kUUID, kWrapped, 3}};
  const auto fill = [](KSPrivateBeacon& beacon, const Row& row) {
    beacon.setIdentifier(row.identifier);
    beacon.setUuid(row.uuid);
    beacon.setMinor(row.minor);
    beacon.setMajor(row.major);
  };
  for (const auto& row : rows) {
    for (const auto& otherRow : rows) {
      KSPrivateBeacon other;
      fill(beacon_, row);
      fill(other, otherRow);
      const bool sameKey = beacon_.key() == other.key();
      EXPECT_EQ(beacon_.isEqual(&other), sameKey) << beacon_.key() << " " << other.key();
      EXPECT_EQ(beacon_.hash() == other.hash(), sameKey);
    }
  }
}

TEST_F(KSPrivateBeaconTest, PhysicalBeaconIgnoresPortalIdentifier) {
  KSPrivateBeacon other;
  other.setUuid(kUUID);
  other.setMinor(7);
  other.setMajor(3);
  EXPECT_TRUE(beacon_.isEqualWithBeacon(other));
  EXPECT_FALSE(beacon_.isEqual(&other));
  other.setMajor(4);
  EXPECT_FALSE(beacon_.isEqualWithBeacon(other));
  EXPECT_FALSE(KSPrivateBeacon().isEqualWithBeacon(KSPrivateBeacon())) << "no UUID, no identity";
}

TEST_F(KSPrivateBeaconTest, ContentIsFetchedWhenDue) {
  EXPECT_TRUE(beacon_.shouldFetchContent());
  beacon_.setState(State::fetchingContent);
  advance(150);
  EXPECT_FALSE(beacon_.shouldFetchContent());
  advance(0.5);
  EXPECT_TRUE(beacon_.shouldFetchContent());
  beacon_.setState(State::contentFetched);
  advance(1e6);
  EXPECT_FALSE(beacon_.shouldFetchContent()) << "valid for good without a date";
  beacon_.setValidUntil(now());
  EXPECT_FALSE(beacon_.shouldFetchContent());
  advance(0.5);
  EXPECT_TRUE(beacon_.shouldFetchContent());
  beacon_.setState(State::fetchingContent);
  beacon_.setState(State::noContent);
  advance(600);
  EXPECT_FALSE(beacon_.shouldFetchContent());
  advance(0.5);
  EXPECT_TRUE(beacon_.shouldFetchContent());
  beacon_.setState(static_cast<State>(9));
  EXPECT_FALSE(beacon_.shouldFetchContent());
}

TEST_F(KSPrivateBeaconTest, StateChangesNoteTheirTime) {
  const auto start = now();
  beacon_.setState(State::fetchingContent);
  advance(10);
  beacon_.setState(State::fetchingContent);
  EXPECT_EQ(beacon_.contentFetchingSince(), start) << "a repeated state restarts nothing";
  EXPECT_FALSE(beacon_.contentFetchedSince());
  beacon_.setState(State::contentFetched);
  advance(10);
  beacon_.setState(State::noContent);
  EXPECT_EQ(beacon_.contentFetchedSince(), start + ks::Seconds{10});
  beacon_.setState(State::fresh);
  beacon_.setState(State::fetchingContent);
  EXPECT_EQ(beacon_.contentFetchingSince(), now());
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
