#pragma once

#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Object.h"

/// A zone's schedule. Stored for the application; the library does not interpret it.
class KSProximitySchedule : public ks::Object {
 public:
  static constexpr const char* kClassName = "KSProximitySchedule";
  static const ks::Class kClass;

  /// The portal's identifier.
  std::optional<std::string> identifier;
  std::optional<std::string> name;

  const ks::Class& objectClass() const override { return kClass; }
};
