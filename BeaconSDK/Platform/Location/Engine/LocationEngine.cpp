#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"

#include <utility>

#include "BeaconSDK/Platform/Api/UIKit.h"
#include "BeaconSDK/Platform/Location/Engine/EngineLocationManager.h"
#include "BeaconSDK/Platform/Location/Engine/LocationEngineCore.h"

namespace ks {

LocationEngine::LocationEngine(Clock& clock, DispatchQueue& mainQueue, LocationStateStore& store,
                               LocationDemandListener& listener)
    : listener_(listener),
      core_(std::make_shared<LocationEngineCore>(clock, mainQueue, store, listener)) {
  core_->restore();
}

LocationEngine::~LocationEngine() { core_->close(); }

CLAuthorizationStatus LocationEngine::authorizationStatus() const { return core_->authorization; }

bool LocationEngine::isMonitoringAvailableForCircularRegions() const { return core_->positioning; }

bool LocationEngine::isMonitoringAvailableForBeaconRegions() const { return core_->scanning; }

std::unique_ptr<CLLocationManager> LocationEngine::makeLocationManager() {
  return std::make_unique<EngineLocationManager>(core_);
}

bool LocationEngine::isRedirected(const std::function<void(LocationInput&)>& hand) const {
  if (!redirection_) return false;
  if (redirection_->input != nullptr) hand(*redirection_->input);
  return true;
}

void LocationEngine::setAuthorizationStatus(CLAuthorizationStatus status) {
  if (isRedirected([&](LocationInput& input) { input.setAuthorizationStatus(status); })) return;
  core_->setAuthorizationStatus(status);
}

void LocationEngine::setBeaconScanningAvailable(bool available) {
  if (isRedirected([&](LocationInput& input) { input.setBeaconScanningAvailable(available); }))
    return;
  core_->setBeaconScanningAvailable(available);
}

void LocationEngine::setBeaconScanningPaused(bool paused) {
  if (isRedirected([&](LocationInput& input) { input.setBeaconScanningPaused(paused); })) return;
  core_->setBeaconScanningPaused(paused);
}

void LocationEngine::setPositioningAvailable(bool available) {
  if (isRedirected([&](LocationInput& input) { input.setPositioningAvailable(available); })) return;
  core_->positioning = available;
}

void LocationEngine::setReceiverGain(Dbm gain) {
  if (isRedirected([&](LocationInput& input) { input.setReceiverGain(gain); })) return;
  core_->setReceiverGain(gain);
}

Dbm LocationEngine::receiverGain() const { return core_->receiverGain(); }

void LocationEngine::handleAdvertisement(const Advertisement& advertisement) {
  if (redirection_) {
    if (redirection_->input != nullptr) redirection_->input->handleAdvertisement(advertisement);
    return;
  }
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

void LocationEngine::handleFix(const CLLocation& fix) {
  if (isRedirected([&](LocationInput& input) { input.handleFix(fix); })) return;
  core_->handleFix(fix);
}

void LocationEngine::positionFailed(const Error& error) {
  if (isRedirected([&](LocationInput& input) { input.positionFailed(error); })) return;
  core_->positionFailed(error);
}

void LocationEngine::redirect(LocationInput* input) {
  core_->close();
  becameActive_.end();
  if (!redirection_) redirection_ = Redirection{};
  redirection_->input = input;
  if (input == nullptr) return;
  input->setAuthorizationStatus(core_->authorization);
  input->setBeaconScanningAvailable(core_->scanning);
  input->setPositioningAvailable(core_->positioning);
  input->setBeaconScanningPaused(core_->isBeaconScanningPaused());
  input->setReceiverGain(core_->receiverGain());
}

void LocationEngine::setDemand(const LocationDemand& demand) {
  if (!redirection_ || redirection_->demand == demand) return;
  redirection_->demand = demand;
  listener_.locationDemandChanged(demand);
}

void LocationEngine::handleDisplayOn() { core_->handleDisplayOn(); }

void LocationEngine::observeApplication(NSNotificationCenter& center) {
  becameActive_ = center.addObserver(UIApplicationDidBecomeActiveNotification,
                                     [this](const NSNotification&) { handleDisplayOn(); });
}

LocationDemand LocationEngine::demand() const {
  return redirection_ ? redirection_->demand : core_->demand();
}

LocationCounters LocationEngine::counters() const { return core_->counters; }

void LocationEngine::setAdvertisementListener(AdvertisementListener listener) {
  core_->setAdvertisementListener(std::move(listener));
}

}  // namespace ks
