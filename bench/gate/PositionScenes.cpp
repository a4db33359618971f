#include "bench/gate/PositionScenes.h"

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"
#include "BeaconSDK/Platform/Simulated/SimulatedWorld.h"

namespace ks::gate {

namespace {

constexpr CLLocationCoordinate2D kCentre{45.07, 7.68};
constexpr Metres kRadius{100};

CLLocationCoordinate2D place(double north, double east) {
  constexpr double kRadian = std::numbers::pi / 180;
  const double degree = kMeanEarthRadius.value * kRadian;
  return {kCentre.latitude + north / degree,
          kCentre.longitude + east / degree / std::cos(kCentre.latitude * kRadian)};
}

struct NoStore : LocationStateStore {
  FileContent load() override { return {}; }
  bool save(const Data&) override { return true; }
};

struct Crossing {
  bool enters;
  Date date;
};

/// A device in a world with one circle; writes down what it is told, and what the naive rule says.
class Device : SimulatedWorldReceiver, LocationDemandListener, CLLocationManagerDelegate {
 public:
  Device(const SimulatedPositionErrors& errors, std::int64_t pause, std::uint64_t seed,
         SimulatedWalk walk)
      : world_(queue_, loop_->clock(), *this,
               {.seed = seed, .positionErrors = errors, .secondsBetweenFixes = pause}) {
    world_.setWalk(std::move(walk));
    engine_.setAuthorizationStatus(CLAuthorizationStatus::authorizedAlways);
    manager_->setDelegate(this);
    manager_->startMonitoringForRegion(
        std::make_shared<CLCircularRegion>(kCentre, kRadius, "circle"));
    world_.setListening(false, true);
  }
  ~Device() override { manager_.reset(); }
  void live(Seconds time) { loop_->advance(time); }

  std::vector<Crossing> told;
  std::vector<Crossing> naive;

 private:
  void didFix(const CLLocation& fix) override {
    const bool inside = distanceBetween(fix.coordinate, kCentre) <= kRadius;
    if (inside != wasInside_) naive.push_back({inside, loop_->clock().now()});
    wasInside_ = inside;
    engine_.handleFix(fix);
  }
  void didReceiveAdvertisement(const Advertisement&) override {}
  void positionLost() override {}
  void locationDemandChanged(const LocationDemand&) override {}
  void didEnterRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>&) override {
    told.push_back({true, loop_->clock().now()});
  }
  void didExitRegion(CLLocationManager&, const std::shared_ptr<const CLRegion>&) override {
    told.push_back({false, loop_->clock().now()});
  }

  std::shared_ptr<SimulatedLoop> loop_ = std::make_shared<SimulatedLoop>();
  SimulatedQueue queue_{loop_, SimulatedQueue::Role::main};
  SimulatedWorld world_;
  NoStore store_;
  LocationEngine engine_{loop_->clock(), queue_, store_, *this};
  std::unique_ptr<CLLocationManager> manager_ = engine_.makeLocationManager();
  bool wasInside_ = false;
};

bool wasVisited(const std::vector<Crossing>& crossings) {
  return !crossings.empty() && crossings.front().enters && !crossings.back().enters;
}

/// Of the first crossing in that direction after `since`.
double delay(const std::vector<Crossing>& crossings, bool enters, Date since) {
  constexpr double kNever = 600;
  for (const auto& crossing : crossings) {
    if (crossing.enters == enters && crossing.date > since - Seconds{30}) {
      return (crossing.date - since).count();
    }
  }
  return kNever;
}

}  // namespace

SimulatedPositionErrors honestErrors(Metres accuracy) {
  // The circle of 68% has a radius of 1.51 standard deviations.
  return {.noise = {accuracy.value / 1.51}};
}

PositionFigures crossingsPerDay(const Rest& rest) {
  PositionFigures figures;
  for (int day = 0; day < rest.days; ++day) {
    const SimulatedWaypoint spot{.coordinate = place(rest.fromCentre, 0),
                                 .accuracy = rest.accuracy};
    Device device(rest.errors, rest.pause, static_cast<std::uint64_t>(day) + 1,
                  SimulatedWalk(kSimulatedStart, {spot}));
    device.live(Seconds{86400});
    // That the device begins inside is no crossing.
    const double began = rest.fromCentre < kRadius.value ? 1 : 0;
    figures.engine += (static_cast<double>(device.told.size()) - began) / rest.days;
    figures.naive += (static_cast<double>(device.naive.size()) - began) / rest.days;
  }
  return figures;
}

PositionFigures missedShare(const DriveBy& driveBy) {
  PositionFigures figures;
  const MetresPerSecond speed{driveBy.kilometresPerHour / 3.6};
  constexpr double kBefore = 3000;
  for (int drive = 0; drive < driveBy.drives; ++drive) {
    // Begins at another moment between two fixes each time.
    const double shift = speed.value * static_cast<double>(driveBy.pause) * drive / driveBy.drives;
    const SimulatedWalk walk(
        kSimulatedStart,
        {{.coordinate = place(driveBy.fromCentre, -kBefore - shift), .accuracy = driveBy.accuracy},
         {.coordinate = place(driveBy.fromCentre, kBefore),
          .speed = speed,
          .accuracy = driveBy.accuracy}});
    Device device(driveBy.errors, driveBy.pause, static_cast<std::uint64_t>(drive) + 1, walk);
    device.live(walk.end() - kSimulatedStart);
    if (!wasVisited(device.told)) figures.engine += 1.0 / driveBy.drives;
    if (!wasVisited(device.naive)) figures.naive += 1.0 / driveBy.drives;
  }
  return figures;
}

PositionFigures crossingDelay(const Visit& visit) {
  PositionFigures figures;
  constexpr MetresPerSecond kWalking{1.4};
  constexpr double kBefore = 250;
  for (int i = 0; i < visit.visits; ++i) {
    const double shift = kWalking.value * static_cast<double>(visit.pause) * i / visit.visits;
    const SimulatedWaypoint from{.coordinate = place(kBefore + shift, 0),
                                 .accuracy = visit.accuracy};
    SimulatedWaypoint middle{
        .coordinate = kCentre, .pause = Seconds{300}, .accuracy = visit.accuracy};
    const SimulatedWalk walk(kSimulatedStart, {from, middle, from});
    Device device(visit.errors, visit.pause, static_cast<std::uint64_t>(i) + 1, walk);
    device.live(walk.end() - kSimulatedStart + Seconds{120});
    const Seconds fromBorder{kRadius.value / kWalking.value};
    const Date enters = walk.legs()[1].arrival - fromBorder;
    const Date leaves = walk.legs()[1].departure + fromBorder;
    const double share = 0.5 / visit.visits;
    figures.engine +=
        share * (delay(device.told, true, enters) + delay(device.told, false, leaves));
    figures.naive +=
        share * (delay(device.naive, true, enters) + delay(device.naive, false, leaves));
  }
  return figures;
}

}  // namespace ks::gate
