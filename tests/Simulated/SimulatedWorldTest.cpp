#include <gmock/gmock.h>

#include <cmath>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"
#include "BeaconSDK/Platform/Simulated/SimulatedWorld.h"

namespace ks {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr CLLocationCoordinate2D kPlace{45.07, 7.68};

/// So many metres north of the place.
CLLocationCoordinate2D north(double metres) {
  return {kPlace.latitude + metres / 111195.08, kPlace.longitude};
}

SimulatedBeacon beaconAt(double metres, std::uint16_t minor = 7) {
  return {.coordinate = north(metres),
          .proximityUUID = *UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF"),
          .major = 300,
          .minor = minor};
}

/// A world and a note of all that was heard in it.
struct Antenna : SimulatedWorldReceiver {
  explicit Antenna(SimulatedWorldOptions options = {}, Date start = kSimulatedStart)
      : loop(std::make_shared<SimulatedLoop>(start)),
        queue(loop, SimulatedQueue::Role::main),
        world(queue, loop->clock(), *this, options) {
    world.placeDevice(kPlace);
  }

  void didReceiveAdvertisement(const Advertisement& advertisement) override {
    strengths.push_back(advertisement.rssi.value);
    advertisements.push_back(advertisement);
    note << loop->clock().now().time_since_epoch().count() << advertisement.address
         << advertisement.rssi.value << '\n';
  }
  void didFix(const CLLocation& fix) override {
    fixes.push_back(fix);
    note << fix.description() << '\n';
  }
  void positionLost() override { ++losses; }

  /// What is heard from now on for so long.
  void listen(double seconds) {
    strengths.clear();
    advertisements.clear();
    fixes.clear();
    world.setListening(true, true);
    loop->advance(Seconds{seconds});
  }

  std::shared_ptr<SimulatedLoop> loop;
  SimulatedQueue queue;
  SimulatedWorld world;
  std::vector<Advertisement> advertisements;
  std::vector<double> strengths;
  std::vector<CLLocation> fixes;
  int losses = 0;
  std::ostringstream note;
};

}  // namespace

TEST(SimulatedWorldTest, StrengthFallsWithDistance) {
  struct Case {
    double metres;
    double exponent;
    double strength;
  };
  for (const auto& [metres, exponent, strength] :
       {Case{1, 2, -59}, {10, 2, -79}, {10, 3, -89}, {100, 2, -99}, {0, 2, -39}}) {
    Antenna antenna({.pathLossExponent = exponent});
    antenna.world.addBeacon(beaconAt(metres));
    antenna.listen(5);
    EXPECT_THAT(antenna.strengths, SizeIs(5)) << metres;
    EXPECT_THAT(antenna.strengths, Each(strength)) << metres << " m, exponent " << exponent;
  }
  Antenna antenna;
  antenna.world.addBeacon(beaconAt(120));
  antenna.listen(5);
  EXPECT_THAT(antenna.strengths, IsEmpty()) << "out of reach";
}

TEST(SimulatedWorldTest, SendsAtEachBeaconsInterval) {
  struct Case {
    double interval;
    std::size_t inAMinute;
  };
  for (const auto& [interval, inAMinute] : {Case{0.1, 600}, {1, 60}, {7.5, 8}, {0, 3000}}) {
    Antenna antenna;
    SimulatedBeacon beacon = beaconAt(3);
    beacon.interval = Seconds{interval};
    antenna.world.addBeacon(beacon);
    antenna.listen(60);
    EXPECT_THAT(antenna.advertisements, SizeIs(inAMinute)) << interval;
  }
}

TEST(SimulatedWorldTest, NoiseAndLossesFollowTheirNumbers) {
  Antenna antenna;
  SimulatedBeacon beacon = beaconAt(10);
  beacon.noise = Dbm{4};
  beacon.lossProbability = 0.25;
  antenna.world.addBeacon(beacon);
  antenna.listen(20000);
  const auto count = static_cast<double>(antenna.strengths.size());
  double sum = 0;
  double squares = 0;
  for (const double strength : antenna.strengths) {
    sum += strength + 79;
    squares += (strength + 79) * (strength + 79);
  }
  EXPECT_NEAR(count / 20000, 0.75, 0.01);
  EXPECT_NEAR(sum / count, 0, 0.1);
  EXPECT_NEAR(std::sqrt(squares / count), 4, 0.1);
}

TEST(SimulatedWorldTest, BeaconsChangeWhileHeard) {
  Antenna antenna;
  SimulatedBeacon beacon = beaconAt(10);
  beacon.off = {{kSimulatedStart + Seconds{10}, kSimulatedStart + Seconds{20}}};
  const auto id = antenna.world.addBeacon(beacon);
  antenna.listen(60);
  EXPECT_THAT(antenna.strengths, SizeIs(50));
  beacon.coordinate = kPlace;
  antenna.world.setBeacon(id, beacon);
  antenna.listen(10);
  EXPECT_THAT(antenna.strengths, ElementsAre(-39, -39, -39, -39, -39, -39, -39, -39, -39, -39));
  antenna.world.removeBeacon(id);
  antenna.world.setBeacon(id, beacon);
  antenna.listen(10);
  EXPECT_THAT(antenna.strengths, IsEmpty());
  EXPECT_EQ(antenna.world.beacon(id), nullptr);
}

TEST(SimulatedWorldTest, HearsBeaconsAllAlongALongWalk) {
  Antenna antenna;
  constexpr int kBeacons = 100;
  for (int i = 0; i < kBeacons; ++i) {
    antenna.world.addBeacon(beaconAt(50.0 * i, static_cast<std::uint16_t>(i)));
  }
  const SimulatedWalk walk(kSimulatedStart,
                           {{.coordinate = kPlace}, {.coordinate = north(5000), .speed = {10}}});
  antenna.world.setWalk(walk);
  antenna.listen(500);
  std::set<std::string> heard;
  for (const auto& advertisement : antenna.advertisements) heard.insert(advertisement.address);
  EXPECT_THAT(heard, SizeIs(kBeacons));
  EXPECT_NEAR(antenna.fixes.back().coordinate.latitude, north(5000).latitude, 1e-9);
}

TEST(SimulatedWorldTest, SameWorldGivesSameNoteWhenever) {
  const auto listen = [](std::uint64_t seed, double from) {
    Antenna antenna(
        {.seed = seed,
         .positionErrors = {.noise = {8}, .memory = Seconds{20}, .repeatProbability = 0.1}},
        kSimulatedStart + Seconds{from});
    for (std::uint16_t i = 0; i < 20; ++i) {
      SimulatedBeacon beacon = beaconAt(4 * i, i);
      beacon.noise = Dbm{3};
      beacon.battery = SimulatedBattery{};
      antenna.world.addBeacon(beacon);
    }
    antenna.loop->advance(Seconds{600 - from});
    antenna.note.str({});
    antenna.listen(60);
    return antenna.note.str();
  };
  EXPECT_EQ(listen(1, 0), listen(1, 0));
  EXPECT_EQ(listen(1, 0), listen(1, 450)) << "whoever begins to listen when";
  EXPECT_NE(listen(1, 0), listen(2, 0));
}

TEST(SimulatedWorldTest, DoesNothingForNobody) {
  Antenna antenna;
  antenna.world.addBeacon(beaconAt(1));
  antenna.listen(3);
  antenna.world.setListening(false, false);
  EXPECT_EQ(antenna.loop->nextDue(), std::nullopt);
  antenna.world.setListening(false, true);
  antenna.advertisements.clear();
  antenna.loop->advance(Seconds{10});
  EXPECT_THAT(antenna.advertisements, IsEmpty());
  EXPECT_THAT(antenna.fixes, SizeIs(13));
}

TEST(SimulatedWorldTest, PositionsHaveOutagesAndAccuracy) {
  Antenna antenna;
  antenna.world.setWalk(
      SimulatedWalk(kSimulatedStart, {{.coordinate = kPlace, .pause = Seconds{5}, .accuracy = {8}},
                                      {.coordinate = north(14), .accuracy = {65}}}));
  antenna.world.setPositionOutages({{kSimulatedStart + Seconds{7}, kSimulatedStart + Seconds{9}}});
  antenna.listen(20);
  EXPECT_THAT(antenna.fixes, SizeIs(18));
  EXPECT_EQ(antenna.losses, 2);
  EXPECT_EQ(antenna.fixes[4].coordinate, kPlace);
  EXPECT_EQ(antenna.fixes[5].horizontalAccuracy, Metres{8});
  EXPECT_NEAR(distanceBetween(antenna.fixes[5].coordinate, kPlace).value, 1.4, 0.01);
  EXPECT_EQ(antenna.fixes.back().coordinate, north(14));
  EXPECT_EQ(antenna.fixes.back().horizontalAccuracy, Metres{65});
}

TEST(SimulatedWalkTest, FollowsTimesAndSpeeds) {
  const Date start = kSimulatedStart;
  const SimulatedWalk walk(start, {{.coordinate = {0, 179.999}},
                                   {.coordinate = {0, -179.999}, .arrival = start + Seconds{100}},
                                   {.coordinate = {1, -179.999}, .arrival = start + Seconds{200}}});
  EXPECT_EQ(walk.positionAt(start - Seconds{9}).coordinate.longitude, 179.999);
  EXPECT_NEAR(std::abs(walk.positionAt(start + Seconds{50}).coordinate.longitude), 180, 1e-9);
  EXPECT_NEAR(walk.positionAt(start + Seconds{125}).coordinate.latitude, 0.25, 1e-9);
  EXPECT_NEAR(walk.positionAt(start + Seconds{75}).coordinate.longitude, -179.9995, 1e-9);
  EXPECT_EQ(walk.end(), start + Seconds{200});
  EXPECT_THROW(SimulatedWalk(start, {}), std::invalid_argument);
  EXPECT_THROW(SimulatedWalk(start, {{}, {.speed = {0}}}), std::invalid_argument);
  EXPECT_THROW(SimulatedWalk(start, {{}, {.arrival = start - Seconds{1}}}), std::invalid_argument);
}

TEST(SimulatedWorldTest, RoomsAndBodiesDisturbTheRadio) {
  struct Case {
    const char* what;
    SimulatedPropagation propagation;
    /// Packets a second, their mean strength and its standard deviation.
    double rate, mean, deviation;
  };
  const DateInterval half{kSimulatedStart, kSimulatedStart + Seconds{10000}};
  const Case cases[] = {
      {"nothing", {}, 1, -79, 0},
      {"jitter", {.advertisingJitter = Seconds{0.01}}, 1, -79, 0},
      {"shadowing", {.shadowing = Dbm{3}}, 1, -79, 3},
      {"body", {.bodyLoss = Dbm{9}}, 1, -79 - 9 * 0.15, 3.2},
      // The mean logarithm of a Rician power of 6 dB lies 0.96 dB below that of its mean.
      {"fading", {.ricianFactor = 6}, 1, -79.96, 3},
      {"bursts", {.burstShare = 0.2}, 0.8, -79, 0},
      {"outage", {.outages = {half}}, 0.5, -79, 0},
      {"receiver", {.receiverGain = Dbm{-6}}, 1, -85, 0},
  };
  for (const auto& test : cases) {
    SimulatedWorldOptions options;
    options.propagation = test.propagation;
    Antenna antenna(options);
    antenna.world.addBeacon(beaconAt(10));
    antenna.listen(20000);
    double sum = 0;
    double squares = 0;
    for (const double strength : antenna.strengths) {
      sum += strength;
      squares += strength * strength;
    }
    const auto count = static_cast<double>(antenna.strengths.size());
    EXPECT_NEAR(count / 20000, test.rate, 0.03) << test.what;
    EXPECT_NEAR(sum / count, test.mean, 0.3) << test.what;
    EXPECT_NEAR(std::sqrt(squares / count - sum * sum / count / count), test.deviation, 0.5)
        << test.what;
  }
}

}  // namespace ks
