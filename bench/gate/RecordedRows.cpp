#include <memory>
#include <utility>

#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"
#include "bench/filters/Recordings.h"
#include "bench/gate/Gate.h"
#include "bench/gate/Station.h"

namespace ks::gate {

namespace {

using bench::Recording;

const UUID kRecorded = *UUID::fromString("22223344-5566-4778-8899-AABBCCDDEEFF");

struct NullStore : LocationStateStore {
  FileContent load() override { return {}; }
  bool save(const Data&) override { return true; }
};

/// Plays recordings to a location engine: bytes in, callbacks out.
class Player : public CLLocationManagerDelegate, public LocationDemandListener {
 public:
  Player() {
    engine_.setAuthorizationStatus(CLAuthorizationStatus::authorizedAlways);
    manager_->setDelegate(this);
    const auto region = std::make_shared<CLBeaconRegion>(kRecorded, "recorded");
    manager_->startMonitoringForRegion(region);
    manager_->startRangingBeaconsInRegion(region);
    loop_->runUntilIdle();
  }
  ~Player() override { manager_.reset(); }

  void play(const Recording& recording) {
    SimulatedBeacon beacon;
    beacon.proximityUUID = kRecorded;
    beacon.measuredPower = recording.power;
    const auto bytes = frameAdvertisement(beacon);
    for (const auto& packet : recording.packets) {
      loop_->runUntil(kSimulatedStart + packet.time);
      distance_ = packet.distance;
      engine_.handleAdvertisement(parseAdvertisement("C0:00:00:00:00:01", bytes, packet.rssi));
    }
  }

  double seconds = 0;
  double wrong = 0;
  int changes = 0;
  int exits = 0;

 private:
  void locationDemandChanged(const LocationDemand&) override {}
  void didExitRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>&) override {
    ++exits;
  }
  void didRangeBeacons(CLLocationManager&, const std::vector<CLBeacon>& beacons,
                       const std::shared_ptr<const CLRegion>&) override {
    if (beacons.empty() || beacons[0].proximity == CLProximity::unknown) return;
    const auto before = std::exchange(proximity_, beacons[0].proximity);
    changes += before != CLProximity::unknown && before != proximity_;
    ++seconds;
    wrong += proximity_ != proximityAtLoss(lossAtDb(distance_));
  }

  std::shared_ptr<SimulatedLoop> loop_ = std::make_shared<SimulatedLoop>();
  SimulatedQueue queue_{loop_, SimulatedQueue::Role::main};
  NullStore store_;
  LocationEngine engine_{loop_->clock(), queue_, store_, *this};
  std::unique_ptr<CLLocationManager> manager_ = engine_.makeLocationManager();
  CLProximity proximity_ = CLProximity::unknown;
  Metres distance_{1};
};

/// All recordings of a file with that share of lost packets.
std::vector<Figure> playAll(const char* file, double loss, double wrongLimit,
                            double restlessLimit) {
  double seconds = 0;
  double wrong = 0;
  double restless = 0;
  double exits = 0;
  std::uint64_t seed = 0;
  const auto recordings = bench::loadRecordings(file);
  for (const auto& recording : recordings) {
    Player player;
    player.play(loss > 0 ? thinned(recording, loss, Seconds{0}, ++seed) : recording);
    seconds += player.seconds;
    wrong += player.wrong;
    restless += player.changes > 1;
    exits += player.exits;
  }
  const auto count = static_cast<double>(recordings.size());
  return {{"in the wrong band, %", 100 * wrong / seconds, wrongLimit},
          {"restless, %", 100 * restless / count, restlessLimit},
          {"exits", exits, 0}};
}

}  // namespace

std::vector<Row> recordedRows() {
  return {{"recorded stands", [] { return playAll(KS_RECORDINGS "/standing.txt", 0, 20.5, 0); }},
          {"recorded stands, 80% more lost",
           [] { return playAll(KS_RECORDINGS "/standing.txt", 0.8, 23.5, 3); }},
          {"recorded walks", [] { return playAll(KS_RECORDINGS "/walking.txt", 0, 19, 9); }}};
}

}  // namespace ks::gate
