#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"

namespace ks::test {

class MemoryStore : public LocationStateStore {
 public:
  FileContent load() override {
    if (!readable) return {FileContent::State::unreadable, {}, "no descriptors left"};
    return data ? FileContent{FileContent::State::whole, *data, {}} : FileContent{};
  }
  bool save(const Data& value) override {
    data = value;
    journal.clear();
    ++saves;
    return true;
  }
  Data loadJournal() override { return journal; }
  bool append(const Data& entries) override {
    journal.insert(journal.end(), entries.begin(), entries.end());
    return true;
  }
  std::optional<Data> data;
  Data journal;
  bool readable = true;
  int saves = 0;
};

using Region = std::shared_ptr<const CLRegion>;

/// Writes down what a manager reports, as short lines.
class Recorder : public CLLocationManagerDelegate {
 public:
  void didUpdateLocations(CLLocationManager&, const std::vector<CLLocation>& fixes) override {
    char text[32];
    std::snprintf(text, sizeof text, "at %.3f", fixes.back().coordinate.latitude);
    events.emplace_back(text);
  }
  void didDetermineState(CLLocationManager&, CLRegionState state, const Region& region) override {
    static constexpr const char* kNames[] = {"unknown ", "inside ", "outside "};
    add(kNames[static_cast<int>(state)], region);
  }
  void didEnterRegion(CLLocationManager&, const Region& region) override { add("enter ", region); }
  void didExitRegion(CLLocationManager&, const Region& region) override { add("exit ", region); }
  void didStartMonitoringForRegion(CLLocationManager&, const Region& region) override {
    add("start ", region);
  }
  void monitoringDidFailForRegion(CLLocationManager&, const Region& region,
                                  const Error& error) override {
    add("fail " + std::to_string(error.code()) + " ", region);
  }
  void didFailWithError(CLLocationManager&, const Error& error) override {
    events.push_back("error " + std::to_string(error.code()));
  }
  void didChangeAuthorizationStatus(CLLocationManager&, CLAuthorizationStatus status) override {
    events.push_back("status " + std::to_string(static_cast<int>(status)));
  }
  void didRangeBeacons(CLLocationManager&, const std::vector<CLBeacon>& beacons,
                       const Region&) override {
    ranged.push_back(beacons);
  }

  /// What was reported since the last call.
  std::vector<std::string> take() { return std::exchange(events, {}); }

  std::vector<std::string> events;
  std::vector<std::vector<CLBeacon>> ranged;
  /// Called after a region's event was written down.
  std::function<void(const std::string& event)> react;

 private:
  void add(const std::string& what, const Region& region) {
    events.push_back(what + (region ? region->identifier() : "(null)"));
    if (react) react(events.back());
  }
};

using Events = std::vector<std::string>;

/// A location engine in virtual time with one manager, allowed to do everything.
class LocationFixture : public ::testing::Test, public LocationDemandListener {
 protected:
  LocationFixture() { start(); }
  ~LocationFixture() override { kill(); }

  /// As when the process begins: a new engine on the old store.
  void start() {
    engine_ = std::make_unique<LocationEngine>(loop_->clock(), queue_, store_, *this);
    engine_->setAuthorizationStatus(CLAuthorizationStatus::authorizedAlways);
    manager_ = engine_->makeLocationManager();
    manager_->setDelegate(&recorder_);
    take();
  }
  void kill() {
    manager_.reset();
    engine_.reset();
    run();
  }
  void run() { loop_->runUntilIdle(); }
  void advance(double seconds) { loop_->advance(Seconds{seconds}); }
  void locationDemandChanged(const LocationDemand& demand) override { demands_.push_back(demand); }
  void noticed(const std::string& text) override { notices_.push_back(text); }

  Events take() {
    run();
    return recorder_.take();
  }
  void fix(double latitude, double longitude, double accuracy) {
    engine_->handleFix({{latitude, longitude}, {accuracy}, loop_->clock().now()});
    run();
  }
  static std::shared_ptr<CLBeaconRegion> beaconRegion(const std::string& identifier = "hall") {
    return std::make_shared<CLBeaconRegion>(kUUID, identifier);
  }
  static std::shared_ptr<CLCircularRegion> circle(double latitude, double longitude, double radius,
                                                  const std::string& identifier = "park") {
    return std::make_shared<CLCircularRegion>(CLLocationCoordinate2D{latitude, longitude},
                                              Metres{radius}, identifier);
  }
  void monitor(std::shared_ptr<CLRegion> region) {
    manager_->startMonitoringForRegion(std::move(region));
    take();
  }
  void hear(double rssi = -70, std::uint16_t minor = 1, std::uint16_t major = 1) {
    engine_->handleBeacon({kUUID, major, minor, {-59}}, {rssi});
  }
  /// Packets once per interval for some seconds, the first one now.
  void hearFor(double seconds, double interval, double rssi = -70, std::uint16_t minor = 1) {
    for (double time = 0; time < seconds; time += interval) {
      hear(rssi, minor);
      advance(interval);
    }
  }

  static constexpr UUID kUUID{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
  std::shared_ptr<SimulatedLoop> loop_ = std::make_shared<SimulatedLoop>();
  SimulatedQueue queue_{loop_, SimulatedQueue::Role::main};
  MemoryStore store_;
  Recorder recorder_;
  std::vector<LocationDemand> demands_;
  Events notices_;
  std::unique_ptr<LocationEngine> engine_;
  std::unique_ptr<CLLocationManager> manager_;
};

}  // namespace ks::test
