#include <functional>

#include "BeaconSDK/Platform/Api/UIKit.h"
#include "tests/Location/LocationFixture.h"
#include "tests/Location/RadioWalk.h"

namespace ks {
namespace {

class BeaconRegionTest : public test::LocationFixture {
 protected:
  /// A beacon of this interval and loss is near for some time; answers what was reported.
  test::Events stay(double seconds, double interval, double loss, std::uint64_t seed) {
    test::Random random(seed);
    for (double time = 0; time < seconds; time += interval) {
      if (time == 0 || random.uniform() >= loss) hear();
      advance(interval);
    }
    return take();
  }
};

using test::Events;

TEST_F(BeaconRegionTest, EntersAtFirstPacketLeavesAfterSilence) {
  manager_->startMonitoringForRegion(beaconRegion());
  EXPECT_EQ(take(), Events{"start hall"});
  hear();
  EXPECT_EQ(take(), (Events{"inside hall", "enter hall"}));
  hearFor(20, 1);
  advance(28.5);
  EXPECT_EQ(take(), Events{});
  advance(1);
  EXPECT_EQ(take(), (Events{"outside hall", "exit hall"}));
  EXPECT_EQ(queue_.pendingTasks(), 0u);
}

TEST_F(BeaconRegionTest, SlowBeaconIsNeverLost) {
  monitor(beaconRegion());
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    EXPECT_EQ(stay(86400, 5, 0.5, seed), (Events{"inside hall", "enter hall"})) << seed;
    advance(1000);
    EXPECT_EQ(take(), (Events{"outside hall", "exit hall"})) << seed;
  }
}

TEST_F(BeaconRegionTest, WalkingAwayLeavesWithin40Seconds) {
  struct Case {
    double interval, loss;
  };
  for (const auto& test : {Case{0.1, 0.1}, Case{0.3, 0.3}, Case{1, 0.1}, Case{1, 0.4}}) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
      monitor(beaconRegion());
      EXPECT_EQ(stay(600, test.interval, test.loss, seed).size(), 2u);
      // At the edge of the range nine of ten packets are lost.
      for (double time = 0; time < 8; time += 1) {
        if (static_cast<int>(time) % 4 == 0) hear();
        advance(1);
      }
      advance(36);
      EXPECT_EQ(take(), (Events{"outside hall", "exit hall"})) << test.interval << " " << test.loss;
      manager_->stopMonitoringForRegion(*beaconRegion());
    }
  }
}

TEST_F(BeaconRegionTest, EveryBeaconOfRegionKeepsItInside) {
  monitor(beaconRegion());
  hearFor(60, 1, -70, 1);
  hearFor(60, 1, -70, 2);
  EXPECT_EQ(take(), (Events{"inside hall", "enter hall"}));
  hearFor(600, 20, -70, 3);
  EXPECT_EQ(take(), Events{});
}

TEST_F(BeaconRegionTest, MajorAndMinorNarrowRegion) {
  monitor(std::make_shared<CLBeaconRegion>(kUUID, "door", 1, 7));
  hear(-70, 8, 1);
  hear(-70, 7, 2);
  EXPECT_EQ(take(), Events{});
  hear(-70, 7, 1);
  EXPECT_EQ(take(), (Events{"inside door", "enter door"}));
}

TEST_F(BeaconRegionTest, ExitWhileDeadIsReported) {
  monitor(beaconRegion());
  hearFor(60, 1);
  take();
  kill();
  advance(3600);
  start();
  ASSERT_EQ(manager_->monitoredRegions().size(), 1u);
  EXPECT_EQ(manager_->monitoredRegions()[0]->description(), beaconRegion()->description());
  advance(29);
  EXPECT_EQ(take(), Events{});
  advance(2);
  EXPECT_EQ(take(), (Events{"outside hall", "exit hall"}));
}

TEST_F(BeaconRegionTest, StayAcrossRestartIsConfirmed) {
  monitor(beaconRegion());
  stay(600, 5, 0.5, 3);
  take();
  kill();
  start();
  // The slow beacon's patience was saved with the region.
  advance(65);
  EXPECT_EQ(take(), Events{});
  hear();
  EXPECT_EQ(take(), Events{"inside hall"});
}

TEST_F(BeaconRegionTest, CrossingWaitsForDelegate) {
  monitor(beaconRegion());
  manager_->setDelegate(nullptr);
  hearFor(10, 1);
  test::Recorder late;
  manager_->setDelegate(&late);
  EXPECT_EQ(late.events, Events{});
  run();
  EXPECT_EQ(late.take(), (Events{"inside hall", "enter hall"}));
  manager_.reset();
  advance(100);
  EXPECT_EQ(late.take(), Events{});
}

TEST_F(BeaconRegionTest, DeafDeviceDoesNotLeave) {
  monitor(beaconRegion());
  const std::function<void(bool)> ways[] = {
      [&](bool deaf) { engine_->setBeaconScanningAvailable(!deaf); },
      [&](bool deaf) { engine_->setBeaconScanningPaused(deaf); },
  };
  for (const auto& makeDeaf : ways) {
    hearFor(10, 1);
    take();
    makeDeaf(true);
    advance(600);
    EXPECT_EQ(take(), Events{});
    makeDeaf(false);
    advance(29);
    EXPECT_EQ(take(), Events{});
    advance(2);
    EXPECT_EQ(take(), (Events{"outside hall", "exit hall"}));
  }
}

TEST_F(BeaconRegionTest, SleepIsNoSilence) {
  monitor(beaconRegion());
  hearFor(10, 1);
  take();
  loop_->stall(Seconds{3600});
  run();
  EXPECT_EQ(take(), Events{});
  hear();
  advance(29);
  EXPECT_EQ(take(), Events{});
}

TEST_F(BeaconRegionTest, MonitoringAnewTellsState) {
  monitor(beaconRegion());
  hearFor(10, 1);
  take();
  manager_->startMonitoringForRegion(beaconRegion());
  EXPECT_EQ(take(), (Events{"start hall", "inside hall"}));
  // As an application that restarts a region from within the event.
  recorder_.react = [this](const std::string& event) {
    if (event == "outside hall") manager_->stopMonitoringForRegion(*beaconRegion());
  };
  advance(60);
  EXPECT_EQ(take(), Events{"outside hall"});
  EXPECT_TRUE(manager_->monitoredRegions().empty());
}

TEST_F(BeaconRegionTest, SilentDirectionsAndDisplay) {
  auto region = beaconRegion();
  region->setNotifyOnEntry(false);
  region->setNotifyEntryStateOnDisplay(true);
  monitor(region);
  NSNotificationCenter center;
  engine_->observeApplication(center);
  const auto activate = [&] { center.post({UIApplicationDidBecomeActiveNotification, {}, {}}); };
  activate();
  EXPECT_EQ(take(), Events{}) << "nothing is known yet";
  hearFor(10, 1);
  EXPECT_EQ(take(), Events{});
  activate();
  EXPECT_EQ(take(), Events{"inside hall"});
  advance(60);
  activate();
  EXPECT_EQ(take(), (Events{"outside hall", "exit hall"}));

  manager_->stopMonitoringForRegion(*region);
  const auto door = beaconRegion("door");
  door->setNotifyOnExit(false);
  monitor(door);
  hear();
  EXPECT_EQ(take(), (Events{"inside door", "enter door"}));
  advance(130);
  EXPECT_EQ(take(), Events{});
  kill();
}

/// Its copies on the other channels do not make a slow beacon look like a fast one.
TEST_F(BeaconRegionTest, PacketOnThreeChannelsIsOne) {
  monitor(beaconRegion());
  for (int packet = 0; packet < 30; ++packet) {
    for (const double pause : {0.01, 0.01, 9.98}) {
      hear();
      advance(pause);
    }
  }
  EXPECT_EQ(take(), (Events{"inside hall", "enter hall"}));
  advance(100);
  EXPECT_EQ(take(), Events{});
}

TEST_F(BeaconRegionTest, FewPacketsAllowLongerSilence) {
  monitor(beaconRegion());
  hearFor(15, 5);
  take();
  advance(145);
  EXPECT_EQ(take(), Events{});
}

TEST_F(BeaconRegionTest, WeakPacketMustBeConfirmed) {
  monitor(beaconRegion());
  hear(-95);
  EXPECT_EQ(take(), Events{});
  advance(150);
  hear(-95);
  EXPECT_EQ(take(), Events{"outside hall"});
  advance(60);
  hear(-95);
  EXPECT_EQ(take(), (Events{"inside hall", "enter hall"}));
}

TEST_F(BeaconRegionTest, ExitTakenBackTeaches) {
  monitor(beaconRegion());
  hearFor(300, 1);
  advance(44);
  EXPECT_EQ(take(), (Events{"inside hall", "enter hall", "outside hall", "exit hall"}));
  // The same outage again: it is borne now, and so is what it spares.
  for (int i = 0; i < 3; ++i) {
    hearFor(300, 1);
    advance(44);
  }
  EXPECT_EQ(take(), (Events{"inside hall", "enter hall"}));
  advance(16);
  EXPECT_EQ(take(), (Events{"outside hall", "exit hall"}));
}

TEST_F(BeaconRegionTest, MonitoringAnewKnowsSlowBeacons) {
  monitor(beaconRegion());
  stay(3600, 10, 0.5, 1);
  manager_->stopMonitoringForRegion(*beaconRegion());
  monitor(beaconRegion());
  stay(30, 10, 0, 2);
  advance(150);
  EXPECT_EQ(take(), Events{});
  // What was not listened to teaches nothing.
  manager_->stopMonitoringForRegion(*beaconRegion());
  advance(2000);
  monitor(beaconRegion());
  hearFor(30, 1);
  take();
  advance(31);
  EXPECT_EQ(take(), (Events{"outside hall", "exit hall"}));
}

TEST_F(BeaconRegionTest, FloodLeavesKnownBeacons) {
  manager_->startRangingBeaconsInRegion(beaconRegion());
  monitor(beaconRegion());
  const auto flood = [this] {
    for (int i = 0; i < 20000; ++i) hear(-95, static_cast<std::uint16_t>(i), 2);
  };
  hearFor(10, 1, -65, 1);
  flood();
  EXPECT_EQ(engine_->counters().untrackedBeacons, 20000u - 4095u);
  EXPECT_EQ(engine_->counters().evictedBeacons, 0u);
  for (int second = 0; second < 10; ++second) {
    hear(-65, 1);
    hear(-65, 7);
    advance(1);
    hear(-65, 7);
    flood();
  }
  EXPECT_GT(engine_->counters().evictedBeacons, 4000u);
  // The one that was there, and one that came amid the strangers.
  EXPECT_EQ(recorder_.ranged.back().at(0).minor, 1);
  EXPECT_EQ(recorder_.ranged.back().at(1).minor, 7);
}

}  // namespace
}  // namespace ks
