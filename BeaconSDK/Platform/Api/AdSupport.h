#pragma once

#include "BeaconSDK/Platform/Api/UUID.h"

namespace ks {

/// The device's advertising identifier, subject to the user's permission. Any thread.
class ASIdentifierManager {
 public:
  virtual ~ASIdentifierManager() = default;
  virtual bool isAdvertisingTrackingEnabled() const = 0;
  /// Meaningful only while tracking is allowed.
  virtual UUID advertisingIdentifier() const = 0;
};

}  // namespace ks
