#include "BeaconSDK/Platform/Embedded/EmbeddedLocation.h"

#include <utility>

namespace ks {

EmbeddedLocation::EmbeddedLocation(Clock& clock, DispatchQueue& mainQueue, Console& console,
                                   std::filesystem::path stateFile)
    : console_(console),
      store_(std::move(stateFile), console),
      engine_(clock, mainQueue, store_, *this),
      radio_(mainQueue, [this](bool) { tell(); }) {
  radio_.setState(CBManagerState::poweredOn);
}

void EmbeddedLocation::setBluetoothState(CBManagerState state) {
  radio_.setState(state);
  engine_.setBeaconScanningAvailable(state == CBManagerState::poweredOn);
}

void EmbeddedLocation::handleAdvertisement(const Advertisement& advertisement) {
  if (radio_.state() != CBManagerState::poweredOn) return;
  engine_.handleAdvertisement(advertisement);
  if (radio_.isScanWanted()) radio_.handleAdvertisement(advertisement);
}

EmbeddedDemand EmbeddedLocation::demand() const {
  return {engine_.demand(), radio_.isScanWanted()};
}

void EmbeddedLocation::locationDemandChanged(const LocationDemand&) { tell(); }

void EmbeddedLocation::tell() const {
  if (handler_) handler_(demand());
}

}  // namespace ks
