#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "BeaconSDK/Platform/Api/CoreBluetooth.h"
#include "BeaconSDK/Platform/Recorded/Outside.h"

namespace ks {

/// The Bluetooth centrals of an enclosed device, one for each of the real device's. Main queue
/// only.
class EnclosedRadio {
 public:
  EnclosedRadio(Outside& outside, std::shared_ptr<OutsideLink> link)
      : outside_(outside), link_(std::move(link)) {}

  std::unique_ptr<CBCentralManager> makeCentralManager(CBCentralManagerDelegate& delegate);
  /// Delivers a state or a discovery, in a task of `queue`.
  void deliver(const RecordedEvent& event, DispatchQueue& queue);

 private:
  class Central;
  using Centrals = std::map<std::uint64_t, Central*>;

  Outside& outside_;
  std::shared_ptr<OutsideLink> link_;
  std::uint64_t last_ = 0;
  /// Shared with the centrals, which may outlive the radio.
  std::shared_ptr<Centrals> centrals_ = std::make_shared<Centrals>();
};

}  // namespace ks
