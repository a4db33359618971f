#pragma once

#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Object.h"

/// A zone that triggered on a user's device: a record for host applications, which the library
/// neither creates nor sends.
class KSStatProximityTriggerZone : public ks::Object {
 public:
  static constexpr const char* kClassName = "KSStatProximityTriggerZone";
  static const ks::Class kClass;

  const ks::Class& objectClass() const override { return kClass; }

  std::optional<std::string> beaconIdentifier;
  std::optional<std::string> userDeviceIdentifier;
  std::optional<std::string> timestamp;
};
