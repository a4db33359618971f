#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"

#include <utility>

#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Location/Engine/EngineLocationManager.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngineCore.h"

namespace ks {

LocationEngine::LocationEngine(Clock& clock, DispatchQueue& mainQueue, LocationStateStore& store,
                               LocationDemandListener& listener)
    : core_(std::make_shared<LocationEngineCore>(clock, mainQueue, store, listener)) {
  core_->restore();
}

LocationEngine::~LocationEngine() { core_->close(); }

CLAuthorizationStatus LocationEngine::authorizationStatus() const { return core_->authorization; }

bool LocationEngine::isMonitoringAvailableForCircularRegions() const { return core_->positioning; }

bool LocationEngine::isMonitoringAvailableForBeaconRegions() const { return core_->scanning; }

std::unique_ptr<CLLocationManager> LocationEngine::makeLocationManager() {
  return std::make_unique<EngineLocationManager>(core_);
}

void LocationEngine::setAuthorizationStatus(CLAuthorizationStatus status) {
  core_->setAuthorizationStatus(status);
}

void LocationEngine::setBeaconScanningAvailable(bool available) {
  core_->setBeaconScanningAvailable(available);
}

void LocationEngine::setBeaconScanningPaused(bool paused) {
  core_->setBeaconScanningPaused(paused);
}

void LocationEngine::setPositioningAvailable(bool available) { core_->positioning = available; }

void LocationEngine::setReceiverGain(Dbm gain) { core_->setReceiverGain(gain); }

void LocationEngine::handleAdvertisement(const Advertisement& advertisement) {
  auto& counters = core_->counters;
  ++counters.advertisements;
  core_->tellListener(advertisement);
  counters.skippedElements += advertisement.skippedElements;
  const auto sender =
      advertisement.address.empty() ? 0 : std::hash<std::string>{}(advertisement.address);
  for (const auto& data : advertisement.manufacturerData) {
    const auto reading = readBeaconFrame(data);
    if (reading.malformed) ++counters.skippedElements;
    if (!reading.frame) continue;
    core_->handleBeacon({*reading.frame, advertisement.rssi, advertisement.age, sender});
  }
}

void LocationEngine::handleBeacon(const BeaconFrame& frame, Dbm rssi, Seconds age) {
  ++core_->counters.advertisements;
  core_->handleBeacon({frame, rssi, age});
}

void LocationEngine::handleFix(const CLLocation& fix) { core_->handleFix(fix); }

void LocationEngine::positionFailed(const Error& error) { core_->positionFailed(error); }

void LocationEngine::handleDisplayOn() { core_->handleDisplayOn(); }

void LocationEngine::observeApplication(NSNotificationCenter& center) {
  becameActive_ = center.addObserver(UIApplicationDidBecomeActiveNotification,
                                     [this](const NSNotification&) { handleDisplayOn(); });
}

LocationDemand LocationEngine::demand() const { return core_->demand(); }

LocationCounters LocationEngine::counters() const { return core_->counters; }

void LocationEngine::setAdvertisementListener(AdvertisementListener listener) {
  core_->setAdvertisementListener(std::move(listener));
}

}  // namespace ks
