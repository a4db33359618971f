#pragma once

#include "BeaconSDK/Platform/Api/UUID.h"

namespace ks {

/// The identifier that the user allows for advertising. Any thread.
class ASIdentifierManager {
 public:
  virtual ~ASIdentifierManager() = default;
  virtual bool isAdvertisingTrackingEnabled() const = 0;
  /// Meaningful only while tracking is allowed.
  virtual UUID advertisingIdentifier() const = 0;
};

}  // namespace ks
