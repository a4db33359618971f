#include "BeaconSDK/Platform/Simulated/SimulatedLocation.h"

#include <utility>

namespace ks {

SimulatedLocation::SimulatedLocation(Clock& clock, DispatchQueue& mainQueue, Console& console,
                                     std::filesystem::path stateFile, SimulatedWorldOptions options)
    : console_(console),
      store_(std::move(stateFile), console),
      world_(mainQueue, clock, *this, options),
      engine_(clock, mainQueue, store_, *this),
      radio_(mainQueue, [this](bool) { updateListening(); }) {}

void SimulatedLocation::setBluetoothState(CBManagerState state) {
  radio_.setState(state);
  updateScanning();
}

void SimulatedLocation::setMonitoringAvailable(bool circularRegions, bool beaconRegions) {
  beaconsAvailable_ = beaconRegions;
  engine_.setPositioningAvailable(circularRegions);
  updateScanning();
}

void SimulatedLocation::updateScanning() {
  engine_.setBeaconScanningAvailable(beaconsAvailable_ &&
                                     radio_.state() == CBManagerState::poweredOn);
  updateListening();
}

void SimulatedLocation::updateListening() {
  const LocationDemand demand = engine_.demand();
  const bool scans = demand.beaconScan != LocationDemand::BeaconScan::none || radio_.isScanWanted();
  world_.setListening(scans && radio_.state() == CBManagerState::poweredOn,
                      demand.positionAccuracy.has_value());
  world_.setPositionInterval(demand.positionInterval);
}

void SimulatedLocation::locationDemandChanged(const LocationDemand&) { updateListening(); }

void SimulatedLocation::noticed(const std::string& text) {
  console_.log(text);
  if (noticeListener_) noticeListener_(text);
}

void SimulatedLocation::didReceiveAdvertisement(const Advertisement& advertisement) {
  engine_.handleAdvertisement(advertisement);
  if (radio_.isScanWanted()) radio_.handleAdvertisement(advertisement);
}

void SimulatedLocation::didFix(const CLLocation& fix) { engine_.handleFix(fix); }

void SimulatedLocation::positionLost() {
  engine_.positionFailed(locationError(CLErrorCode::locationUnknown));
}

}  // namespace ks
