#pragma once

#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Object.h"

/// The schedule that a zone carries; stored for the application and not interpreted.
class KSProximitySchedule : public ks::Object {
 public:
  static constexpr const char* kClassName = "KSProximitySchedule";
  static const ks::Class kClass;

  std::optional<std::string> identifier;
  std::optional<std::string> name;

  const ks::Class& objectClass() const override { return kClass; }
};
