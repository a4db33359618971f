#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks::testing {

/// A location service that does what the test says. It keeps the monitored regions, writes down
/// what it is told to do, and reports nothing by itself.
class ScriptedLocationServices : public LocationServices {
 public:
  using Region = std::shared_ptr<const CLRegion>;

  CLAuthorizationStatus authorizationStatus() const override { return status; }
  bool isMonitoringAvailableForCircularRegions() const override { return canMonitor; }
  bool isMonitoringAvailableForBeaconRegions() const override { return canMonitor; }
  std::unique_ptr<CLLocationManager> makeLocationManager() override {
    auto made = std::make_unique<Manager>(*this);
    manager = made.get();
    return made;
  }

  /// Null while nobody listens.
  CLLocationManagerDelegate* delegate = nullptr;
  CLLocationManager* manager = nullptr;
  CLAuthorizationStatus status = CLAuthorizationStatus::authorizedAlways;
  bool canMonitor = true;
  std::optional<CLLocation> location;
  std::vector<Region> regions;
  /// "monitor ID", "unmonitor ID", "range ID", "unrange ID", "state ID", "significant", ...
  std::vector<std::string> calls;

  Region regionWithIdentifier(const std::string& identifier) const {
    const auto found = std::find_if(regions.begin(), regions.end(), [&](const Region& region) {
      return region->identifier() == identifier;
    });
    return found == regions.end() ? nullptr : *found;
  }
  std::vector<std::string> takeCalls() { return std::exchange(calls, {}); }

 private:
  class Manager : public CLLocationManager {
   public:
    explicit Manager(ScriptedLocationServices& services) : services_(services) {}
    ~Manager() override {
      services_.delegate = nullptr;
      services_.manager = nullptr;
    }
    void setDelegate(CLLocationManagerDelegate* delegate) override {
      services_.delegate = delegate;
    }
    void setPausesLocationUpdatesAutomatically(bool flag) override {
      note(flag ? "pauses" : "never pauses");
    }
    void setActivityType(CLActivityType type) override {
      note("activity " + std::to_string(static_cast<int>(type)));
    }
    void setDistanceFilter(Metres distance) override {
      note("filter " + std::to_string(static_cast<int>(distance.value)));
    }
    void startMonitoringSignificantLocationChanges() override { note("significant"); }
    void stopMonitoringSignificantLocationChanges() override { note("no significant"); }
    void startUpdatingLocation() override { note("update"); }
    void stopUpdatingLocation() override { note("no update"); }
    void requestLocation() override { note("request location"); }
    std::optional<CLLocation> location() const override { return services_.location; }
    void startMonitoringForRegion(Region region) override {
      note("monitor " + region->identifier());
      drop(*region);
      services_.regions.push_back(std::move(region));
    }
    void stopMonitoringForRegion(const CLRegion& region) override {
      note("unmonitor " + region.identifier());
      drop(region);
    }
    void requestStateForRegion(const CLRegion& region) override {
      note("state " + region.identifier());
    }
    std::vector<Region> monitoredRegions() const override { return services_.regions; }
    void startRangingBeaconsInRegion(std::shared_ptr<const CLBeaconRegion> region) override {
      note("range " + region->identifier());
    }
    void stopRangingBeaconsInRegion(const CLBeaconRegion& region) override {
      note("unrange " + region.identifier());
    }

   private:
    void note(std::string call) { services_.calls.push_back(std::move(call)); }
    void drop(const CLRegion& gone) {
      std::erase_if(services_.regions,
                    [&](const Region& region) { return region->isEqual(&gone); });
    }

    ScriptedLocationServices& services_;
  };
};

}  // namespace ks::testing
