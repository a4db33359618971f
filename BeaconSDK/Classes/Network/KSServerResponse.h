#pragma once

#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Object.h"

/// The error text of a portal reply, for host applications; the library neither fills nor reads it.
class KSServerResponse : public ks::Object {
 public:
  static constexpr const char* kClassName = "KSServerResponse";
  static const ks::Class kClass;

  /// Absent when the portal reported none.
  std::optional<std::string> error;

  const ks::Class& objectClass() const override { return kClass; }
};
