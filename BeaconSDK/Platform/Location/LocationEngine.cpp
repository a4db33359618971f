#include "BeaconSDK/Platform/Location/LocationEngine.h"

#include <cstdio>
#include <utility>

#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Location/EngineLocationManager.h"
#include "BeaconSDK/Platform/Location/LocationEngineCore.h"

namespace ks {

Error locationError(CLErrorCode code) {
  const auto text = [code] {
    switch (code) {
      case CLErrorCode::locationUnknown:
        return "The location could not be determined";
      case CLErrorCode::denied:
        return "The application may not use the location";
      case CLErrorCode::regionMonitoringDenied:
        return "The application may not monitor regions";
      case CLErrorCode::regionMonitoringFailure:
        return "The region cannot be monitored";
    }
    return "";
  };
  return {CLErrorDomain, static_cast<std::int64_t>(code), std::string(text())};
}

std::string tooSmallText(const CLCircularRegion& circle, Metres uncertainty) {
  char sizes[96];
  std::snprintf(sizes, sizeof sizes,
                " of %.0f m is smaller than the uncertainty of positions there, %.0f m",
                circle.radius().value, uncertainty.value);
  return "The circle '" + circle.identifier() + "'" + sizes + ": it cannot be entered";
}

LocationEngine::LocationEngine(Clock& clock, DispatchQueue& mainQueue, LocationStateStore& store,
                               LocationDemandListener& listener)
    : core_(std::make_shared<Core>(clock, mainQueue, store, listener)) {
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
